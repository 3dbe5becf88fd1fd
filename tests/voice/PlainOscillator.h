// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/ShapeTables.h"
#include "voice/VoiceLanes.h"
#include "voice/Waves.h"

#include <array>
#include <cstdint>

namespace zephra::test {

// An oscillator one sample after the other: the yardstick of the kernels.

/// A step of height 1 is spread over the two samples around it by an order-4 polynomial. With t the
/// part of a sample that has passed since the step, `stepNow(t)` is what the sample before gets.
inline float stepNow(float t) noexcept
{
    if (t < 0.0f)
        return 0.0f;
    return t <= 1.0f ? t * t * t * (1.0f - 0.5f * t) : 1.0f; // one half at 1: a step on a sample
}

/// What the sample after the step lacks of the full height.
inline float stepNext(float t) noexcept { return -stepNow(1.0f - t); }

/// One voice-rate sample of a pulse (low up to `threshold`, then high) or of a rising ramp,
/// -1..1, one sample late. Each step is corrected in the two samples around it; a ramp steps at
/// its wrap alone and runs through the threshold unheard.
template <bool kPulse>
inline float stepWave(OscillatorState& s, float inc, float threshold) noexcept
{
    float x = s.phase + inc;
    float now = s.heldNext;
    float next = 0.0f;
    for (;;) {
        if (s.pulseHigh == 0) {
            if (threshold > x)
                break;
            if constexpr (kPulse) {
                const float t = (x - threshold) / inc;
                now += stepNow(t);
                next += stepNext(t);
            }
            s.pulseHigh = 1;
        }
        if (1.0f > x)
            break;
        x -= 1.0f;
        const float t = x / inc;
        now -= stepNow(t);
        next -= stepNext(t);
        s.pulseHigh = 0;
    }
    s.phase = x;
    s.heldNext = next + (kPulse ? static_cast<float>(s.pulseHigh) : x);
    return now;
}

/// One cycle of 32,768 entries, the last repeated: linear interpolation at phase 0..1, with
/// `offset` in 2^-32 cycles.
inline float readShape(const std::array<float, 32769>& shape, float phase,
                       std::uint32_t offset) noexcept
{
    const auto u = static_cast<std::uint32_t>(static_cast<double>(phase) * 4294967296.0);
    const float fraction = static_cast<float>(u & 0x1ffffu) * (1.0f / 131072.0f);
    const std::uint32_t i = (u + offset) >> 17;
    return shape[i] + (shape[i + 1] - shape[i]) * fraction;
}

/// Moves the phase on and gives a ramp -1..1 whose wrap is one straight sample.
inline float smoothRamp(OscillatorState& s, float inc) noexcept
{
    float ramp = 2.0f * s.phase + inc - 1.0f;
    s.phase += inc;
    if (s.phase >= 1.0f) {
        s.phase -= 1.0f;
        ramp -= 2.0f * s.phase / inc;
    }
    return ramp;
}

/// The Early saw charges like a capacitor: the [2/2] Pade form of an exponential bends the ramp
/// 0..1 to about -1.53..+1 after the output map.
inline float earlySawBend(float a) noexcept
{
    return 0.735835f * (12.0f + 6.0f * a + a * a) / (12.0f - 6.0f * a + a * a) - 1.0f;
}

/// One voice-rate sample of oscillator k = 0..2; about -1..1, the Early saw -1.53..1.
template <Revision kRevision>
inline float oscillatorSample(OscillatorState& s, std::size_t k, Wave wave, float inc,
                              float threshold, float triLowCoeff,
                              const ShapeTables& shapes) noexcept
{
    if (wave <= Wave::Shark) {
        if constexpr (kRevision == Revision::Late) {
            const float shape = readShape(shapes.triangleShapeLate, s.phase, 0x80000000u);
            const float ramp = smoothRamp(s, inc);
            if (wave == Wave::Shark)
                return -shape - 0.215f * ramp;
            s.triLow += (ramp - s.triLow) * triLowCoeff;
            return shape + 0.06f * s.triLow;
        } else {
            const bool sharkTable = wave == Wave::Shark && k < 2;
            const auto& table = sharkTable ? shapes.sharkShapeEarly : shapes.triangleShapeEarly;
            const float shape = readShape(table, s.phase, 0x7e000000u);
            const float ramp = smoothRamp(s, inc);
            return wave == Wave::Shark ? -shape - 0.23f * ramp : shape;
        }
    }
    if (isPulseWave(wave))
        return 2.0f * stepWave<true>(s, inc, threshold) - 1.0f;

    float a = stepWave<false>(s, inc, threshold);
    if constexpr (kRevision == Revision::Early) {
        if (wave == Wave::Saw && k < 2)
            a = earlySawBend(a);
    }
    return 2.0f * a - 1.0f;
}

} // namespace zephra::test
