// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>
#include <cstdint>

namespace zephra {

/// A channel message: status with the channel in its low four bits, two data bytes 0..127.
struct MidiMessage {
    std::uint8_t status = 0;
    std::uint8_t data1 = 0;
    std::uint8_t data2 = 0; ///< 0 for messages of one data byte

    int kind() const noexcept { return status & 0xf0; }
    int channel() const noexcept { return status & 0x0f; } ///< 0..15
    bool isNoteOn() const noexcept { return kind() == 0x90 && data2 > 0; }
    bool isNoteOff() const noexcept { return kind() == 0x80 || (kind() == 0x90 && data2 == 0); }
    bool isNote() const noexcept { return kind() == 0x80 || kind() == 0x90; }

    bool operator==(const MidiMessage&) const = default;
};

/// Ends the notes of a channel 0..15 whose note-offs may be lost.
constexpr MidiMessage allNotesOff(int channel) noexcept
{
    return {static_cast<std::uint8_t>(0xb0 | channel), 123, 0};
}

/// A message at a time from the start of the file.
struct PlayedMessage {
    double seconds = 0.0;
    MidiMessage message;

    bool operator==(const PlayedMessage&) const = default;
};

/// No event lies later than a day, whatever an option or a file says.
inline constexpr double kLongestSeconds = 86400.0;

/// The sample on which an event at `seconds` (0..kLongestSeconds) lands.
inline std::int64_t sampleAt(double seconds, double rate) noexcept
{
    return static_cast<std::int64_t>(std::floor(seconds * rate + 0.5));
}

} // namespace zephra
