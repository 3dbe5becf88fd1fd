// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/Terminal.h"
#include "common/Utf8.h"
#include "standalone/StatusLine.h"
#include "standalone/TypedKeys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace zephra::standalone {
namespace {

using namespace std::chrono_literals;
using Sent = std::vector<MidiMessage>;
using Commands = std::vector<KeyCommand>;

constexpr MidiMessage on(std::uint8_t key, std::uint8_t velocity = 96)
{
    return {0x90, key, velocity};
}
constexpr MidiMessage off(std::uint8_t key) { return {0x80, key, 0}; }
const Sent kNothing;

class TypedKeysTest : public testing::Test {
protected:
    Sent type(std::string_view typed)
    {
        commands = keys.take(typed, now);
        return sent();
    }
    Sent wait(std::chrono::milliseconds time)
    {
        now += time;
        keys.releaseOld(now);
        return sent();
    }
    Sent sent()
    {
        Sent messages;
        for (; queue.front(); queue.pop())
            messages.push_back(queue.front()->message);
        return messages;
    }

    MidiQueue queue;
    TypedKeys keys{queue};
    Clock::time_point now{10s};
    Commands commands;
};

TEST_F(TypedKeysTest, TwoRowsOfKeysAreTwoOctavesOfAKeyboardAndTheSpaceBarThePedal)
{
    EXPECT_EQ(type("zsx/"), (Sent{on(48), on(49), on(50), on(64)}));
    EXPECT_EQ(type("Q237p"), (Sent{on(60, 127), on(61), on(63), on(70), on(76)}))
        << "Shift is loud";
    EXPECT_EQ(type(","), kNothing) << "60 is down already";
    EXPECT_EQ(type("aAfk1\t\r"), kNothing);
    EXPECT_EQ(type(" "), (Sent{{0xb0, 64, 127}}));
    EXPECT_TRUE(keys.pedal());
    EXPECT_EQ(type(" "), (Sent{{0xb0, 64, 0}}));
    EXPECT_EQ(commands, Commands());
}

TEST_F(TypedKeysTest, AHeldKeySoundsOnAndALooseOneEnds)
{
    EXPECT_EQ(type("z"), Sent{on(48)});
    EXPECT_EQ(wait(500ms), kNothing) << "up to the first repeat";
    type("z");
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(wait(33ms), kNothing);
        EXPECT_EQ(type("z"), kNothing);
    }
    EXPECT_EQ(wait(650ms), kNothing);
    EXPECT_EQ(wait(100ms), Sent{off(48)});
    EXPECT_EQ(type("z"), Sent{on(48)});
    EXPECT_EQ(wait(300ms), kNothing);
    EXPECT_EQ(type("z"), (Sent{off(48), on(48)})) << "struck again";
}

TEST_F(TypedKeysTest, OctavesEndAtBothEndsOfTheKeyboardAndReleaseWhatWasPlayed)
{
    for (const auto& [arrow, key, note] : {std::tuple("\033OC", "p", 124), {"\033[D", "z", 12}}) {
        EXPECT_EQ(type("z").size(), 1u);
        const MidiMessage released = off(static_cast<std::uint8_t>(12 * (keys.octave() + 1)));
        for (int i = 0; i < 20; ++i)
            EXPECT_EQ(type(arrow), kNothing);
        EXPECT_EQ(wait(800ms), Sent{released});
        EXPECT_EQ(type(key), Sent{on(static_cast<std::uint8_t>(note))});
        wait(800ms);
    }
}

TEST_F(TypedKeysTest, SpecialKeysAreCommandsAndPlayNothing)
{
    using enum KeyCommand;
    const std::pair<const char*, Commands> rows[] = {
        {"\033[A\033[1;2B\033[5~\033[200~\033OP", {PreviousPatch, NextPatch}},
        {"\033", {End}},
        {"\004", {End}},
        {"\033[1", {}},
        {";5A", {PreviousPatch}}, // the rest of a sequence that came in two parts
    };
    for (const auto& [typed, expected] : rows) {
        EXPECT_EQ(type(typed), kNothing) << typed + 1;
        EXPECT_EQ(commands, expected) << typed + 1;
    }
}

TEST(StatusLine, ShowsTheLevelAndIsCutToTheWidthOfTheTerminal)
{
    Status status;
    status.patch = "Höhlenbär ∿\a";
    for (const auto& [peak, meter] : {std::pair(0.0f, "[....................]         "),
                                      {0.0316228f, "[##########..........] -30 dB "},
                                      {1.0f, "[####################]  +0 dB!"}}) {
        status.peak = peak;
        const std::string whole = std::string(meter) + "  Höhlenbär ∿*  octave 3  dropped 0";
        for (int columns = 0; columns < 120; ++columns) {
            const std::string line = statusLine(status, columns);
            EXPECT_EQ(codePoints(line),
                      std::min<std::size_t>(std::max(columns - 1, 0), codePoints(whole)));
            EXPECT_THAT(whole, testing::StartsWith(line));
        }
    }
}

TEST(Terminal, NothingThatATerminalWouldObeyIsPrinted)
{
    constexpr std::pair<std::string_view, std::string_view> kRows[] = {
        {"Bass ü € 𝄞", "Bass ü € 𝄞"},     {"\033]2;title\a\r\nb\x7f", "*]2;title***b*"},
        {"\xc2\x9b;1m", "**;1m"}, // a control character of two bytes
        {"\xff\xc0\xaf \xc3,", "*** *,"}, {"\xe2\x82", "**"},
    };
    for (const auto& [text, shown] : kRows)
        EXPECT_EQ(printable(text), shown);
}

} // namespace
} // namespace zephra::standalone
