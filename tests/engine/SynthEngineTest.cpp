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
            engine.setControl(id, defaultValue(id));
        engine.snapSmoothers();
    }
    void blocks(int n)
    {
        float left[64], right[64];
        float* const outputs[] = {left, right};
        for (; n > 0; --n) {
            engine.renderBlock(outputs, 64, 0);
            engine.noteQueue.clear();
            sound.insert(sound.end(), left, left + 64);
            alike = std::equal(left, left + 64, right);
        }
    }
    /// Peak of the last 16 of n blocks.
    float peakAfter(int n)
    {
        blocks(n);
        float peak = 0.0f;
        for (std::size_t i = sound.size() - 1024; i < sound.size(); ++i)
            peak = std::max(peak, std::fabs(sound[i]));
        return peak;
    }
    void note(int key, bool on, int offset = 0) { engine.enqueueNote(key, 0.8f, on, offset, 0); }

    SynthEngine engine;
    std::vector<float> sound; ///< left
    bool alike = false;       ///< both channels of the last block
};

TEST(SynthEngine, PlaysReleasesAndFallsAsleepAfterTwoSeconds)
{
    for (const double rate : {44100.0, 96000.0}) {
        Engine e(rate);
        e.note(60, true);
        EXPECT_GT(e.peakAfter(3000), 0.05f) << "as long as the key is down";
        e.engine.performance.pedalUp = false;
        e.note(60, false);
        EXPECT_GT(e.peakAfter(200), 0.05f) << "held by the pedal";
        e.engine.performance.pedalUp = true;
        EXPECT_LT(e.peakAfter(200), 1e-3f);
        int silent = 0;
        for (; !e.engine.asleep() && silent < 10000; ++silent)
            e.blocks(1);
        EXPECT_NEAR(silent * 64 / rate, 2.0, 0.5) << rate;
        EXPECT_EQ(e.peakAfter(20), 0.0f) << "asleep is exact silence";
        e.note(60, true);
        EXPECT_GT(e.peakAfter(50), 0.05f) << "a note wakes it";
    }
}

TEST(SynthEngine, NotesStartAtTheirSample)
{
    // The first sound of a note comes later by exactly the difference of its offsets.
    const auto onset = [](int offset) {
        Engine e;
        e.engine.setControl(mixer_osc_1, 0.0f); // the envelope's own thump is the same each time
        e.engine.setControl(opts_flt_symmetry, 0.5f);
        e.engine.snapSmoothers();
        e.blocks(4); // levels and cutoff have arrived
        e.note(100, true, offset);
        e.blocks(20);
        return std::find_if(e.sound.begin() + 256, e.sound.end(),
                            [](float x) { return std::fabs(x) > 3e-3f; }) -
               e.sound.begin();
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
        e.engine.setControl(polyphony, mode);
        EXPECT_LT(e.peakAfter(100), 1e-3f);
        e.note(62, true);
        EXPECT_GT(e.peakAfter(50), 0.05f);
    }
    EXPECT_TRUE(e.alike) << "Mono";
}

TEST(SynthEngine, NoOldTailComesBackAfterTheEffectsWereOff)
{
    for (const int blocksOff : {470, 477, 482, 505}) {
        Engine e;
        e.engine.setControl(fx_active, 1.0f);
        e.engine.setControl(fx_rev_dry_wet, 1.0f);
        e.engine.setControl(fx_rev_time, 1.0f);
        e.note(60, true);
        e.blocks(50);
        e.note(60, false);
        EXPECT_GT(e.peakAfter(200), 1e-4f) << "the reverb rings on";
        e.engine.setControl(fx_active, 0.0f);
        e.blocks(blocksOff);
        EXPECT_EQ(e.engine.effectsRunning(), blocksOff < 476);
        e.engine.setControl(fx_active, 1.0f);
        const float after = e.peakAfter(500);
        EXPECT_TRUE(blocksOff < 476 ? after > 1e-3f : after < 1e-4f) << blocksOff;
    }
}

TEST(SynthEngine, TwoEnginesInARowPlayOneFreeRunningNoteDifferently)
{
    Engine engines[2]; // generators are numbered by engine: no two instances phase-lock
    for (Engine& e : engines) {
        e.note(60, true);
        e.blocks(100);
    }
    EXPECT_NE(engines[0].sound, engines[1].sound);
}

} // namespace
} // namespace zephra
