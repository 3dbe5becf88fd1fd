// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/Performance.h"

#include <array>
#include <cstdint>
#include <vector>

namespace zephra {

/// Mod wheel and pitch bend at a grain of 64 samples: row r holds the values for the samples
/// 64r..64r+63 of the host block. Written by the MIDI intake before a block, read while it is
/// rendered. [audio] unless marked otherwise.
class ControllerRows {
public:
    /// [!processing] Allocates (size + 128) / 64 rows of zeros and clears the flags.
    void setBlockSize(int size);

    int blockSize() const noexcept { return size; }

    /// Starts the intake of a block: nothing is used, filling starts at row 0.
    void beginBlock() noexcept;
    /// A new value at sample `offset`: fills from the first free row up to the event's own row.
    /// The change therefore comes early rather than late. Nothing happens at block sizes up to
    /// 100: there a whole block shares the last value.
    void fillModWheel(int offset, float value) noexcept;
    void fillPitchBend(int channel, int offset, float value) noexcept;
    /// Ends the intake: the last values hold to the end of the block.
    void endBlock(float modWheel, const std::array<float, kMidiChannels>& pitchBend) noexcept;
    /// Forgets that any row was written.
    void clearFlags() noexcept;

    /// Replaces each value that has rows by its row for sample `pos`; a position past the table
    /// reads the last row.
    void feed(int pos, float& modWheel, std::array<float, kMidiChannels>& pitchBend) const noexcept;

private:
    int lastRow() const noexcept { return static_cast<int>(modWheelRows.size()) - 1; }

    int size = 0;
    std::vector<float> modWheelRows;                             ///< [row]
    std::vector<std::array<float, kMidiChannels>> pitchBendRows; ///< [row][channel], -1..1
    /// Which rows are used: a bit per channel's pitch bend, and one for the mod wheel.
    std::uint32_t used = 0;
    int nextModRow = 0;
    std::array<int, kMidiChannels> nextBendRow{};
};

} // namespace zephra
