// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/MidiFile.h"
#include "song/TailRule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <vector>

namespace zephra {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes operator+(Bytes all, const Bytes& more)
{
    all.insert(all.end(), more.begin(), more.end());
    return all;
}
constexpr std::uint8_t low(std::size_t word) { return static_cast<std::uint8_t>(word); }
Bytes chunk(std::string_view name, const Bytes& body)
{
    return Bytes(name.begin(), name.end()) + Bytes{0, 0, 0, low(body.size())} + body;
}
Bytes header(unsigned format, unsigned tracks, unsigned division)
{
    return chunk("MThd", {0, low(format), 0, low(tracks), low(division >> 8), low(division)});
}
const Bytes kEndOfTrack{0x00, 0xff, 0x2f, 0x00};
Bytes track(const Bytes& events) { return chunk("MTrk", events + kEndOfTrack); }
/// A file at 100 ticks a beat.
Bytes oneTrack(const Bytes& events) { return header(0, 1, 100) + track(events); }
Bytes twoTracks(const Bytes& first, const Bytes& second)
{
    return header(1, 2, 100) + track(first) + track(second);
}

const Bytes kNote{0, 0x90, 60, 1};
const Bytes kTempo60{0xff, 0x51, 3, 0x0f, 0x42, 0x40};
const Bytes kTempo0{0xff, 0x51, 3, 0, 0, 0}; // counts as 120
const Bytes kBillionTicks{0xff, 0xff, 0xff, 0x7f};

TEST(MidiFile, PlaysWhatGoodFilesContain)
{
    const auto smpte = [](unsigned division) {
        return header(0, 1, division) + track(Bytes{0} + kTempo60 + Bytes{100, 0x90, 60, 1});
    };
    const Bytes tempos = twoTracks(Bytes{100} + kTempo60 + Bytes{100} + kTempo0,
                                   {100, 0x90, 60, 1, 100, 60, 0, 100, 60, 1});
    const std::string justANote = "0=90.60.1 ";
    const struct {
        const char* what;
        Bytes file;
        std::string messages; ///< SECONDS=STATUS.DATA.DATA from 240 beats per minute on
    } rows[] = {
        {"running status, which a text leaves",
         oneTrack(Bytes{0, 0x91, 60, 100, 50, 64, 90, 0, 0xff, 1, 1, 'h', 50, 60, 0, 0, 0xc2, 5} +
                  Bytes{0, 6, 0x81, 0x48, 0xe1, 0x01, 0x40}),
         "0=91.60.100 0.125=91.64.90 0.25=91.60.0 0.25=c2.5.0 0.25=c2.6.0 0.75=e1.1.64 "},
        {"tempos of another track", tempos, "0.25=90.60.1 1.25=90.60.0 1.75=90.60.1 "},
        {"tracks by time, then in their order",
         twoTracks({0, 0x90, 1, 1, 10, 2, 1}, {0, 0x90, 3, 1, 5, 4, 1, 5, 5, 1}),
         "0=90.1.1 0=90.3.1 0.0125=90.4.1 0.025=90.2.1 0.025=90.5.1 "},
        {"25 frames of 40 ticks, whatever the tempo", smpte(0xe728), "0.1=90.60.1 "},
        {"drop frame: 30000 / 1001 frames of 80 ticks", smpte(0xe350), "0.0417083=90.60.1 "},
        {"no end mark", header(0, 1, 100) + chunk("MTrk", kNote), justANote},
        {"foreign chunk", header(0, 1, 100) + chunk("XFIH", {1, 2}) + track(kNote), justANote},
        {"long header", chunk("MThd", {0, 0, 0, 1, 0, 100, 9, 9}) + track(kNote), justANote},
        {"bytes behind the last track", oneTrack(kNote) + Bytes{0, 0, 0}, justANote},
        {"events behind the end mark",
         header(0, 1, 100) + chunk("MTrk", kNote + kEndOfTrack + Bytes{0x93}), justANote},
        {"split system exclusive", oneTrack(Bytes{0, 0xf0, 2, 1, 2, 0, 0xf7, 2, 3, 0xf7} + kNote),
         justANote},
        {"waits before the end mark",
         header(0, 1, 1) +
             track(kNote + kBillionTicks + Bytes{0xff, 1, 0} + kBillionTicks + Bytes{0xff, 1, 0}),
         justANote},
    };
    for (const auto& row : rows) {
        std::ostringstream told;
        for (const auto& [seconds, message] : parseMidi(row.file, 240.0).messages)
            told << seconds << '=' << std::hex << int(message.status) << '.' << std::dec
                 << int(message.data1) << '.' << int(message.data2) << ' ';
        EXPECT_EQ(told.str(), row.messages) << row.what;
    }
    const auto map = parseMidi(tempos, 240.0).tempos;
    ASSERT_EQ(map.size(), 2u);
    EXPECT_DOUBLE_EQ(map[0].beatsPerMinute, 60.0);
    EXPECT_DOUBLE_EQ(map[1].beatsPerMinute, 120.0);
    EXPECT_DOUBLE_EQ(map[1].seconds, 1.25);
}

std::string faultOf(const Bytes& file)
{
    try {
        parseMidi(file, 120.0);
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "none";
}

TEST(MidiFile, RefusesDamageAndSaysWhatItIs)
{
    Bytes longTrack = oneTrack(kNote), hugeHeader = longTrack, wait;
    longTrack[21] = 200; // chunk length
    hugeHeader[4] = 0xff;
    for (int i = 0; i < 9; ++i)
        wait = wait + kBillionTicks + Bytes{0x90, 60, 1};
    const struct {
        const char* fault;
        Bytes file;
    } rows[] = {
        {"not a Standard MIDI File", {}},
        {"ends too early", longTrack},
        {"ends too early", hugeHeader},
        {"format 2", header(2, 1, 100) + track(kNote)},
        {"no tracks", header(1, 0, 100)},
        {"1 of 2 tracks", header(1, 2, 100) + track(kNote)},
        {"division is 0", header(0, 1, 0) + track(kNote)},
        {"SMPTE", header(0, 1, 0xe628) + track(kNote)}, // 26 frames
        {"no status", oneTrack({0, 60, 1})},
        {"more than 4 bytes", oneTrack({0xff, 0xff, 0xff, 0xff, 0x7f, 0x90, 60, 1})},
        {"middle of a message", oneTrack({0, 0x90, 0x90, 1})},
        {"does not belong", oneTrack({0, 0xf8})},
        {"ends too early", oneTrack({0, 0xff, 1, 0x7f, 'x'})},
        {"2 bytes, not 3", oneTrack({0, 0xff, 0x51, 2, 1, 1})},
        {"24 hours", header(0, 1, 1) + track(wait)},
    };
    for (const auto& row : rows)
        EXPECT_THAT(faultOf(row.file), testing::HasSubstr(row.fault));
}

TEST(MidiFile, NoDamagedByteGetsPastTheChecks)
{
    // Every value in every place: messages stay well formed and times in order. No part is whole.
    const Bytes good =
        twoTracks({0, 0xff, 0x51, 3, 7, 0xa1, 0x20},
                  {0, 0xf0, 2, 1, 0xf7, 0, 0x90, 60, 1, 0x83, 0x60, 60, 0, 0, 0xd0, 9});
    ASSERT_EQ(faultOf(good), "none");
    for (std::size_t place = 0; place < good.size(); ++place) {
        EXPECT_NE(faultOf({good.data(), good.data() + place}), "none") << place << " bytes";
        for (int value = 0; value < 256; ++value) {
            Bytes damaged = good;
            damaged[place] = static_cast<std::uint8_t>(value);
            if (faultOf(damaged) != "none")
                continue;
            double last = 0.0;
            for (const auto& [seconds, message] : parseMidi(damaged, 120.0).messages) {
                EXPECT_TRUE(seconds >= last && seconds <= kLongestSeconds);
                EXPECT_TRUE(message.status >= 0x80 && message.status < 0xf0);
                EXPECT_LT(message.data1 | message.data2, 0x80);
                last = seconds;
            }
        }
    }
}

/// Length of a file in which the left channel sounds before `soundEnd` and the right one on
/// sample `click`.
std::int64_t lengthOf(TailRule rule, float level, int soundEnd, int click, int block)
{
    std::vector<float> left(static_cast<std::size_t>(block)), right = left;
    std::int64_t length = 0;
    for (int position = 0; !rule.finished(); position += block) {
        for (int i = 0; i < block; ++i) {
            left[static_cast<std::size_t>(i)] = position + i < soundEnd ? -level : 0.0f;
            right[static_cast<std::size_t>(i)] = position + i == click ? level : 0.0f;
        }
        length += rule.take(left.data(), right.data(), block);
    }
    return length;
}

TEST(TailRule, EndsHalfASecondAfterSoundAndLastEventOrWhereItIsTold)
{
    constexpr int kForEver = 1 << 30;
    constexpr float kLoud = 0.1f;
    const struct {
        const char* what;
        int lastEvent;
        std::optional<std::int64_t> exact;
        float level;
        int soundEnd, click;
        std::int64_t length;
    } rows[] = {
        {"nothing at all", 0, {}, kLoud, 0, -1, 500},
        {"silence before the last event does not count", 2000, {}, kLoud, 100, -1, 2500},
        {"sound after the last event", 2000, {}, kLoud, 3210, -1, 3710},
        {"click in one channel within the half second", 2000, {}, kLoud, 2000, 2499, 3000},
        {"sound without end", 2000, {}, kLoud, kForEver, -1, 32000},
        {"below -100 dB", 0, {}, 0.99e-5f, 1000, -1, 500},
        {"above it", 0, {}, 1.01e-5f, 1000, -1, 1500},
        {"no length", 2000, 0, kLoud, kForEver, -1, 0},
        {"an exact length", 2000, 1234, kLoud, kForEver, -1, 1234},
        {"a long one", 2000, 40000, kLoud, 0, -1, 40000},
    };
    for (const auto& row : rows) {
        for (const int block : {1, 63, 8192}) {
            const TailRule rule(row.lastEvent, 1000.0, row.exact); // samples are milliseconds
            EXPECT_EQ(lengthOf(rule, row.level, row.soundEnd, row.click, block), row.length)
                << row.what << ", block " << block;
        }
    }
}

} // namespace
} // namespace zephra
