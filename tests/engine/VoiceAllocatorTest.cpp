// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/VoiceAllocator.h"

#include <gtest/gtest.h>

#include <iterator>
#include <sstream>
#include <vector>

namespace zephra {
namespace {

/// An allocator on a rack of silent voices, with the mode and rules of a test.
struct Keys {
    explicit Keys(PolyMode mode, bool priorityLast, bool retrig = false)
    {
        rack.setSampleRate(44100.0);
        values.polyMode = mode;
        values.notePriorityLast = priorityLast;
        values.monoRetrig = retrig;
    }
    void press(std::initializer_list<int> notes, float velocity = 0.8f, int channel = 0)
    {
        for (const int note : notes)
            allocator.noteOn(values, note, velocity, channel);
    }
    void release(std::initializer_list<int> notes)
    {
        for (const int note : notes)
            allocator.noteOff(values, note);
    }
    /// Whether the envelope of the voice has started anew since it was last asked.
    bool wasReset(int voice = 0)
    {
        auto& state = rack.lanes.ampEnvelope.ampState[static_cast<std::size_t>(voice)];
        return std::exchange(state, EnvelopeStage::Sustain) == EnvelopeStage::Attack;
    }

    EngineValues values;
    VoiceRack rack{0};
    VoiceAllocator allocator{rack};
};

std::vector<int> numbers(const char* text)
{
    std::istringstream stream(text);
    return {std::istream_iterator<int>(stream), {}};
}

TEST(Keys, DecideWhichVoicesSound)
{
    using enum PolyMode;
    constexpr bool kLast = true, kOther = false; // note priority
    constexpr struct {
        PolyMode mode;
        bool priority;
        const char* script;   ///< n presses a note, -n releases it
        const char* sounding; ///< note of each voice, 0 if its key is up
        const char* what;
    } kRows[] = {
        {Mono, kOther, "60 64", "60", "a higher key does not take the voice"},
        {Mono, kOther, "60 64 55", "55", "a lower one does"},
        {Mono, kOther, "60 64 55 -55", "60", "the lowest key held comes back"},
        {Mono, kLast, "67 60 64 -64", "60", "back to the previous"},
        {Mono, kLast, "55 67 60 64 -64 -60", "67", "then to the highest"},
        {Mono, kLast, "60 64 -60", "64", "another key's release changes nothing"},
        {Mono, kLast, "127 50 -50", "0", "the top key is no fallback"},
        {Mono, kOther, "127 50 -50", "0", "in neither priority"},
        {Unison, kLast, "61 -61", "0 0 0 0", "four voices play one note and end it"},
        {Poly4, kOther, "60 61 62 63 64", "64 61 62 63", "the fifth cuts the first"},
        {Poly8, kOther, "40 41 42 43 44 45 46 47 48 49", "49 41 42 43 44 45 46 47",
         "all held: the search upward does not wrap"},
        {Poly8, kOther, "40 41 42 43 44 45 46 47 48 -41 -42 50", "48 50 0 43 44 45 46 47",
         "a free voice behind the last one"},
        {Poly8, kLast, "48 55 60 72 76 79 84 88 -60 -84 61 20 90", "48 55 90 72 76 79 20 88",
         "the nearest released voice, the only one however far, then the rotation"},
    };
    for (const auto& row : kRows) {
        Keys k(row.mode, row.priority);
        for (const int key : numbers(row.script))
            key > 0 ? k.press({key}) : k.release({-key});
        std::vector<int> sounding;
        for (int i = 0; i < voicesOf(row.mode); ++i)
            sounding.push_back(k.rack[i].released ? 0 : k.rack[i].note);
        EXPECT_EQ(sounding, numbers(row.sounding)) << row.what;
    }
}

TEST(MonoKeys, LegatoSlursRetrigStartsAnewAndFallbackTakesTheKeysOwnVelocity)
{
    for (const bool retrig : {false, true}) {
        for (const PolyMode mode : {PolyMode::Mono, PolyMode::Unison}) {
            Keys k(mode, true, retrig);
            k.press({60}, 0.25f, 3);
            EXPECT_TRUE(k.wasReset()) << "the first note always starts afresh";
            k.press({64}, 0.75f, 5);
            EXPECT_EQ(k.wasReset(), retrig);
            k.release({64});
            EXPECT_EQ(k.wasReset(), retrig) << "falling back is a note like any other";
            EXPECT_EQ(k.rack[0].velocity, 0.25f);
            EXPECT_EQ(k.rack[0].channel, 5) << "but keeps the channel";
            k.release({60});
            k.press({62});
            EXPECT_TRUE(k.wasReset()) << "after all keys were up";
        }
    }
}

TEST(PolyKeys, ARepeatedKeyTakesASecondVoiceAndOneReleaseEndsBoth)
{
    Keys k(PolyMode::Poly4, false);
    k.press({60, 60});
    EXPECT_TRUE(k.wasReset(1)) << "every note starts afresh";
    EXPECT_FALSE(k.rack[0].released);
    k.release({61, 60 - 128}); // the second is 60 in seven bits
    EXPECT_TRUE(k.rack[0].released && k.rack[1].released);
    EXPECT_TRUE(k.allocator.noKeysHeld);
    k.press({62, 64});
    k.allocator.allNotesOff();
    for (int i = 0; i < kVoices; ++i)
        EXPECT_TRUE(k.rack[i].released);
    k.press({70});
    EXPECT_EQ(k.rack[0].note, 70) << "the rotation starts again";
}

} // namespace
} // namespace zephra
