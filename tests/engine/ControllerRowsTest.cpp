// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControllerRows.h"
#include "engine/NoteQueue.h"

#include <gtest/gtest.h>

#include <vector>

namespace zephra {
namespace {

using Events = std::vector<std::pair<int, float>>; ///< offset, value

/// What each row of a block gives the wheel and the bend of channel 5 when both have these events;
/// -1 where the table is not used.
std::vector<float> rowsAfter(int blockSize, const Events& events)
{
    ControllerRows rows;
    rows.setBlockSize(blockSize);
    rows.beginBlock();
    std::array<float, kMidiChannels> bends{};
    for (const auto& [offset, value] : events) {
        rows.fillPitchBend(5, offset, value);
        rows.fillModWheel(offset, value);
        bends[5] = value;
    }
    rows.endBlock(bends[5], bends);

    std::vector<float> seen;
    for (int pos = 0; pos < blockSize + 128; pos += 64) { // a host may go beyond the block
        float wheel = -1.0f;
        std::array<float, kMidiChannels> fed;
        fed.fill(-1.0f);
        rows.feed(pos, wheel, fed);
        EXPECT_EQ(wheel, fed[5]);
        EXPECT_EQ(fed[4], -1.0f) << "another channel did not move";
        seen.push_back(fed[5]);
    }
    return seen;
}

TEST(ControllerRows, AChangeComesEarlyByTheRowsSinceTheOneBefore)
{
    const struct {
        const char* what;
        int blockSize;
        Events events;
        std::vector<float> rows;
    } kCases[] = {
        {"none", 256, {}, {-1, -1, -1, -1, -1, -1}},
        {"in row 2", 256, {{130, 0.3f}}, {0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f}},
        {"rows 1 and 3", 256, {{64, 0.1f}, {255, 0.2f}}, {0.1f, 0.1f, 0.2f, 0.2f, 0.2f, 0.2f}},
        {"twice in a row",
         192,
         {{64, 0.1f}, {100, 0.2f}, {130, 0.3f}},
         {0.1f, 0.2f, 0.3f, 0.3f, 0.3f}},
        {"a small block has its last value alone", 100, {{0, 0.1f}, {99, 0.2f}}, {-1, -1, -1, -1}},
        {"a larger one has rows", 101, {{0, 0.1f}, {99, 0.2f}}, {0.1f, 0.2f, 0.2f, 0.2f}},
    };
    for (const auto& test : kCases)
        EXPECT_EQ(rowsAfter(test.blockSize, test.events), test.rows) << test.what;
}

TEST(NoteQueue, PlaysByOffsetAndNotesOfARefusedBlockFirst)
{
    NoteQueue queue;
    const auto notes = [&queue] {
        std::vector<int> inOrder;
        for (const NoteEvent& event : queue)
            inOrder.push_back(event.note);
        return inOrder;
    };
    constexpr int kOffsets[] = {10, 5, 10, 0, 5, 64};
    for (int i = 0; i < 6; ++i)
        queue.insert({i, 1.0f, kOffsets[i], 1, 0});
    EXPECT_EQ(notes(), (std::vector{3, 1, 4, 0, 2, 5})) << "equal ones keep their order";
    queue.moveToStart();
    queue.insert({6, 1.0f, 0, 1, 0});
    EXPECT_EQ(notes(), (std::vector{3, 1, 4, 0, 2, 5, 6}));
    for (int i = 7; i <= 128; ++i)
        queue.insert({i, 1.0f, i, 1, 0});
    EXPECT_EQ(notes(), std::vector{128}) << "the note after a full queue is alone in it";
}

} // namespace
} // namespace zephra
