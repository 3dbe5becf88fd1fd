// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/RenderOptions.h"

#include "controls/ControlIds.h"
#include "song/Failure.h"

#include <cmath>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sstream>

namespace zephra::render {
namespace {

using testing::FieldsAre;

/// Of a line that is parted at blanks.
RenderOptions read(const std::string& line)
{
    std::istringstream stream(line);
    std::vector<std::string> words{"zephra-render"};
    for (std::string word; stream >> word;)
        words.push_back(word == "''" ? "" : word);
    std::vector<const char*> arguments;
    for (const std::string& word : words)
        arguments.push_back(word.c_str());
    return readOptions(static_cast<int>(arguments.size()), arguments.data()).value();
}

TEST(RenderOptions, ReadsEveryOption)
{
    const RenderOptions options = read(
        "--set filter_cutoff=0.25 song.mid --out b.wav --auto volume=0.75@1.5 --note 60,100,0,1 "
        "--note 61,1,0.5,2,16 --tempo 90.5 --rate 96000 --block 1 --seconds 2.5 --format s24 "
        "--no-snap --quiet --json --set volume=-inf --bend -1,0 --cc 1,127,0,2 --bend=1,0,16 "
        "--pressure 64,0 --bend 0,0 --program 5,0");
    EXPECT_EQ(options.song, "song.mid");
    EXPECT_EQ(options.out, "b.wav");
    ASSERT_EQ(options.settings.size(), 2u);
    EXPECT_THAT(options.settings[0], FieldsAre(int(filter_cutoff), 0.25));
    EXPECT_THAT(options.settings[1], FieldsAre(int(volume), -HUGE_VAL)) << "controls take any";
    EXPECT_THAT(options.automation.at(0), FieldsAre(FieldsAre(int(volume), 0.75), 1.5));
    EXPECT_THAT(options.notes, testing::ElementsAre(FieldsAre(60, 100, 0.0, 1.0, 0),
                                                    FieldsAre(61, 1, 0.5, 2.0, 15)));
    EXPECT_EQ(options.tempo, 90.5);
    EXPECT_EQ(options.rate, 96000);
    EXPECT_EQ(options.block, 1);
    EXPECT_EQ(options.seconds, 2.5);
    EXPECT_EQ(options.format, SampleFormat::Int24);
    EXPECT_TRUE(!options.snap && options.quiet && options.json);
    EXPECT_EQ(options.controllers, (std::vector<PlayedMessage>{{0, {0xe0, 0, 0}},
                                                               {0, {0xb1, 1, 127}},
                                                               {0, {0xef, 0x7f, 0x7f}},
                                                               {0, {0xd0, 64, 0}},
                                                               {0, {0xe0, 0, 0x40}},
                                                               {0, {0xc0, 5, 0}}}))
        << "in their order across options";

    EXPECT_EQ(read("--out - --rate 22050").rate, 44100) << "the nearest legal";
    EXPECT_EQ(read("--out - --rate 1000000").rate, 384000);
    for (const char* tempo : {"0", "-3", "nan", "inf"})
        EXPECT_EQ(read(std::string("--out - --tempo ") + tempo).tempo, 120.0) << tempo;
}

TEST(RenderOptions, AWrongCommandLineIsNamedInOneLine)
{
    constexpr std::pair<const char*, const char*> kRows[] = {
        {"--out x --bogus", "--bogus: there is no such option"},
        {"--out - --json", "--json: standard output"},
        {"--set volume", "--set: .*NAME=VALUE"},
        {"--set volume=0,5", "--set: .*not a number"},
        {"--set filter_cutof=1", "--set: .*\"filter_cutoff\"\\?"},
        {"--auto volume=1@-1", "--auto: TIME -1 is outside 0 to 86400"},
        {"--note 60,100,0", "--note: .*KEY,VELOCITY,ON,OFF\\[,CHANNEL\\]"},
        {"--note 60.5,100,0,1", "--note: KEY 60.5 is not a whole number"},
        {"--note 60,0,0,1", "--note: VELOCITY 0"},
        {"--note 60,100,1,1", "--note: .*ends before"},
        {"--note 60,100,0,inf", "--note: OFF inf is outside"},
        {"--note 60,100,0,1,0", "--note: CHANNEL 0 is outside 1 to 16"},
        {"--bend 1.01,0", "--bend: VALUE 1.01 is outside -1 to 1"},
        {"--rate 0", "--rate: .*outside 1"},
        {"--format f64", "--format: .*none of f32, s24 and s16"},
        {"--patch '' --out x", "--patch: .*missing"},
        {"--quiet", "--out: .*missing"},
        {"--save-patch - --out -", "--save-patch: standard output"},
        {"--save-patch ./a --out a", "--save-patch: .*this place"},
        {"--program 128,0", "--program: NUMBER 128"},
    };
    for (const auto& [line, message] : kRows) {
        try {
            read(line);
            ADD_FAILURE() << "accepted: " << line;
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, kUsageStatus) << failure.what();
            EXPECT_THAT(failure.what(), testing::ContainsRegex(std::string("^") + message));
            EXPECT_THAT(failure.what(), testing::Not(testing::HasSubstr("\n")));
        }
    }
}

} // namespace
} // namespace zephra::render
