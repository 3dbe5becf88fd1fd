// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControllerRows.h"
#include "engine/NoteQueue.h"

#include <gtest/gtest.h>

#include <vector>

namespace zephra {
namespace {

TEST(ControllerRows, AChangeComesEarlyByTheRowsSinceTheOneBefore)
{
    const struct {
        const char* what;
        int blockSize;
        std::vector<std::pair<int, float>> events; ///< offset, value of wheel and bend
        std::vector<float> rows;                   ///< what each gives; -1: the table is not used
    } kCases[] = {
        {"none", 256, {}, {-1, -1, -1, -1, -1, -1}},
        {"in row 2", 256, {{130, 0.3f}}, {0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f}},
        {"rows 1 and 3", 256, {{64, 0.1f}, {255, 0.2f}}, {0.1f, 0.1f, 0.2f, 0.2f, 0.2f, 0.2f}},
        {"rows 0 and 1", 192, {{0, 0.1f}, {64, 0.2f}}, {0.1f, 0.2f, 0.2f, 0.2f, 0.2f}},
        {"twice in one", 192, {{64, 0.1f}, {100, 0.2f}, {130, 0.3f}}, {.1f, .2f, .3f, .3f, .3f}},
        {"a small block has its last value alone", 100, {{0, 0.1f}, {99, 0.2f}}, {-1, -1, -1, -1}},
        {"a larger one has rows", 101, {{0, 0.1f}, {99, 0.2f}}, {0.1f, 0.2f, 0.2f, 0.2f}},
    };
    ControllerRows rows;
    for (const auto& test : kCases) {
        rows.setBlockSize(test.blockSize);
        rows.beginBlock();
        std::array<float, kMidiChannels> bends{};
        for (const auto& [offset, value] : test.events) {
            rows.fillPitchBend(5, offset, value);
            rows.fillModWheel(offset, value);
            bends[5] = value;
        }
        rows.endBlock(bends[5], bends);

        std::vector<float> seen;
        for (int pos = 0; pos < test.blockSize + 128; pos += 64) { // a host may go beyond the block
            float wheel = -1.0f;
            std::array<float, kMidiChannels> fed;
            fed.fill(-1.0f);
            rows.feed(pos, wheel, fed);
            EXPECT_EQ(wheel, fed[5]) << test.what;
            EXPECT_EQ(fed[4], -1.0f) << "another channel did not move";
            seen.push_back(wheel);
        }
        EXPECT_EQ(seen, test.rows) << test.what;
    }
}

TEST(NoteQueue, PlaysByOffsetAndNotesOfARefusedBlockFirst)
{
    NoteQueue queue;
    const auto insert = [&queue](int note, int offset) {
        queue.insert({note, 1.0f, offset, 1, 0});
        std::vector<int> inOrder;
        for (const NoteEvent& event : queue)
            inOrder.push_back(event.note);
        return inOrder;
    };
    for (const auto& [note, offset] : {std::pair(0, 10), {1, 5}, {2, 10}, {3, 0}, {4, 5}})
        insert(note, offset);
    EXPECT_EQ(insert(5, 64), (std::vector{3, 1, 4, 0, 2, 5})) << "equal ones keep their order";
    queue.moveToStart();
    EXPECT_EQ(insert(6, 0), (std::vector{3, 1, 4, 0, 2, 5, 6}));
    for (int i = 7; i < 128; ++i)
        insert(i, i);
    EXPECT_EQ(insert(128, 0), std::vector{128}) << "the note after a full queue is alone in it";
}

} // namespace
} // namespace zephra
