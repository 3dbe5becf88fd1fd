// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/EventList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephra::render {
namespace {

constexpr MidiMessage on(int key) { return {0x90, static_cast<std::uint8_t>(key), 100}; }
constexpr MidiMessage off(int key) { return {0x80, static_cast<std::uint8_t>(key), 0}; }
constexpr MidiMessage cc(int value) { return {0xb0, 7, static_cast<std::uint8_t>(value)}; }

constexpr PlayedNote note(int key, double start, double end)
{
    return {.key = key, .velocity = 100, .on = start, .off = end};
}

TEST(EventList, HoldsEveryMessageOnItsSampleInTheOrderOfTheirKinds)
{
    const struct {
        const char* what;
        std::vector<PlayedMessage> song, controllers;
        std::vector<PlayedNote> notes;
        std::vector<TimedMessage> expected;
    } rows[] = {
        {"the nearest sample, half up",
         {},
         {{0.0004, cc(1)}, {0.0005, cc(2)}, {0.0025, cc(3)}},
         {},
         {{0, cc(1)}, {1, cc(2)}, {3, cc(3)}}},
        {"controllers then notes, song then options",
         {{1.0, on(1)}, {1.0, cc(1)}, {1.0, on(2)}, {1.0, cc(2)}},
         {{1.0, cc(3)}, {1.0, {0xe0, 0, 64}}},
         {note(4, 1.0, 2.0), note(3, 1.0, 2.0)},
         {{1000, cc(1)},
          {1000, cc(2)},
          {1000, cc(3)},
          {1000, {0xe0, 0, 64}},
          {1000, on(1)},
          {1000, on(2)},
          {1000, on(4)},
          {1000, on(3)},
          {2000, off(4)},
          {2000, off(3)}}},
        {"a note-off before the note-on of its key and no other",
         {},
         {},
         {note(60, 1.0, 2.0), note(61, 1.0, 2.0), note(60, 0.0, 1.0), note(62, 0.0, 1.0)},
         {{0, on(60)},
          {0, on(62)},
          {1000, off(60)},
          {1000, on(60)},
          {1000, on(61)},
          {1000, off(62)},
          {2000, off(60)},
          {2000, off(61)}}},
        {"a note without length ends one sample later",
         {{1.0, on(60)},
          {1.0, {0x90, 60, 0}}, // note-off by velocity 0
          {2.0, on(61)},
          {3.0, off(61)},
          {3.0, on(61)},
          {3.0, off(61)}},
         {},
         {note(64, 4.0, 4.0001)},
         {{1000, on(60)},
          {1001, {0x90, 60, 0}},
          {2000, on(61)},
          {3000, off(61)},
          {3000, on(61)},
          {3001, off(61)},
          {4000, on(64)},
          {4001, off(64)}}},
    };
    for (const auto& row : rows) {
        Song song;
        song.messages = row.song;
        RenderOptions options;
        options.rate = 1000; // samples are milliseconds
        options.controllers = row.controllers;
        options.notes = row.notes;
        EXPECT_EQ(makeEventList(song, options).messages, row.expected) << row.what;
    }
}

TEST(EventList, AutomationCountsForTheEndAndTempoStartsWithTheOption)
{
    Song song;
    song.tempos = {{0.5, 90.0}};
    RenderOptions options;
    options.rate = 1000;
    options.tempo = 200.0;
    options.notes = {note(60, 0.0, 1.0)};
    options.automation = {{{71, 0.5}, 3.0}, {{71, 0.2}, 1.5}, {{72, 0.2}, 3.0}};
    const EventList list = makeEventList(song, options);

    EXPECT_EQ(list.end, 3000);
    ASSERT_EQ(list.automation.size(), 3u);
    EXPECT_EQ(list.automation[0].sample, 1500);
    EXPECT_EQ(list.automation[2].setting.id, 72);
    ASSERT_EQ(list.tempos.size(), 2u);
    EXPECT_EQ(list.tempos[0].beatsPerMinute, 200.0);
    EXPECT_EQ(list.tempos[1].sample, 500);
    EXPECT_EQ(list.notesBefore(0), 0);
    EXPECT_EQ(list.notesBefore(1), 1);
}

} // namespace
} // namespace zephra::render
