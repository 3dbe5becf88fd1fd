// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

// The choices of stepped controls and the two texts of switches. The row of a list is the control
// value, but for the modulation sources.

inline constexpr std::array kPolyphonyModes{"Unison", "Poly-4", "Mono", "Poly-8"};
inline constexpr std::array kWaveforms{"Triangle", "Shark", "Saw",   "Rev Saw",
                                       "Pulse",    "Wide",  "Narrow"};
inline constexpr std::array kRanges{"LO", "32'", "16'", "8'", "4'", "2'"};

/// Note lengths; * is dotted, T a triplet. In the order of kSyncCycles.
inline constexpr std::array kLongSync{"8/1*",  "8/1",  "8/1T",  "4/1*",  "4/1",  "4/1T", "2/1*",
                                      "2/1",   "2/1T", "1/1*",  "1/1",   "1/1T", "1/2*", "1/2",
                                      "1/2T",  "1/4*", "1/4",   "1/4T",  "1/8*", "1/8",  "1/8T",
                                      "1/16*", "1/16", "1/16T", "1/32*", "1/32", "1/32T"};
/// The delay stops at 1/2*: the last 15 of the long list.
inline constexpr std::array kShortSync = [] {
    std::array<const char*, 15> tail{};
    for (std::size_t i = 0; i < tail.size(); ++i)
        tail[i] = kLongSync[kLongSync.size() - tail.size() + i];
    return tail;
}();

/// Modulation sources in the order of the menu, and the control value that each row stands for.
/// Kept: the text of a source control takes the value for the row, so that it reads "Modwheel" for
/// Aftertouch (2).
inline constexpr std::array kModulationSources{"Off",  "Velocity",   "Modwheel", "Aftertouch",
                                               "Foot", "Expression", "Timbre"};
inline constexpr std::array kModulationSourceValues{0, 1, 6, 2, 3, 4, 5};
static_assert(kModulationSources.size() == kModulationSourceValues.size());

inline constexpr std::array kModulationTargets{"Off", "Filter", "Mod Amt", "Env Amt", "Volume"};

// Switches: the text for anything but 1, then that for 1.
inline constexpr std::array kOffOn{"Off", "On"};
inline constexpr std::array kNoiseTypes{"Pink", "White"};
inline constexpr std::array kSlopes{"12 dB", "24 dB"};
inline constexpr std::array kPassTypes{"Low Pass", "Band Pass"};
inline constexpr std::array kNotePriorities{"Low/RR", "Last"};
inline constexpr std::array kMonoModes{"Legato", "Retrig"};
inline constexpr std::array kMains{"60 Hz", "50 Hz"};
inline constexpr std::array kRevisions{"Late", "Early"};
inline constexpr std::array kVelocityTargets{"Volume", "Filter"};
inline constexpr std::array kAftertouchTargets{"Modulation", "Filter"};
inline constexpr std::array kPanels{"Back Panel", "Front Panel"};

} // namespace zephra
