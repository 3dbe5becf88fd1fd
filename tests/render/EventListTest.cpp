// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/EventList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephra::render::test {
namespace {

using ::testing::ElementsAre;

constexpr MidiMessage on(int key) { return {0x90, static_cast<std::uint8_t>(key), 100}; }
constexpr MidiMessage off(int key) { return {0x80, static_cast<std::uint8_t>(key), 0}; }
constexpr MidiMessage cc(int value) { return {0xb0, 7, static_cast<std::uint8_t>(value)}; }

PlayedNote note(int key, double start, double end)
{
    PlayedNote played;
    played.key = key;
    played.on = start;
    played.off = end;
    return played;
}

RenderOptions atOneKilohertz()
{
    RenderOptions options;
    options.rate = 1000; // samples are milliseconds
    return options;
}

TEST(EventList, EventsLandOnTheNearestSampleHalfUp)
{
    RenderOptions options = atOneKilohertz();
    options.controllers = {{0.0004, cc(1)}, {0.0005, cc(2)}, {0.0025, cc(3)}};
    EXPECT_THAT(
        makeEventList({}, options).messages,
        ElementsAre(TimedMessage{0, cc(1)}, TimedMessage{1, cc(2)}, TimedMessage{3, cc(3)}));
}

TEST(EventList, AtOneSampleControllersThenNotesSongThenOptions)
{
    Song song;
    song.messages = {{1.0, on(1)}, {1.0, cc(1)}, {1.0, on(2)}, {1.0, cc(2)}};
    RenderOptions options = atOneKilohertz();
    options.notes = {note(4, 1.0, 2.0), note(3, 1.0, 2.0)};
    options.controllers = {{1.0, cc(3)}, {1.0, {0xe0, 0, 64}}};

    auto messages = makeEventList(song, options).messages;
    messages.resize(8);
    EXPECT_THAT(messages, ElementsAre(TimedMessage{1000, cc(1)}, TimedMessage{1000, cc(2)},
                                      TimedMessage{1000, cc(3)}, TimedMessage{1000, {0xe0, 0, 64}},
                                      TimedMessage{1000, on(1)}, TimedMessage{1000, on(2)},
                                      TimedMessage{1000, on(4)}, TimedMessage{1000, on(3)}));
}

TEST(EventList, NoteOffComesBeforeTheNoteOnOfItsKeyAndNoOther)
{
    RenderOptions options = atOneKilohertz();
    options.notes = {note(60, 1.0, 2.0), note(61, 1.0, 2.0), note(60, 0.0, 1.0),
                     note(62, 0.0, 1.0)};
    auto messages = makeEventList({}, options).messages;
    messages.erase(messages.begin(), messages.begin() + 2);
    messages.resize(4);
    EXPECT_THAT(messages, ElementsAre(TimedMessage{1000, off(60)}, TimedMessage{1000, on(60)},
                                      TimedMessage{1000, on(61)}, TimedMessage{1000, off(62)}));
}

TEST(EventList, NoteOfNoLengthEndsOneSampleLater)
{
    Song song;
    song.messages = {{1.0, on(60)}, {1.0, {0x90, 60, 0}}, // note-off by velocity 0
                     {2.0, on(61)}, {3.0, off(61)},       {3.0, on(61)}, {3.0, off(61)}};
    RenderOptions options = atOneKilohertz();
    options.notes = {note(64, 4.0, 4.0001)};
    EXPECT_THAT(makeEventList(song, options).messages,
                ElementsAre(TimedMessage{1000, on(60)}, TimedMessage{1001, {0x90, 60, 0}},
                            TimedMessage{2000, on(61)}, TimedMessage{3000, off(61)},
                            TimedMessage{3000, on(61)}, TimedMessage{3001, off(61)},
                            TimedMessage{4000, on(64)}, TimedMessage{4001, off(64)}));
}

TEST(EventList, AutomationCountsForTheEndAndTempoStartsWithTheOption)
{
    Song song;
    song.tempos = {{0.5, 90.0}};
    RenderOptions options = atOneKilohertz();
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
} // namespace zephra::render::test
