// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/SynthEngine.h"
#include "controls/ControlTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
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
            engine.setControl(id, static_cast<double>(defaultValue(id)));
        engine.snapSmoothers();
    }
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
    void note(int key, bool on, int offset = 0, int channel = 0)
    {
        engine.enqueueNote(key, 0.8f, on, offset, channel);
    }
    float peakOfLast(std::size_t n) const
    {
        float peak = 0.0f;
        for (std::size_t i = left.size() - n; i < left.size(); ++i)
            peak = std::max({peak, std::fabs(left[i]), std::fabs(right[i])});
        return peak;
    }
    SynthEngine engine;
    std::vector<float> left, right;
};

TEST(SynthEngine, PlaysReleasesAndFallsAsleepAfterTwoSeconds)
{
    for (const double rate : {44100.0, 96000.0}) {
        Engine e(rate);
        e.note(60, true);
        e.blocks(200);
        EXPECT_GT(e.peakOfLast(1000), 0.05f);
        e.note(60, false);
        e.blocks(200);
        EXPECT_LT(e.peakOfLast(1000), 1e-3f);
        EXPECT_FALSE(e.engine.asleep());
        int silent = 0;
        for (; !e.engine.asleep() && silent < 10000; ++silent)
            e.block();
        EXPECT_NEAR(silent * 64 / rate, 2.0, 0.5) << rate;
        e.blocks(2);
        EXPECT_EQ(e.peakOfLast(64), 0.0f) << "asleep is exact silence";
        e.note(60, true, 17);
        e.block();
        e.blocks(50);
        EXPECT_GT(e.peakOfLast(1000), 0.05f) << "a note wakes it";
    }
}

TEST(SynthEngine, NotesStartAtTheirSample)
{
    // The first sound of a note comes later by exactly the difference of its offsets.
    const auto onset = [](int offset) {
        Engine e;
        e.engine.setControl(mixer_osc_1, 0.0); // the envelope's own thump is the same each time
        e.engine.setControl(opts_flt_symmetry, 0.5);
        e.engine.snapSmoothers();
        e.blocks(4); // levels and cutoff have arrived
        e.note(100, true, offset);
        e.blocks(20);
        for (std::size_t i = 256; i < e.left.size(); ++i)
            if (std::fabs(e.left[i]) > 3e-3f)
                return static_cast<int>(i);
        return -1;
    };
    const int first = onset(0);
    ASSERT_GE(first, 0);
    for (const int offset : {1, 31, 63})
        EXPECT_NEAR(onset(offset) - first, offset, 3) << offset;
}

TEST(SynthEngine, SubBlocksOfAnyLengthRender)
{
    Engine e;
    e.note(60, true);
    for (const int n : {64, 1, 0, 63, 17, 0, 64})
        e.block(n);
    e.blocks(60);
    EXPECT_GT(e.peakOfLast(500), 0.05f);
    for (const float x : e.left)
        ASSERT_TRUE(std::isfinite(x));
}

TEST(SynthEngine, EveryControlAtBothEndsStaysFiniteInEveryMode)
{
    for (const double mode : {0.0, 1.0, 2.0, 3.0}) {
        for (const double revision : {0.0, 1.0}) {
            Engine e;
            e.engine.setControl(polyphony, mode);
            e.engine.setControl(opts_revision, revision);
            e.note(48, true);
            e.note(55, true);
            for (const ControlInfo& control : kControls) {
                if (control.id == polyphony || control.id == opts_revision)
                    continue;
                for (const double v : {0.0, static_cast<double>(control.scale)}) {
                    e.engine.setControl(control.id, v);
                    e.block();
                }
                e.engine.setControl(control.id, static_cast<double>(defaultValue(control.id)));
            }
            for (const ControlInfo& control : kControls) // all at the top together
                if (control.id != polyphony && control.id != opts_revision)
                    e.engine.setControl(control.id, static_cast<double>(control.scale));
            e.note(127, true);
            e.blocks(100);
            for (const float x : e.left)
                ASSERT_TRUE(std::isfinite(x) && std::fabs(x) < 50.0f);
        }
    }
}

TEST(SynthEngine, ChangeOfModeSilencesAndHeldKeysStayQuiet)
{
    Engine e;
    e.note(60, true);
    e.blocks(100);
    e.engine.setControl(polyphony, 2.0); // Mono
    e.blocks(100);
    EXPECT_LT(e.peakOfLast(1000), 1e-3f);
    e.note(62, true);
    e.blocks(50);
    EXPECT_GT(e.peakOfLast(1000), 0.05f);
    EXPECT_EQ(e.left.back(), e.right.back());
}

