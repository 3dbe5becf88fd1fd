// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/SynthEngine.h"
#include "controls/ControlTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace zephra {
namespace {

/// An engine with the Init Patch, rendered in sub-blocks.
struct Engine {
    explicit Engine(double rate = 44100.0)
    {
        engine.setSampleRate(rate);
        engine.rows.setBlockSize(64);
        for (const int id : kStorageOrder)
            set(id, defaultValue(id));
        engine.snapSmoothers();
    }
    void set(int id, float value) { engine.setControl(id, static_cast<double>(value)); }
    void block(int samples = 64)
    {
        float l[64], r[64];
        float* const outputs[] = {l, r};
        engine.renderBlock(outputs, samples, 0);
        engine.noteQueue.clear();
        left.insert(left.end(), l, l + samples);
        right.insert(right.end(), r, r + samples);
    }
    void blocks(int n)
    {
        for (int i = 0; i < n; ++i)
            block();
    }
    /// Peak of the last 16 of n blocks.
    float peakAfter(int n)
    {
        blocks(n);
        float peak = 0.0f;
        for (std::size_t i = left.size() - 1024; i < left.size(); ++i)
            peak = std::max({peak, std::fabs(left[i]), std::fabs(right[i])});
        return peak;
    }
    void note(int key, bool on, int offset = 0) { engine.enqueueNote(key, 0.8f, on, offset, 0); }

    SynthEngine engine;
    std::vector<float> left, right;
};

TEST(SynthEngine, PlaysReleasesAndFallsAsleepAfterTwoSeconds)
{
    for (const double rate : {44100.0, 96000.0}) {
        Engine e(rate);
        for (int round = 0; round < 2; ++round) {
            e.note(60, true); // the second wakes it
            EXPECT_GT(e.peakAfter(200), 0.05f);
            e.engine.performance.pedalUp = false;
            e.note(60, false);
            EXPECT_GT(e.peakAfter(200), 0.05f) << "held by the pedal";
            e.engine.performance.pedalUp = true;
            EXPECT_LT(e.peakAfter(200), 1e-3f);
            int silent = 0;
            for (; !e.engine.asleep() && silent < 10000; ++silent)
                e.block();
            EXPECT_NEAR(silent * 64 / rate, 2.0, 0.5) << rate;
            e.blocks(20);
            EXPECT_EQ(e.peakAfter(20), 0.0f) << "asleep is exact silence";
        }
    }
}

TEST(SynthEngine, AControlThatHasStoodStillMovesAgain)
{
    Engine e;
    e.note(60, true);
    e.blocks(2000); // smoothers arrive within 600
    EXPECT_GT(e.peakAfter(20), 0.05f);
    e.set(mixer_osc_1, 0.0f);
    EXPECT_LT(e.peakAfter(200), 0.05f);
}

TEST(SynthEngine, NotesStartAtTheirSample)
{
    // The first sound of a note comes later by exactly the difference of its offsets.
    const auto onset = [](int offset) {
        Engine e;
        e.set(mixer_osc_1, 0.0f); // the envelope's own thump is the same each time
        e.set(opts_flt_symmetry, 0.5f);
        e.engine.snapSmoothers();
        e.blocks(4); // levels and cutoff have arrived
        e.note(100, true, offset);
        e.blocks(20);
        return std::find_if(e.left.begin() + 256, e.left.end(),
                            [](float x) { return std::fabs(x) > 3e-3f; }) -
               e.left.begin();
    };
    for (const int offset : {1, 31, 63})
        EXPECT_NEAR(onset(offset) - onset(0), offset, 3) << offset;
}

TEST(SynthEngine, ChangeOfModeSilencesHeldKeysAndFindsItsVoices)
{
    Engine e;
    for (const int key : {57, 58, 59, 60, 61}) // the rotation stands behind Poly-4
        e.note(key, true);
    e.blocks(100);
    for (const float mode : {1.0f, 2.0f}) { // Poly-4, Mono
        e.set(polyphony, mode);
        EXPECT_LT(e.peakAfter(100), 1e-3f);
        e.note(62, true);
        EXPECT_GT(e.peakAfter(50), 0.05f);
    }
    EXPECT_EQ(e.left.back(), e.right.back());
}

TEST(SynthEngine, NoOldTailComesBackAfterTheEffectsWereOff)
{
    for (const int blocksOff : {470, 477, 482, 499, 505}) {
        Engine e;
        e.set(fx_active, 1.0f);
        e.set(fx_rev_dry_wet, 1.0f);
        e.set(fx_rev_time, 1.0f);
        e.note(60, true);
        e.blocks(50);
        e.note(60, false);
        EXPECT_GT(e.peakAfter(200), 1e-4f) << "the reverb rings on";
        e.set(fx_active, 0.0f);
        e.blocks(blocksOff);
        EXPECT_EQ(e.engine.effectsRunning(), blocksOff < 476);
        e.set(fx_active, 1.0f);
        const float after = e.peakAfter(500);
        EXPECT_TRUE(blocksOff < 476 ? after > 1e-3f : after < 1e-4f) << blocksOff;
    }
}

TEST(SynthEngine, SleepingEffectsWaitForTheLongestEcho)
{
    Engine e;
    e.engine.performance.tempo = 20.0; // a whole note is as long as the memory, 2.97 s
    e.set(fx_del_time, 0.0f);
    e.set(fx_del_feedback, 1.0f);
    e.set(fx_del_dry_wet, 1.0f);
    e.set(fx_rev_time, 0.0f);
    e.set(fx_active, 1.0f);
    e.note(60, true);
    e.blocks(2);
    e.note(60, false);
    e.blocks(20 * 2048); // so long does the reverb take to leave gaps between the echoes
    EXPECT_TRUE(e.engine.asleep());
    e.left.clear();
    e.blocks(2048);
    const auto silent = std::ranges::count(e.left, 0.0f);
    EXPECT_GT(silent, 131072 / 2) << "a gap that seems to be the end";
    EXPECT_LT(silent, 131072) << "another echo";
}

TEST(SynthEngine, TwoEnginesInARowPlayOneFreeRunningNoteDifferently)
{
    Engine engines[2]; // generators are numbered by engine: no two instances phase-lock
    for (Engine& e : engines) {
        e.note(60, true);
        e.blocks(100);
    }
    EXPECT_NE(engines[0].left, engines[1].left);
}

} // namespace
} // namespace zephra
