// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlIds.h"

#include <cstdint>

namespace zephra::lv2 {

// What the plug-in and its Turtle description have to agree on.

inline constexpr const char* kPluginUri = "urn:quillon-audio:zephra";
/// The whole patch as one atom:Chunk, the bytes of VstXSynth::getChunk.
inline constexpr const char* kPatchUri = "urn:quillon-audio:zephra:patch";
/// The values of all control ports at the time, 32-bit floats by host index, little-endian.
inline constexpr const char* kPortsUri = "urn:quillon-audio:zephra:ports";

/// Ports by index. Songs refer to ports by symbol, some hosts by index: only ever add behind.
enum Port : std::uint32_t {
    EventsIn = 0,     ///< MIDI and time position
    NotifyOut = 1,    ///< says that the state has changed
    LeftOut = 2,      ///< audio
    RightOut = 3,     ///< audio
    LatencyOut = 4,   ///< samples
    FirstControl = 5, ///< the control with host index 0; the others follow
    NumPorts = FirstControl + kNumHostParameters,
};

/// What the port of a control carries. Musicians read and automate the value in a host's list of
/// numbers, so it is the number that the panel shows: semitones, cents, Hz, per cent, the knob's
/// 0..10, the row of a list. Times alone stay knob positions: their labels climb in pieces with
/// flat starts, and a ramp drawn in seconds would run the knob in jerks.
struct PortScale {
    double minimum;
    double maximum;
    const char* unit = nullptr; ///< name in the units vocabulary
    bool whole = false;         ///< whole numbers only
    bool logarithmic = false;   ///< equal ratios are equal turns of the knob

    float fromNormalised(float normalised) const noexcept;
    /// 0..1 for whatever a host sends; it has to be a number.
    float toNormalised(float value) const noexcept;
};

/// `index`: host index 0..74.
const PortScale& portScale(int index) noexcept;

} // namespace zephra::lv2
