// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "song/MidiMessage.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace zephra {

struct TempoChange {
    double seconds = 0.0;
    double beatsPerMinute = 120.0;
};

/// What a Standard MIDI File plays, all tracks together in the order of time; at one time in the
/// order of the tracks.
struct Song {
    std::vector<PlayedMessage> messages;
    std::vector<TempoChange> tempos;
};

inline constexpr std::size_t kLargestMidiFile = std::size_t{64} << 20; ///< bytes
inline constexpr std::size_t kMostMidiEvents = 4'000'000; ///< messages and tempo changes

/// Reads a file of format 0 or 1, with beats or SMPTE frames as its clock. `startTempo`, in beats
/// per minute, holds up to the first tempo event. Throws std::runtime_error with the place and
/// what is wrong there: every chunk, number and message is checked against the bytes that are
/// there before it is used.
///
/// The walk is our own because the reader at hand, libsmf, is made for files that are known to be
/// good: it stops the whole program by assertion on a track without end mark and on a split
/// system exclusive message, both of them common, reads past the end of cut files, knows no SMPTE
/// clock and works out all times anew at each tempo event. Checking its input byte by byte first
/// would take this same walk. The tests play good files through both.
Song parseMidi(std::span<const std::uint8_t> bytes, double startTempo);

/// The same from disk. Throws Failure with the name of the file.
Song readMidiFile(const std::string& path, double startTempo);

} // namespace zephra
