// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>

namespace zephra {

/// State of one oscillator of one voice.
struct OscillatorState {
    float phase = 0.0f;    ///< 0 up to 1, cycles
    float heldNext = 0.0f; ///< ramp or pulse value of the next sample, with its step correction
    float triLow = 0.0f;   ///< 200 Hz low-pass under the Late triangle
    int pulseHigh = 0;     ///< 0 before the pulse threshold in the cycle, 1 after it
};

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

} // namespace zephra
