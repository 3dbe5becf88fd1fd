// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/TypedKeys.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string_view>
#include <vector>

namespace zephra::standalone::test {
namespace {

using namespace std::chrono_literals;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr MidiMessage on(std::uint8_t key, std::uint8_t velocity = 96)
{
    return {0x90, key, velocity};
}
constexpr MidiMessage off(std::uint8_t key) { return {0x80, key, 0}; }

struct Typist {
    std::vector<MidiMessage> type(std::string_view typed)
    {
        commands = keys.take(typed, now);
        return sent();
    }
    std::vector<MidiMessage> wait(std::chrono::milliseconds time)
    {
        now += time;
        keys.releaseOld(now);
        return sent();
    }
    std::vector<MidiMessage> sent()
    {
        std::vector<MidiMessage> messages;
        for (; queue.front(); queue.pop())
            messages.push_back(queue.front()->message);
        return messages;
    }

    MidiQueue queue;
    TypedKeys keys{queue};
    Clock::time_point now{10s};
    std::vector<KeyCommand> commands;
};

TEST(TypedKeys, TwoRowsOfKeysAreTwoOctavesOfAKeyboard)
{
    constexpr struct {
        char key;
        std::uint8_t note;
    } kRows[] = {{'z', 48}, {'s', 49}, {'x', 50}, {'m', 59}, {',', 60},
                 {'/', 64}, {'q', 60}, {'2', 61}, {'p', 76}, {'7', 70}};
    for (const auto& row : kRows) {
        Typist typist;
        EXPECT_THAT(typist.type({&row.key, 1}), ElementsAre(on(row.note))) << row.key;
    }
    Typist typist;
    EXPECT_THAT(typist.type("Z"), ElementsAre(on(48, 127))) << "Shift is loud";
    EXPECT_THAT(typist.type("aAfk1\t\r"), IsEmpty());
    EXPECT_THAT(typist.commands, IsEmpty());
}

TEST(TypedKeys, AHeldKeySoundsOnAndALooseOneEnds)
{
    Typist typist;
    EXPECT_THAT(typist.type("z"), ElementsAre(on(48)));
    EXPECT_THAT(typist.wait(500ms), IsEmpty()) << "up to the first repeat";
    typist.type("z");
    for (int i = 0; i < 100; ++i) {
        EXPECT_THAT(typist.wait(33ms), IsEmpty());
        EXPECT_THAT(typist.type("z"), IsEmpty());
    }
    EXPECT_THAT(typist.wait(650ms), IsEmpty());
    EXPECT_THAT(typist.wait(100ms), ElementsAre(off(48)));
    EXPECT_THAT(typist.wait(5000ms), IsEmpty());
    EXPECT_THAT(typist.type("z"), ElementsAre(on(48)));
    EXPECT_THAT(typist.wait(300ms), IsEmpty());
    EXPECT_THAT(typist.type("z"), ElementsAre(off(48), on(48))) << "struck again";
}

TEST(TypedKeys, OctavesEndAtBothEndsOfTheKeyboardAndReleaseWhatWasPlayed)
{
    Typist typist;
    typist.type("z\033[D\033[D");
    EXPECT_EQ(typist.keys.octave(), 1);
    EXPECT_THAT(typist.wait(800ms), ElementsAre(off(48)));
    for (int i = 0; i < 20; ++i)
        typist.type("\033OC");
    EXPECT_EQ(typist.keys.octave(), 7);
    EXPECT_THAT(typist.type("p"), ElementsAre(on(124)));
    for (int i = 0; i < 20; ++i)
        typist.type("\033[D");
    EXPECT_THAT(typist.type("z"), ElementsAre(on(12)));
}

TEST(TypedKeys, TheSpaceBarIsThePedal)
{
    Typist typist;
    EXPECT_THAT(typist.type(" "), ElementsAre(MidiMessage{0xb0, 64, 127}));
    EXPECT_TRUE(typist.keys.pedal());
    EXPECT_THAT(typist.type(" "), ElementsAre(MidiMessage{0xb0, 64, 0}));
}

TEST(TypedKeys, SpecialKeysAreCommandsAndPlayNothing)
{
    using enum KeyCommand;
    Typist typist;
    EXPECT_THAT(typist.type("\033[A\033[1;2B\033[5~\033[200~\033OP"), IsEmpty());
    EXPECT_THAT(typist.commands, ElementsAre(PreviousPatch, NextPatch));
    typist.type("\033");
    EXPECT_THAT(typist.commands, ElementsAre(End));
    typist.type("\004");
    EXPECT_THAT(typist.commands, ElementsAre(End));
    typist.type("\033[1");
    EXPECT_THAT(typist.commands, IsEmpty());
    EXPECT_THAT(typist.type(";5A"), IsEmpty()) << "the rest of a sequence that came in two parts";
    EXPECT_THAT(typist.commands, ElementsAre(PreviousPatch));
}

} // namespace
} // namespace zephra::standalone::test
