// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControllerRows.h"

#include <algorithm>

namespace zephra {

namespace {

constexpr int kRowShift = 6;          // 64 samples a row
constexpr int kShareWholeBlock = 100; // host blocks up to this many samples have no rows

constexpr std::uint32_t kModWheel = 1u << kMidiChannels;
constexpr std::uint32_t bendOf(int channel) noexcept { return 1u << channel; }

constexpr std::size_t at(int i) noexcept { return static_cast<std::size_t>(i); }

} // namespace

void ControllerRows::setBlockSize(int newSize)
{
    size = newSize;
    const auto rows = at((size + 128) >> kRowShift);
    modWheelRows.assign(rows, 0.0f);
    pitchBendRows.assign(rows, {});
    clearFlags();
}

void ControllerRows::beginBlock() noexcept
{
    clearFlags();
    nextModRow = 0;
    nextBendRow.fill(0);
}

void ControllerRows::fillModWheel(int offset, float value) noexcept
{
    if (size <= kShareWholeBlock)
        return;
    const int row = std::clamp(offset >> kRowShift, 0, lastRow());
    // The event's own row is written in any case: of two changes in one row the second stays.
    for (int r = std::min(nextModRow, row); r <= row; ++r)
        modWheelRows[at(r)] = value;
    nextModRow = row + 1;
    used |= kModWheel;
}

void ControllerRows::fillPitchBend(int channel, int offset, float value) noexcept
{
    if (size <= kShareWholeBlock)
        return;
    const int row = std::clamp(offset >> kRowShift, 0, lastRow());
    for (int r = std::min(nextBendRow[at(channel)], row); r <= row; ++r)
        pitchBendRows[at(r)][at(channel)] = value;
    nextBendRow[at(channel)] = row + 1;
    used |= bendOf(channel);
}

void ControllerRows::endBlock(float modWheel,
                              const std::array<float, kMidiChannels>& pitchBend) noexcept
{
    const int end = lastRow(); // a block larger than announced goes on with the last value
    if (used & kModWheel) {
        for (int r = nextModRow; r <= end; ++r)
            modWheelRows[at(r)] = modWheel;
    }
    for (int channel = 0; channel < kMidiChannels; ++channel) {
        if (!(used & bendOf(channel)))
            continue;
        for (int r = nextBendRow[at(channel)]; r <= end; ++r)
            pitchBendRows[at(r)][at(channel)] = pitchBend[at(channel)];
    }
}

void ControllerRows::clearFlags() noexcept { used = 0; }

void ControllerRows::feed(int pos, float& modWheel,
                          std::array<float, kMidiChannels>& pitchBend) const noexcept
{
    if (used == 0)
        return;
    const auto row = at(std::min(pos >> kRowShift, lastRow()));
    if (used & kModWheel)
        modWheel = modWheelRows[row];
    for (int channel = 0; channel < kMidiChannels; ++channel) {
        if (used & bendOf(channel))
            pitchBend[at(channel)] = pitchBendRows[row][at(channel)];
    }
}

} // namespace zephra
