// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

inline constexpr int kMidiChannels = 16;

/// What the player does besides pressing keys, and the tempo: written by the MIDI intake and the
/// process entry, read by the voices. [audio]
struct Performance {
    std::array<float, kMidiChannels> aftertouch{}; ///< [channel] 0..1, as the four below
    std::array<float, kMidiChannels> breath{};
    std::array<float, kMidiChannels> expression{};
    std::array<float, kMidiChannels> foot{};
    std::array<float, kMidiChannels> timbre{};
    double aftertouchLast = 0.0; ///< last channel pressure of any channel, 0..1
    double pedalValue = 0.0;     ///< 0..1
    bool pedalUp = true;
    double tempo = 120.0;                            ///< beats per minute, finite and above 0
    float modWheelNow = 0.0f;                        ///< 0..1
    std::array<float, kMidiChannels> pitchBendNow{}; ///< [channel] -1..1
};

} // namespace zephra
