// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/EventList.h"

#include "controls/ControlIds.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

namespace zephra::render {
namespace {

/// Of a command line, with samples that are milliseconds.
EventList listOf(const Song& song, const std::string& line)
{
    std::istringstream words("zephra-render --out x " + line);
    const std::vector<std::string> all(std::istream_iterator<std::string>(words), {});
    std::vector<const char*> arguments;
    for (const std::string& word : all)
        arguments.push_back(word.c_str());
    RenderOptions options = *readOptions(static_cast<int>(arguments.size()), arguments.data());
    options.rate = 1000;
    return makeEventList(song, options);
}

TEST(EventList, HoldsEveryMessageOnItsSampleInTheOrderOfTheirKinds)
{
    const auto played = [](double seconds, int status, int data1, int data2) {
        const auto byte = [](int x) { return static_cast<std::uint8_t>(x); };
        return PlayedMessage{seconds, {byte(status), byte(data1), byte(data2)}};
    };
    const auto on = [&](double at, int key) { return played(at, 0x90, key, 100); };
    const auto off = [&](double at, int key) { return played(at, 0x80, key, 0); };
    const auto cc = [&](double at, int value) { return played(at, 0xb0, 7, value); };
    const struct {
        const char* what;
        std::vector<PlayedMessage> song;
        const char *options, *expected; ///< SAMPLE with +KEY, -KEY or :VALUE, /channel
    } rows[] = {
        {"the nearest sample, half up",
         {},
         "--cc 7,1,0.0004 --bend -1,0 --cc 7,2,0.0005 --bend=1,0.0025,16 --pressure 9,1",
         "0:1 0:0 1:2 3:127/15 1000:0 "},
        {"controllers then notes, song then options",
         {on(1, 1), cc(1, 1), on(1, 2), cc(1, 2)},
         "--note 4,1,1,2 --note 3,1,1,2 --cc 7,3,1 --bend 0,1",
         "1000:1 1000:2 1000:3 1000:64 1000+1 1000+2 1000+4 1000+3 2000-4 2000-3 "},
        {"a note-off before the note-on of its key and no other",
         {},
         "--note 60,1,1,2 --note 61,1,1,2 --note 60,1,0,1 --note 62,1,0,1",
         "0+60 0+62 1000-60 1000+60 1000+61 1000-62 2000-60 2000-61 "},
        {"a note without length ends one sample later",
         {on(1, 60), played(1, 0x90, 60, 0), on(2, 61), off(3, 61), on(3, 61), off(3, 61)},
         "--note 64,1,4,4.0001",
         "1000+60 1001-60 2000+61 3000-61 3000+61 3001-61 4000+64 4001-64 "},
    };
    for (const auto& row : rows) {
        Song song;
        song.messages = row.song;
        std::ostringstream told;
        for (const auto& [sample, message] : listOf(song, row.options).messages) {
            told << sample
                 << (message.isNoteOn()    ? '+'
                     : message.isNoteOff() ? '-'
                                           : ':')
                 << int(message.isNote() ? message.data1 : message.data2);
            told << (message.channel() ? "/" + std::to_string(message.channel()) : "") << ' ';
        }
        EXPECT_EQ(told.str(), row.expected) << row.what;
    }
}

TEST(EventList, AutomationCountsForTheEndAndTempoStartsWithTheOption)
{
    Song song;
    song.tempos = {{0.5, 90.0}};
    const EventList list = listOf(song, "--tempo 200 --note 60,1,0,1 --auto filter_cutoff=0.5@3 "
                                        "--auto filter_cutoff=0.2@1.5 --auto volume=0.2@3");
    EXPECT_EQ(list.end, 3000);
    ASSERT_EQ(list.automation.size(), 3u);
    EXPECT_EQ(list.automation[0].sample, 1500);
    EXPECT_EQ(list.automation[2].setting.id, int(volume));
    ASSERT_EQ(list.tempos.size(), 2u);
    EXPECT_EQ(list.tempos[0].beatsPerMinute, 200.0);
    EXPECT_EQ(list.tempos[1].sample, 500);
    EXPECT_EQ(list.notesBefore(0), 0);
    EXPECT_EQ(list.notesBefore(1), 1);
}

} // namespace
} // namespace zephra::render
