// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/EngineValues.h"

#include <array>
#include <cstddef>

namespace zephra {

/// Gain of a wave in the mixer, by Wave. Rev Saw is the saw at negative gain.
inline constexpr std::array<float, 7> kWaveLevel = {1.07f, 0.631f, 1.05f, -1.05f, 1.0f, 1.0f, 1.0f};

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

} // namespace zephra
