// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/MidiFile.h"

#include "MidiBytes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

namespace zephra::test {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;

std::string faultOf(const Bytes& file)
{
    try {
        parseMidi(file, 120.0);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(MidiFile, ReadsMessagesWithRunningStatusAcrossMetaEvents)
{
    const Song song = parseMidi(oneTrack({0,    0x91, 60,   100,            //
                                          50,   64,   90,                   // running status
                                          0,    0xff, 0x01, 2,    'h', 'i', //
                                          50,   60,   0,                    // still running
                                          0,    0xc2, 5,    0,    6,        //
                                          0x81, 0x48, 0xe1, 0x01, 0x40}),
                                120.0);
    EXPECT_THAT(song.messages,
                ElementsAre(PlayedMessage{0.0, {0x91, 60, 100}},
                            PlayedMessage{0.25, {0x91, 64, 90}}, PlayedMessage{0.5, {0x91, 60, 0}},
                            PlayedMessage{0.5, {0xc2, 5, 0}}, PlayedMessage{0.5, {0xc2, 6, 0}},
                            PlayedMessage{1.5, {0xe1, 1, 0x40}}));
}

TEST(MidiFile, TempoMapOfOneTrackTimesTheNotesOfAnother)
{
    const Bytes tempos{100, 0xff, 0x51, 3, 0x0f, 0x42, 0x40, // 60 BPM from tick 100
                       100, 0xff, 0x51, 3, 0,    0,    0};   // tempo 0 counts as 120 BPM
    const Bytes notes{100, 0x90, 60, 1, 100, 60, 0, 100, 60, 1};
    const Song song = parseMidi(join({header(1, 2, 100), track(tempos), track(notes)}), 240.0);

    ASSERT_EQ(song.messages.size(), 3u);
    EXPECT_DOUBLE_EQ(song.messages[0].seconds, 0.25); // at the start tempo
    EXPECT_DOUBLE_EQ(song.messages[1].seconds, 1.25);
    EXPECT_DOUBLE_EQ(song.messages[2].seconds, 1.75);
    ASSERT_EQ(song.tempos.size(), 2u);
    EXPECT_DOUBLE_EQ(song.tempos[0].beatsPerMinute, 60.0);
    EXPECT_DOUBLE_EQ(song.tempos[1].beatsPerMinute, 120.0);
    EXPECT_DOUBLE_EQ(song.tempos[1].seconds, 1.25);
}

TEST(MidiFile, TracksMergeByTimeAndThenByTrack)
{
    const Song song = parseMidi(join({header(1, 2, 100), track({0, 0x90, 1, 1, 10, 2, 1}),
                                      track({0, 0x90, 3, 1, 5, 4, 1, 5, 5, 1})}),
                                120.0);
    std::vector<int> keys;
    for (const PlayedMessage& played : song.messages)
        keys.push_back(played.message.data1);
    EXPECT_THAT(keys, ElementsAre(1, 3, 4, 2, 5));
}

TEST(MidiFile, SmpteClockIsIndependentOfTempo)
{
    constexpr std::pair<int, double> kRows[] = {{0xe728, 0.1}, // 25 frames of 40 ticks
                                                {0xe850, 100.0 / 24 / 80},
                                                {0xe350, 100.0 * 1001.0 / 30000.0 / 80}};
    const Bytes events{0, 0xff, 0x51, 3, 0x0f, 0x42, 0x40, 100, 0x90, 60, 1};
    for (const auto& [division, seconds] : kRows) {
        const Song song = parseMidi(join({header(0, 1, division), track(events)}), 120.0);
        EXPECT_NEAR(song.messages.at(0).seconds, seconds, 1e-12) << division;
    }
}

TEST(MidiFile, AcceptsWhatGoodFilesContain)
{
    const Bytes note{0, 0x90, 60, 1};
    const struct {
        const char* what;
        Bytes file;
    } rows[] = {
        {"no end mark", join({header(0, 1, 100), chunk("MTrk", note)})},
        {"chunk of another kind", join({header(0, 1, 100), chunk("XFIH", {1, 2, 3}), track(note)})},
        {"long header", join({chunk("MThd", {0, 0, 0, 1, 0, 100, 9, 9}), track(note)})},
        {"bytes behind the last track", join({oneTrack(note), {0, 0, 0}})},
        {"events behind the end mark",
         join({header(0, 1, 100), chunk("MTrk", join({note, kEndOfTrack, {0x93}}))})},
        {"split system exclusive", oneTrack(join({{0, 0xf0, 2, 1, 2, 5, 0xf7, 2, 3, 0xf7}, note}))},
        {"a billion ticks before the end mark",
         join({header(0, 1, 1), chunk("MTrk", join({note,
                                                    {0xff, 0xff, 0xff, 0x7f, 0xff, 1, 0},
                                                    {0xff, 0xff, 0xff, 0x7f, 0xff, 1, 0},
                                                    {0xff, 0xff, 0xff, 0x7f, 0xff, 0x2f, 0}}))})},
    };
    for (const auto& row : rows)
        EXPECT_EQ(parseMidi(row.file, 120.0).messages.size(), 1u) << row.what;
}

TEST(MidiFile, RefusesDamageAndSaysWhatItIs)
{
    const Bytes note{0, 0x90, 60, 1};
    const Bytes good = oneTrack(note);
    Bytes longTrack = good;
    longTrack[21] = 200; // chunk length
    Bytes hugeHeader = good;
    hugeHeader[4] = 0xff;
    Bytes wait; // 9 * 2^28 ticks at 1 tick a beat
    for (int i = 0; i < 9; ++i)
        wait.insert(wait.end(), {0xff, 0xff, 0xff, 0x7f, 0x90, 60, 1});

    const struct {
        const char* what;
        Bytes file;
        const char* fault;
    } rows[] = {
        {"empty", {}, "not a Standard MIDI File"},
        {"track longer than the file", longTrack, "ends too early"},
        {"header of 4 GiB", hugeHeader, "ends too early"},
        {"format 2", join({header(2, 1, 100), track(note)}), "format 2"},
        {"no tracks", header(1, 0, 100), "no tracks"},
        {"missing track", join({header(1, 2, 100), track(note)}), "1 of 2 tracks"},
        {"division 0", join({header(0, 1, 0), track(note)}), "division"},
        {"SMPTE of 26 frames", join({header(0, 1, 0xe628), track(note)}), "SMPTE"},
        {"data without status", oneTrack({0, 60, 1}), "no status"},
        {"endless number", oneTrack({0xff, 0xff, 0xff, 0xff, 0x7f, 0x90, 60, 1}),
         "more than 4 bytes"},
        {"status among data", oneTrack({0, 0x90, 0x90, 1}), "middle of a message"},
        {"real-time message", oneTrack({0, 0xf8}), "does not belong"},
        {"meta event past the track", oneTrack({0, 0xff, 1, 0x7f, 'x'}), "ends too early"},
        {"tempo of 2 bytes", oneTrack({0, 0xff, 0x51, 2, 1, 1}), "2 bytes"},
        {"years of music", join({header(0, 1, 1), track(wait)}), "24 hours"},
    };
    for (const auto& row : rows)
        EXPECT_THAT(faultOf(row.file), HasSubstr(row.fault)) << row.what;
}

TEST(MidiFile, NoDamagedByteGetsPastTheChecks)
{
    // Every value in every place: messages stay well formed and times in order. No part is whole.
    const Bytes good =
        join({header(1, 2, 96), track({0, 0xff, 0x51, 3, 7, 0xa1, 0x20}),
              track({0, 0xf0, 2, 1, 0xf7, 0, 0x90, 60, 1, 0x83, 0x60, 60, 0, 0, 0xd0, 9})});
    ASSERT_EQ(faultOf(good), "none");
    for (std::size_t place = 0; place < good.size(); ++place) {
        EXPECT_NE(faultOf({good.data(), good.data() + place}), "none") << place << " bytes";
        for (int value = 0; value < 256; ++value) {
            Bytes damaged = good;
            damaged[place] = static_cast<std::uint8_t>(value);
            Song song;
            try {
                song = parseMidi(damaged, 120.0);
            } catch (const std::runtime_error&) {
                continue;
            }
            double last = 0.0;
            for (const PlayedMessage& played : song.messages) {
                EXPECT_GE(played.seconds, last);
                EXPECT_LE(played.seconds, kLongestSeconds);
                EXPECT_GE(played.message.status, 0x80);
                EXPECT_LT(played.message.status, 0xf0);
                EXPECT_LT(played.message.data1 | played.message.data2, 0x80);
                last = played.seconds;
            }
        }
    }
}

} // namespace
} // namespace zephra::test
