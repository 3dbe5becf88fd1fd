// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/EngineValues.h"
#include "voice/Oscillator.h"
#include "voice/ShapeTables.h"

namespace zephra {

/// An oscillator increment never exceeds this, in cycles per voice-rate sample: 0.4 fs.
inline constexpr double kMaxIncrement = 0.05;

/// Gain of a wave in the mixer, by Wave. Rev Saw is the saw at negative gain.
inline constexpr std::array<float, 7> kWaveLevel = {1.07f, 0.631f, 1.05f, -1.05f, 1.0f, 1.0f, 1.0f};

constexpr bool isTableWave(Wave wave) noexcept { return wave <= Wave::Shark; }
constexpr bool isPulseWave(Wave wave) noexcept { return wave >= Wave::Pulse; }

/// Pulse threshold of oscillator k = 0..2. No two oscillators of a voice share a duty cycle.
template <Revision kRevision> constexpr float pulseThreshold(std::size_t k, Wave wave) noexcept
{
    // clang-format off
    constexpr float kThresholds[2][3][3] = { // [revision][oscillator][Pulse, Wide, Narrow]
        {{0.49943751f, 0.274f,  0.128f},   {0.506f, 0.2815f, 0.13244376f}, {0.4908125f, 0.2703125f, 0.1260625f}},
        {{0.516f,      0.6969f, 0.81257f}, {0.506f, 0.2815f, 0.13244376f}, {0.4908125f, 0.2703125f, 0.1260625f}},
    };
    // clang-format on
    const auto width = isPulseWave(wave)
                           ? static_cast<std::size_t>(wave) - static_cast<std::size_t>(Wave::Pulse)
                           : 0;
    return kThresholds[static_cast<std::size_t>(kRevision)][k][width];
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
    if (isTableWave(wave)) {
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

} // namespace zephra
