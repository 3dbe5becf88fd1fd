// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControllerRows.h"
#include "engine/NoteQueue.h"

#include <gtest/gtest.h>

#include <vector>

namespace zephra {
namespace {

struct Event {
    int offset;
    float value;
};

/// What each row of a block of 512 gives after these events; -1 where the table is not used.
std::vector<float> bendRows(int blockSize, std::initializer_list<Event> events, float last)
{
    ControllerRows rows;
    rows.setBlockSize(blockSize);
    rows.beginBlock();
    for (const Event& event : events)
        rows.fillPitchBend(5, event.offset, event.value);
    std::array<float, kMidiChannels> bends{};
    bends[5] = last;
    rows.endBlock(0.0f, bends);

    std::vector<float> seen;
    for (int pos = 0; pos < blockSize; pos += 64) {
        float wheel = -1.0f;
        std::array<float, kMidiChannels> fed;
        fed.fill(-1.0f);
        rows.feed(pos, wheel, fed);
        EXPECT_EQ(wheel, -1.0f) << "the wheel did not move";
        EXPECT_EQ(fed[4], -1.0f) << "another channel did not move";
        seen.push_back(fed[5]);
    }
    return seen;
}

TEST(ControllerRows, AChangeComesEarlyByTheRowsSinceTheOneBefore)
{
    const struct {
        const char* what;
        std::initializer_list<Event> events;
        float last;
        std::vector<float> rows;
    } kCases[] = {
        {"none", {}, 0.9f, {-1, -1, -1, -1, -1, -1, -1, -1}},
        {"at the start", {{0, 0.3f}}, 0.3f, {0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f}},
        {"in row 2", {{130, 0.3f}}, 0.3f, {0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f}},
        {"rows 1 and 4",
         {{64, 0.1f}, {319, 0.2f}},
         0.2f,
         {0.1f, 0.1f, 0.2f, 0.2f, 0.2f, 0.2f, 0.2f, 0.2f}},
        {"twice in a row",
         {{64, 0.1f}, {100, 0.2f}, {200, 0.3f}},
         0.3f,
         {0.1f, 0.2f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f}},
        {"last sample",
         {{0, 0.1f}, {511, 0.7f}},
         0.7f,
         {0.1f, 0.7f, 0.7f, 0.7f, 0.7f, 0.7f, 0.7f, 0.7f}},
    };
    for (const auto& test : kCases)
        EXPECT_EQ(bendRows(512, test.events, test.last), test.rows) << test.what;
}

TEST(ControllerRows, SmallBlocksShareTheLastValue)
{
    EXPECT_EQ(bendRows(100, {{0, 0.1f}, {99, 0.2f}}, 0.2f), (std::vector<float>{-1.0f, -1.0f}));
    EXPECT_EQ(bendRows(101, {{0, 0.1f}, {99, 0.2f}}, 0.2f), (std::vector<float>{0.1f, 0.2f}));
}

TEST(ControllerRows, TheWheelHasRowsOfItsOwn)
{
    ControllerRows rows;
    rows.setBlockSize(256);
    rows.beginBlock();
    rows.fillModWheel(0, 0.1f);
    rows.fillModWheel(128, 0.6f);
    rows.endBlock(0.6f, {});

    const float kExpected[] = {0.1f, 0.6f, 0.6f, 0.6f};
    for (int row = 0; row < 4; ++row) {
        float wheel = -1.0f;
        std::array<float, kMidiChannels> bends{};
        rows.feed(64 * row, wheel, bends);
        EXPECT_EQ(wheel, kExpected[row]) << "row " << row;
    }
}

TEST(ControllerRows, ABlockBeyondTheAnnouncedSizeGoesOnWithTheLastValue)
{
    ControllerRows rows;
    rows.setBlockSize(128);
    rows.beginBlock();
    rows.fillModWheel(127, 0.4f);
    rows.endBlock(0.4f, {});

    std::array<float, kMidiChannels> bends{};
    for (const int pos : {192, 256, 1 << 20}) {
        float wheel = -1.0f;
        rows.feed(pos, wheel, bends);
        EXPECT_EQ(wheel, 0.4f) << "at " << pos;
    }
}

TEST(ControllerRows, ANewBlockForgetsTheOld)
{
    ControllerRows rows;
    rows.setBlockSize(512);
    const auto moved = [&rows] {
        float wheel = -1.0f;
        std::array<float, kMidiChannels> bends{};
        rows.feed(0, wheel, bends);
        return wheel != -1.0f;
    };
    rows.beginBlock();
    rows.fillModWheel(300, 0.4f);
    rows.endBlock(0.4f, {});
    EXPECT_TRUE(moved());
    rows.clearFlags();
    EXPECT_FALSE(moved());
    rows.beginBlock();
    rows.fillModWheel(0, 0.5f);
    EXPECT_TRUE(moved());
    rows.setBlockSize(256);
    EXPECT_FALSE(moved());
}

/// Notes of a queue in playing order.
std::vector<int> notesOf(const NoteQueue& queue)
{
    std::vector<int> notes;
    for (const NoteEvent& event : queue)
        notes.push_back(event.note);
    return notes;
}

TEST(NoteQueue, PlaysByOffsetAndKeepsTheOrderOfEqualOnes)
{
    NoteQueue queue;
    const int kOffsets[] = {10, 5, 10, 0, 5, 64};
    for (int i = 0; i < 6; ++i)
        queue.insert({i, 1.0f, kOffsets[i], 1, 0});
    EXPECT_EQ(notesOf(queue), (std::vector<int>{3, 1, 4, 0, 2, 5}));
}

TEST(NoteQueue, TheNoteAfterAFullQueueIsAloneInIt)
{
    NoteQueue queue;
    for (int i = 0; i < 128; ++i)
        queue.insert({i, 1.0f, i, 1, 0});
    EXPECT_EQ(notesOf(queue).size(), 128u);
    queue.insert({77, 1.0f, 0, 1, 0});
    EXPECT_EQ(notesOf(queue), std::vector<int>{77});
}

TEST(NoteQueue, NotesOfARefusedBlockComeFirstInTheNext)
{
    NoteQueue queue;
    queue.insert({1, 1.0f, 30, 1, 0});
    queue.insert({2, 1.0f, 40, 0, 0});
    queue.moveToStart();
    queue.insert({3, 1.0f, 0, 1, 0});
    EXPECT_EQ(notesOf(queue), (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(queue.begin()->sampleOffset, 0);
}

} // namespace
} // namespace zephra
