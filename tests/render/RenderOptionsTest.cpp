// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/RenderOptions.h"

#include "controls/ControlIds.h"
#include "song/Failure.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace zephra::render::test {
namespace {

using ::testing::AllOf;
using ::testing::FieldsAre;
using ::testing::HasSubstr;
using ::testing::Not;

RenderOptions read(std::vector<const char*> arguments)
{
    arguments.insert(arguments.begin(), "zephra-render");
    return readOptions(static_cast<int>(arguments.size()), arguments.data()).value();
}

TEST(RenderOptions, ReadsEveryOption)
{
    // clang-format off
    const RenderOptions options = read({
        "--set", "filter_cutoff=0.25", "song.mid", "--out", "a b.wav", "--auto", "volume=0.75@1.5",
        "--note", "60,100,0,1", "--note", "61,1,0.5,2,16", "--tempo", "90.5", "--rate", "96000",
        "--block", "1", "--seconds", "2.5", "--format", "s24", "--no-snap", "--quiet", "--json"});
    // clang-format on
    EXPECT_EQ(options.song, "song.mid");
    EXPECT_EQ(options.out, "a b.wav");
    EXPECT_EQ(options.settings.at(0).id, filter_cutoff);
    EXPECT_EQ(options.settings.at(0).value, 0.25);
    EXPECT_EQ(options.automation.at(0).setting.id, volume);
    EXPECT_EQ(options.automation.at(0).setting.value, 0.75);
    EXPECT_EQ(options.automation.at(0).seconds, 1.5);
    EXPECT_EQ(options.notes.at(0).channel, 0);
    const PlayedNote& second = options.notes.at(1);
    EXPECT_THAT(std::tuple(second.key, second.velocity, second.on, second.off, second.channel),
                FieldsAre(61, 1, 0.5, 2.0, 15));
    EXPECT_EQ(options.tempo, 90.5);
    EXPECT_EQ(options.rate, 96000);
    EXPECT_EQ(options.block, 1);
    EXPECT_EQ(options.seconds, 2.5);
    EXPECT_EQ(options.format, SampleFormat::Int24);
    EXPECT_FALSE(options.snap);
    EXPECT_TRUE(options.quiet);
    EXPECT_TRUE(options.json);
}

TEST(RenderOptions, NumbersOutOfRangeBecomeTheNearestLegalAndControlsTakeAny)
{
    EXPECT_EQ(read({"--out", "-", "--rate", "22050"}).rate, 44100);
    EXPECT_EQ(read({"--out", "-", "--rate", "1000000"}).rate, 384000);
    for (const char* tempo : {"0", "-3", "nan", "inf"})
        EXPECT_EQ(read({"--out", "-", "--tempo", tempo}).tempo, 120.0) << tempo;
    EXPECT_TRUE(std::isnan(read({"--set", "volume=nan", "--out", "x"}).settings[0].value));
    EXPECT_EQ(read({"--set", "volume=-inf", "--out", "x"}).settings[0].value, -HUGE_VAL);
    EXPECT_EQ(read({"--set", "volume=+.5", "--out", "x"}).settings[0].value, 0.5);
}

TEST(RenderOptions, ControllersKeepTheirOrderAcrossOptions)
{
    const RenderOptions options =
        read({"--bend", "-1,0", "--cc", "1,127,0,2", "--bend=1,0,16", "--pressure", "64,0",
              "--bend", "0,0", "--cc", "64,0,0", "--out", "x"});
    EXPECT_THAT(options.controllers,
                ::testing::ElementsAre(
                    PlayedMessage{0, {0xe0, 0, 0}}, PlayedMessage{0, {0xb1, 1, 127}},
                    PlayedMessage{0, {0xef, 0x7f, 0x7f}}, PlayedMessage{0, {0xd0, 64, 0}},
                    PlayedMessage{0, {0xe0, 0, 0x40}}, PlayedMessage{0, {0xb0, 64, 0}}));
}

TEST(RenderOptions, AWrongCommandLineIsNamedInOneLine)
{
    const struct {
        std::vector<const char*> arguments;
        const char* option;
        const char* what;
    } rows[] = {
        {{}, "--out", "missing"},
        {{"--out", "x", "--bogus"}, "--bogus", "no such option"},
        {{"--out", "-", "--json"}, "--json", "standard output"},
        {{"--set", "volume"}, "--set", "NAME=VALUE"},
        {{"--set", "volume=0,5"}, "--set", "not a number"},
        {{"--set", "filter_cutof=1"}, "--set", "\"filter_cutoff\"?"},
        {{"--auto", "volume=1@-1"}, "--auto", "TIME -1 is outside 0 to 86400"},
        {{"--note", "60,100,0"}, "--note", "KEY,VELOCITY,ON,OFF[,CHANNEL]"},
        {{"--note", "128,100,0,1"}, "--note", "KEY 128 is outside 0 to 127"},
        {{"--note", "60.5,100,0,1"}, "--note", "KEY 60.5 is not a whole number"},
        {{"--note", "60,0,0,1"}, "--note", "VELOCITY 0"},
        {{"--note", "60,100,1,1"}, "--note", "ends before"},
        {{"--note", "60,100,0,inf"}, "--note", "OFF inf is outside"},
        {{"--note", "60,100,0,1,0"}, "--note", "CHANNEL 0 is outside 1 to 16"},
        {{"--bend", "1.01,0"}, "--bend", "VALUE 1.01 is outside -1 to 1"},
        {{"--rate", "0"}, "--rate", "outside 1"},
        {{"--format", "f64"}, "--format", "none of f32, s24 and s16"},
        {{"--patch", "", "--out", "x"}, "--patch", "missing"},
        {{"--save-patch", "-", "--out", "-"}, "--save-patch", "standard output"},
        {{"--save-patch", "./a", "--out", "a"}, "--save-patch", "this place"},
        {{"--program", "128,0"}, "--program", "NUMBER 128"},
    };
    for (const auto& row : rows) {
        try {
            read(row.arguments);
            ADD_FAILURE() << "accepted, expected: " << row.option << ": " << row.what;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, kUsageStatus) << failure.what();
            EXPECT_THAT(failure.what(), AllOf(::testing::StartsWith(row.option),
                                              HasSubstr(row.what), Not(HasSubstr("\n"))));
        }
    }
}

} // namespace
} // namespace zephra::render::test
