// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/SynthEngine.h"
#include "controls/ControlTable.h"
#include "engine/ControllerRows.h"
#include "engine/ControlMapping.h"
#include "engine/NoteQueue.h"
#include "engine/Smoothers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace zephra {
namespace {

TEST(ControlMapping, TimesAtTheirKnots)
{
    constexpr double kFs8 = 352800.0;
    // The amplifier's attack to 1/5, its decay to 1/10.
    const auto seconds = [](double coeff, double base) {
        return std::log(base) / std::log(coeff) / kFs8;
    };
    const struct {
        const char* what;
        double seconds, expected;
    } kRows[] = {
        {"attack at 0", attackSeconds(0.0), 0.0009},
        {"attack at 0.6276", attackSeconds(0.6276), 1.5},
        {"attack at 1", attackSeconds(1.0), 12.0},
        {"decay at 0.25", decaySeconds(0.25), 0.10564},
        {"decay just below the knee", decaySeconds(0.5 - 1e-9), 3.72},
        {"decay just above it", decaySeconds(0.5 + 1e-9), 3.72},
        {"decay at 1", decaySeconds(1.0), 45.78},
        {"amplifier attack at 0", seconds(ampAttackCoeff(0.0, kFs8), 0.2), 1.35e-3},
        {"amplifier attack at 1/4", seconds(ampAttackCoeff(0.25, kFs8), 0.2), 0.151493},
        {"amplifier decay at 0", seconds(ampDecayCoeff(0.0, kFs8), 0.1), 2.5e-3},
        {"amplifier decay below the knee", seconds(ampDecayCoeff(0.2 - 1e-9, kFs8), 0.1), 0.09034},
        {"amplifier decay above it", seconds(ampDecayCoeff(0.2, kFs8), 0.1), 0.09034},
        {"amplifier decay at 1", seconds(ampDecayCoeff(1.0, kFs8), 0.1), 36.0},
        {"resonance below the knee", double(resonanceOf(0.6 - 1e-9)), 0.6},
        {"resonance above it", double(resonanceOf(0.6)), 0.6},
    };
    for (const auto& row : kRows)
        EXPECT_NEAR(row.seconds / row.expected, 1.0, 1e-4) << row.what;
}

TEST(ControlMapping, NothingWildPassesTheIntake)
{
    for (const ControlInfo& control : kControls) {
        for (const double v : {double(NAN), HUGE_VAL, -HUGE_VAL, 1e300, -0.001, 7.0}) {
            const double taken = intake(control.id, v);
            EXPECT_TRUE(control.kind == ControlKind::Continuous ? taken >= 0.0 && taken <= 1.0
                                                                : static_cast<int>(taken) == taken)
                << control.name;
        }
        if (control.isStored()) {
            EXPECT_EQ(intake(control.id, NAN), double(control.defaultValue)) << control.name;
        }
    }
}

TEST(Smoothers, OnePoleStepThresholdsAndSwitchedLevels)
{
    EngineTargets targets;
    EngineValues values;
    targets.cutoff = 0.8f;
    targets.mixLevel[1] = 1.0f;
    targets.oscRange[1] = 9;
    stepSmoothers(values, targets, 0.0, 0.25f);
    EXPECT_FLOAT_EQ(values.cutoff, 0.2f);
    EXPECT_EQ(values.mixLevel[1], 0.0f) << "an oscillator that is off runs to zero";
    EXPECT_EQ(values.oscRange[1], 5) << "steps end in their lists";
    targets.oscActive[1] = true;
    targets.cutoff = 0.0f;
    targets.symmetry = -0.005f;
    stepSmoothers(values, targets, 0.0, 0.25f);
    EXPECT_FLOAT_EQ(values.mixLevel[1], 0.25f);
    for (int i = 0; i < 2000; ++i)
        stepSmoothers(values, targets, 0.0, 0.0104f); // as at 384 kHz
    EXPECT_EQ(values.cutoff, 0.0f) << "flushed below 1e-5, not left to creep";
    EXPECT_NEAR(values.symmetry, -0.005f, 1e-5) << "small negative settings are reached";
}

TEST(ControllerRows, AChangeComesEarlyByTheRowsSinceTheOneBefore)
{
    const struct {
        const char* what;
        int blockSize;
        std::vector<std::pair<int, float>> events; ///< offset, value of wheel and bend
        std::vector<float> rows;                   ///< what each gives; -1: the table is not used
    } kCases[] = {
        {"none", 256, {}, {-1, -1, -1, -1, -1, -1}},
        {"in row 2", 256, {{130, 0.3f}}, {0.3f, 0.3f, 0.3f, 0.3f, 0.3f, 0.3f}},
        {"rows 1 and 3", 256, {{64, 0.1f}, {255, 0.2f}}, {0.1f, 0.1f, 0.2f, 0.2f, 0.2f, 0.2f}},
        {"rows 0 and 1", 192, {{0, 0.1f}, {64, 0.2f}}, {0.1f, 0.2f, 0.2f, 0.2f, 0.2f}},
        {"twice in one", 192, {{64, 0.1f}, {100, 0.2f}, {130, 0.3f}}, {.1f, .2f, .3f, .3f, .3f}},
        {"a small block has its last value alone", 100, {{0, 0.1f}, {99, 0.2f}}, {-1, -1, -1, -1}},
        {"a larger one has rows", 101, {{0, 0.1f}, {99, 0.2f}}, {0.1f, 0.2f, 0.2f, 0.2f}},
    };
    ControllerRows rows;
    for (const auto& test : kCases) {
        rows.setBlockSize(test.blockSize);
        rows.beginBlock();
        std::array<float, kMidiChannels> bends{};
        for (const auto& [offset, value] : test.events) {
            rows.fillPitchBend(5, offset, value);
            rows.fillModWheel(offset, value);
            bends[5] = value;
        }
        rows.endBlock(bends[5], bends);

        std::vector<float> seen;
        for (int pos = 0; pos < test.blockSize + 128; pos += 64) { // a host may go beyond the block
            float wheel = -1.0f;
            std::array<float, kMidiChannels> fed;
            fed.fill(-1.0f);
            rows.feed(pos, wheel, fed);
            EXPECT_EQ(wheel, fed[5]) << test.what;
            EXPECT_EQ(fed[4], -1.0f) << "another channel did not move";
            seen.push_back(wheel);
        }
        EXPECT_EQ(seen, test.rows) << test.what;
    }
}

TEST(NoteQueue, PlaysByOffsetAndNotesOfARefusedBlockFirst)
{
    NoteQueue queue;
    const auto insert = [&queue](int note, int offset) {
        queue.insert({note, 1.0f, offset, 1, 0});
        std::vector<int> inOrder;
        for (const NoteEvent& event : queue)
            inOrder.push_back(event.note);
        return inOrder;
    };
    for (const auto& [note, offset] : {std::pair(0, 10), {1, 5}, {2, 10}, {3, 0}, {4, 5}})
        insert(note, offset);
    EXPECT_EQ(insert(5, 64), (std::vector{3, 1, 4, 0, 2, 5})) << "equal ones keep their order";
    queue.moveToStart();
    EXPECT_EQ(insert(6, 0), (std::vector{3, 1, 4, 0, 2, 5, 6}));
    for (int i = 7; i < 128; ++i)
        insert(i, i);
    EXPECT_EQ(insert(128, 0), std::vector{128}) << "the note after a full queue is alone in it";
}

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
        for (int round = 0; round < 2; ++round) {
            e.note(60, true); // the second wakes it
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
    e.engine.setControl(mixer_osc_1, 0.0);
    EXPECT_LT(e.peakAfter(200), 0.05f);
}

TEST(SynthEngine, NotesStartAtTheirSample)
{
    const auto onset = [](int offset) {
        Engine e;
        e.engine.setControl(mixer_osc_1, 0.0); // the envelope's own thump is the same each time
        e.engine.setControl(opts_flt_symmetry, 0.5);
        e.engine.snapSmoothers();
        e.blocks(4); // levels and cutoff have arrived
        e.note(100, true, offset);
        e.blocks(20);
        return std::ranges::find_if(e.sound, [](float x) { return std::fabs(x) > 3e-3f; }) -
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

TEST(SynthEngine, SleepingEffectsWaitForTheLongestEcho)
{
    Engine e;
    e.engine.performance.tempo = 20.0; // a whole note is as long as the memory, 2.97 s
    e.engine.setControl(fx_del_time, 0.0);
    e.engine.setControl(fx_del_feedback, 1.0);
    e.engine.setControl(fx_del_dry_wet, 1.0);
    e.engine.setControl(fx_rev_time, 0.0);
    e.engine.setControl(fx_active, 1.0);
    e.note(60, true);
    e.blocks(2);
    e.note(60, false);
    e.blocks(20 * 2048); // so long does the reverb take to leave gaps between the echoes
    EXPECT_TRUE(e.engine.asleep());
    e.sound.clear();
    e.blocks(2048);
    const auto silent = std::ranges::count(e.sound, 0.0f);
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
    EXPECT_NE(engines[0].sound, engines[1].sound);
}

} // namespace
} // namespace zephra
