// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/VoiceAllocator.h"

#include <gtest/gtest.h>

#include <initializer_list>

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
    /// Marks the envelopes, to see whether the next note starts them anew.
    void markEnvelopes() { rack.lanes.ampEnvelope.ampState.fill(EnvelopeStage::Sustain); }
    bool wasReset(int voice = 0)
    {
        return rack.lanes.ampEnvelope.ampState[static_cast<std::size_t>(voice)] ==
               EnvelopeStage::Attack;
    }

    EngineValues values;
    VoiceRack rack{0};
    VoiceAllocator allocator{rack};
};

TEST(MonoKeys, LowestNoteKeepsTheVoiceAndTakesItBack)
{
    Keys k(PolyMode::Mono, false);
    k.press({60, 64});
    EXPECT_EQ(k.rack[0].note, 60) << "a higher key does not take the voice";
    k.press({55});
    EXPECT_EQ(k.rack[0].note, 55);
    k.release({55});
    EXPECT_EQ(k.rack[0].note, 60) << "the lowest key held";
    EXPECT_FALSE(k.allocator.noKeysHeld);
}

TEST(MonoKeys, LastNoteFallsBackToThePreviousThenToTheHighest)
{
    Keys k(PolyMode::Mono, true);
    k.press({60, 64, 67});
    k.release({67});
    EXPECT_EQ(k.rack[0].note, 64);
    k.release({64});
    EXPECT_EQ(k.rack[0].note, 60);
    k.release({60});
    EXPECT_TRUE(k.rack[0].released);
    EXPECT_TRUE(k.allocator.noKeysHeld);
}

TEST(MonoKeys, ReleasingAnotherHeldKeyChangesNothing)
{
    Keys k(PolyMode::Mono, true);
    k.press({60, 64});
    k.release({60});
    EXPECT_EQ(k.rack[0].note, 64);
    EXPECT_FALSE(k.rack[0].released);
    k.release({64});
    EXPECT_TRUE(k.rack[0].released);
}

TEST(MonoKeys, TheTopKeyIsNoFallback)
{
    for (const bool last : {false, true}) {
        Keys k(PolyMode::Mono, last);
        k.press({127});
        k.press({50});
        ASSERT_EQ(k.rack[0].note, 50);
        k.release({50});
        EXPECT_TRUE(k.rack[0].released) << "though 127 is down";
    }
}

TEST(MonoKeys, FallbackKeepsTheChannelAndUsesTheKeysOwnVelocity)
{
    Keys k(PolyMode::Mono, true);
    k.allocator.noteOn(k.values, 60, 0.25f, 3);
    k.allocator.noteOn(k.values, 64, 0.75f, 5);
    k.release({64});
    EXPECT_EQ(k.rack[0].note, 60);
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
            k.markEnvelopes();
            k.press({64});
            EXPECT_EQ(k.wasReset(), retrig);
            k.markEnvelopes();
            k.release({64});
            EXPECT_EQ(k.wasReset(), retrig) << "falling back is a note like any other";
            k.release({60});
            k.markEnvelopes();
            k.press({62});
            EXPECT_TRUE(k.wasReset()) << "after all keys were up";
        }
    }
}

TEST(UnisonKeys, FourVoicesPlayOneNote)
{
    Keys k(PolyMode::Unison, true);
    k.press({61});
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(k.rack[i].note, 61);
    EXPECT_EQ(k.rack[4].note, 60) << "the others stay out of it";
    k.release({61});
    for (int i = 0; i < 4; ++i)
        EXPECT_TRUE(k.rack[i].released);
}

TEST(PolyKeys, RotationStealsInPoly4AndTakesFreeVoicesInPoly8)
{
    Keys four(PolyMode::Poly4, false);
    four.press({60, 61, 62, 63, 64});
    EXPECT_EQ(four.voiceOf(64), 0) << "the fifth note cuts the first, held or not";
    EXPECT_EQ(four.voiceOf(60), -1);

    Keys eight(PolyMode::Poly8, false);
    eight.press({60, 61, 62, 63, 64});
    for (int i = 0; i < 5; ++i)
        EXPECT_EQ(eight.voiceOf(60 + i), i);
}

TEST(PolyKeys, NinthNoteInPoly8TakesTheFirstVoice)
{
    Keys k(PolyMode::Poly8, false);
    k.press({40, 41, 42, 43, 44, 45, 46, 47, 48});
    EXPECT_EQ(k.voiceOf(48), 0);
    k.release({41, 42});
    k.press({50});
    EXPECT_EQ(k.voiceOf(50), 1) << "rotation stands behind the first voice";
}

TEST(PolyKeys, SearchUpwardDoesNotWrap)
{
    Keys k(PolyMode::Poly8, false);
    k.press({40, 41, 42, 43, 44, 45}); // rotation now at voice 6
    k.press({46, 47});                 // all held, rotation back at 0
    k.press({48, 49});                 // takes voice 0 twice: no voice is free above
    EXPECT_EQ(k.voiceOf(49), 0);
    EXPECT_EQ(k.voiceOf(48), -1);
}

TEST(PolyKeys, NearestReleasedVoiceTakesTheNote)
{
    Keys k(PolyMode::Poly8, true);
    k.press({48, 55, 60, 72, 76, 79, 84, 88});
    ASSERT_EQ(k.voiceOf(60), 2);
    k.release({60, 84});
    k.press({61});
    EXPECT_EQ(k.voiceOf(61), 2);
    k.press({20});
    EXPECT_EQ(k.voiceOf(20), 6) << "the only released voice, however far";
    k.press({90}); // none released: rotation, which moved on with every note
    EXPECT_EQ(k.voiceOf(90), 2);
}

TEST(PolyKeys, EveryNoteStartsAfreshAndARepeatedKeyTakesASecondVoice)
{
    Keys k(PolyMode::Poly4, true);
    k.press({60});
    k.markEnvelopes();
    k.press({60});
    EXPECT_FALSE(k.rack[0].released);
    EXPECT_EQ(k.rack[1].note, 60);
    EXPECT_TRUE(k.wasReset(1));
    k.release({60});
    EXPECT_TRUE(k.rack[0].released && k.rack[1].released) << "one release ends both";
    EXPECT_TRUE(k.allocator.noKeysHeld);
}

TEST(PolyKeys, ReleaseIgnoresChannelAndUnknownNotes)
{
    Keys k(PolyMode::Poly4, true);
    k.allocator.noteOn(k.values, 60, 1.0f, 2);
    k.release({61, 60 - 128}); // the second is 60 in seven bits
    EXPECT_TRUE(k.rack[0].released);
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

TEST(PolyKeys, RotationStartsOverInASmallerMode)
{
    Keys k(PolyMode::Poly8, true);
    k.press({60, 61, 62, 63, 64, 65}); // rotation at 6
    k.values.polyMode = PolyMode::Poly4;
    k.allocator.startRotation();
    k.press({70});
    bool insideTheMode = false;
    for (int i = 0; i < 4; ++i)
        insideTheMode = insideTheMode || k.rack[i].note == 70;
    EXPECT_TRUE(insideTheMode);
}

} // namespace
} // namespace zephra
