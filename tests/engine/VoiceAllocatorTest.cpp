// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/VoiceAllocator.h"

#include <gtest/gtest.h>

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
    void press(std::initializer_list<int> notes)
    {
        for (const int note : notes)
            allocator.noteOn(values, note, 0.8f, 0);
    }
    void release(std::initializer_list<int> notes)
    {
        for (const int note : notes)
            allocator.noteOff(values, note);
    }
    /// The voice that sounds a note with its key down, -1 if none.
    int voiceOf(int note)
    {
        for (int i = 0; i < kVoices; ++i)
            if (rack[i].note == note && !rack[i].released)
                return i;
        return -1;
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

/// A script of keys in Mono: n presses a note, -n releases it.
TEST(MonoKeys, PriorityDecidesWhichHeldKeySounds)
{
    constexpr int kNone = -1;
    const struct {
        const char* what;
        bool last;
        std::vector<int> script;
        int sounds;
    } kRows[] = {
        {"a higher key does not take the voice", false, {60, 64}, 60},
        {"a lower one does", false, {60, 64, 55}, 55},
        {"the lowest key held comes back", false, {60, 64, 55, -55}, 60},
        {"back to the previous", true, {67, 60, 64, -64}, 60},
        {"then to the highest", true, {55, 67, 60, 64, -64, -60}, 67},
        {"another key's release changes nothing", true, {60, 64, -60}, 64},
        {"nothing held", true, {60, 64, -60, -64}, kNone},
        {"the top key is no fallback", true, {127, 50, -50}, kNone},
        {"in neither priority", false, {127, 50, -50}, kNone},
    };
    for (const auto& row : kRows) {
        Keys k(PolyMode::Mono, row.last);
        for (const int key : row.script)
            key > 0 ? k.press({key}) : k.release({-key});
        EXPECT_EQ(k.rack[0].released ? kNone : k.rack[0].note, row.sounds) << row.what;
    }
}

TEST(MonoKeys, FallbackKeepsTheChannelAndUsesTheKeysOwnVelocity)
{
    Keys k(PolyMode::Mono, true);
    k.allocator.noteOn(k.values, 60, 0.25f, 3);
    k.allocator.noteOn(k.values, 64, 0.75f, 5);
    k.release({64});
    EXPECT_EQ(k.rack[0].velocity, 0.25f);
    EXPECT_EQ(k.rack[0].channel, 5);
}

TEST(MonoKeys, LegatoSlursAndRetrigStartsAnew)
{
    for (const bool retrig : {false, true}) {
        for (const PolyMode mode : {PolyMode::Mono, PolyMode::Unison}) {
            Keys k(mode, true, retrig);
            k.press({60});
            EXPECT_TRUE(k.wasReset()) << "the first note always starts afresh";
            k.press({64});
            EXPECT_EQ(k.wasReset(), retrig);
            k.release({64});
            EXPECT_EQ(k.wasReset(), retrig) << "falling back is a note like any other";
            k.release({60});
            k.press({62});
            EXPECT_TRUE(k.wasReset()) << "after all keys were up";
        }
    }
}

TEST(UnisonKeys, FourVoicesPlayOneNote)
{
    Keys k(PolyMode::Unison, true);
    k.press({61});
    for (int i = 0; i < kVoices; ++i)
        EXPECT_EQ(k.rack[i].note == 61 && !k.rack[i].released, i < 4) << i;
    k.release({61});
    EXPECT_EQ(k.voiceOf(61), -1);
}

TEST(PolyKeys, RotationStealsInPoly4AndTakesFreeVoicesInPoly8)
{
    Keys four(PolyMode::Poly4, false);
    four.press({60, 61, 62, 63, 64});
    EXPECT_EQ(four.voiceOf(64), 0) << "the fifth note cuts the first, held or not";
    EXPECT_EQ(four.voiceOf(60), -1);

    Keys eight(PolyMode::Poly8, false);
    eight.press({40, 41, 42, 43, 44, 45, 46, 47, 48, 49});
    EXPECT_EQ(eight.voiceOf(47), 7);
    EXPECT_EQ(eight.voiceOf(49), 0) << "all held: the search upward does not wrap";
    EXPECT_EQ(eight.voiceOf(48), -1);
    eight.release({41, 42});
    eight.press({50});
    EXPECT_EQ(eight.voiceOf(50), 1) << "rotation stands behind the first voice";
}

TEST(PolyKeys, NearestReleasedVoiceTakesTheNote)
{
    Keys k(PolyMode::Poly8, true);
    k.press({48, 55, 60, 72, 76, 79, 84, 88});
    k.release({60, 84});
    k.press({61});
    EXPECT_EQ(k.voiceOf(61), 2);
    k.press({20});
    EXPECT_EQ(k.voiceOf(20), 6) << "the only released voice, however far";
    k.press({90}); // none released: rotation, which moved on with every note
    EXPECT_EQ(k.voiceOf(90), 2);
}

TEST(PolyKeys, ARepeatedKeyTakesASecondVoiceAndOneReleaseEndsBoth)
{
    Keys k(PolyMode::Poly4, true);
    k.press({60});
    k.allocator.noteOn(k.values, 60, 1.0f, 2);
    EXPECT_EQ(k.rack[1].note, 60);
    EXPECT_TRUE(k.wasReset(1)) << "every note starts afresh";
    EXPECT_FALSE(k.rack[0].released);
    k.release({61, 60 - 128}); // the second is 60 in seven bits, whatever the channel
    EXPECT_TRUE(k.rack[0].released && k.rack[1].released);
    EXPECT_TRUE(k.allocator.noKeysHeld);
}

TEST(PolyKeys, AllNotesOffReleasesEverything)
{
    Keys k(PolyMode::Poly8, false);
    k.press({60, 62, 64});
    k.allocator.allNotesOff();
    for (int i = 0; i < kVoices; ++i)
        EXPECT_TRUE(k.rack[i].released);
    k.press({70});
    EXPECT_EQ(k.voiceOf(70), 0);
}

} // namespace
} // namespace zephra