TEST(SynthEngine, PedalHoldsAReleasedNote)
{
    Engine e;
    e.engine.performance.pedalUp = false;
    e.note(60, true);
    e.blocks(50);
    e.note(60, false);
    e.blocks(200);
    EXPECT_GT(e.peakOfLast(1000), 0.05f);
    e.engine.performance.pedalUp = true;
    e.blocks(100);
    EXPECT_LT(e.peakOfLast(500), 1e-3f);
}

TEST(SynthEngine, VelocityToVolumeTakesAwayOnly)
{
    const auto level = [](double amount, float velocity) {
        Engine e;
        e.engine.setControl(velocity_amount, amount);
        e.engine.setControl(filter_cutoff, 1.0);
        e.engine.setControl(mixer_osc_1, 0.05); // small, so that the level is linear
        e.engine.snapSmoothers();
        e.engine.enqueueNote(69, velocity, true, 0, 0);
        e.blocks(200);
        return e.peakOfLast(2000);
    };
    const float plain = level(0.0, 0.5f);
    EXPECT_NEAR(level(1.0, 1.0f) / plain, 1.0, 0.02);
    EXPECT_NEAR(level(1.0, 0.5f) / plain, 0.5, 0.05);
    EXPECT_NEAR(level(0.5, 0.5f) / plain, 0.75, 0.05);
    EXPECT_LT(level(1.0, 0.0f) / plain, 0.1);
}

TEST(SynthEngine, EffectsSwitchedOffStopAfterFiveHundredSubBlocks)
{
    Engine e;
    e.engine.setControl(fx_active, 1.0);
    e.engine.setControl(fx_rev_dry_wet, 1.0);
    e.engine.setControl(fx_rev_time, 1.0);
    e.note(60, true);
    e.blocks(50);
    e.note(60, false);
    e.blocks(200);
    EXPECT_GT(e.peakOfLast(1000), 1e-4f) << "the reverb rings on";
    e.engine.setControl(fx_active, 0.0);
    int running = 0;
    for (; e.engine.effectsRunning(); ++running)
        e.block();
    EXPECT_EQ(running, 476) << "stopped at count 25 of 500";
    e.blocks(30);
    e.engine.setControl(fx_active, 1.0);
    e.blocks(2000);
    EXPECT_LT(e.peakOfLast(64 * 1900), 1e-4f) << "no old tail comes back";
}

TEST(SynthEngine, NoOldTailComesBackWhileTheEffectsAreBeingCleared)
{
    for (const int blocksAfterOff : {470, 477, 482, 490, 499, 505}) {
        Engine e;
        e.engine.setControl(fx_active, 1.0);
        e.engine.setControl(fx_rev_dry_wet, 1.0);
        e.engine.setControl(fx_rev_time, 1.0);
        e.note(60, true);
        e.blocks(50);
        e.note(60, false);
        e.blocks(200);
        e.engine.setControl(fx_active, 0.0);
        e.blocks(blocksAfterOff);
        const bool running = e.engine.effectsRunning();
        e.engine.setControl(fx_active, 1.0);
        e.blocks(2000);
        if (running) {
            EXPECT_GT(e.peakOfLast(64 * 1900), 1e-3f) << "not yet stopped: the tail goes on";
        } else {
            EXPECT_LT(e.peakOfLast(64 * 1900), 1e-4f) << blocksAfterOff;
        }
    }
}

TEST(SynthEngine, TwoEnginesInARowPlayOneFreeRunningNoteDifferently)
{
    Engine a, b; // generators are numbered by engine: no two instances phase-lock
    a.note(60, true);
    b.note(60, true);
    a.blocks(100);
    b.blocks(100);
    EXPECT_NE(a.left, b.left);
    // With the start phases set and noise apart, they sound alike.
    EXPECT_NEAR(a.peakOfLast(2000), b.peakOfLast(2000), 0.1f);
}

TEST(SynthEngine, RatesOutOfRangeAreServedAtTheEnds)
{
    Engine e;
    for (const auto& [asked, served] :
         std::initializer_list<std::pair<double, double>>{{22050.0, 44100.0},
                                                          {1e9, 384000.0},
                                                          {-1.0, 44100.0},
                                                          {NAN, 44100.0},
                                                          {88200.0, 88200.0}}) {
        e.engine.setSampleRate(asked);
        EXPECT_EQ(e.engine.sampleRate(), served);
    }
}

} // namespace
} // namespace zephra
