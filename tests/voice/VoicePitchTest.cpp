// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/Pitch.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::cyclesOf;
using test::hzAt;
using test::semitones;
using test::VoiceRig;

/// Oscillator `k` alone, as a saw two octaves up: many cycles to measure.
void solo(VoiceRig& rig, std::size_t k)
{
    rig.values.oscRange.fill(5);
    rig.values.mixLevel.fill(0.0f);
    rig.values.mixLevel[k] = 1.0f;
}

/// Equal temperament in the range of solo().
double equalHz(double note) { return 4.0 * 440.0 * std::exp2((note - 69.0) / 12.0); }

/// Oscillator 3 off the keyboard, with everything turned up that moves the others.
void fixOscillator3(VoiceRig& rig, int range)
{
    rig.values.oscRange[2] = range;
    rig.values.osc3KeyTrack = false;
    rig.values.osc3FixedRate = 10.0 / rig.fs8;
    rig.values.osc3LoSync = true;
    rig.values.lfoIncrement = 200.0 / rig.fs8;
    rig.values.oscDrift = 0.5;
    rig.values.bendRangeUp = 12;
    rig.performance.pitchBendNow[0] = 1.0f;
}

/// The pitch modulated to a quarter by a pulse of oscillator 3 that is held low.
void modulate(VoiceRig& rig, bool on)
{
    rig.hold(2, false);
    rig.values.coarseFactor = 1.0;
    rig.values.modOscOn = on;
    rig.values.modPitchRange = 2.0f;
    rig.values.modSlots[1] = {ModSource::ModWheel, 0.25f, ModTarget::ModAmount};
    rig.performance.modWheelNow = 1.0f;
}

/// The slope of the keyboard, at 8', where it turns about note 102.
void stretchKeyboard(VoiceRig& rig, double slope)
{
    rig.values.oscRange.fill(3);
    rig.values.oscKeytrackSlope = slope;
}

void unison(VoiceRig& rig)
{
    rig.values.polyMode = PolyMode::Unison;
    rig.values.unisonDetune = 0.5f;
}

TEST(VoicePitch, FollowsItsControlsVoiceAndOscillator)
{
    const struct {
        const char* what;
        void (*turn)(VoiceRig&);
        int voice;
        std::size_t oscillator;
        int note;
        double cents; ///< off equal temperament at 2'; the spread of the voice is in it
    } kRows[] = {
        {"as it is", [](VoiceRig&) {}, 0, 0, 81, 0.0},
        {"spread", [](VoiceRig&) {}, 0, 2, 81, -0.15},
        {"spread", [](VoiceRig&) {}, 2, 1, 81, 0.22},
        {"spread", [](VoiceRig&) {}, 7, 2, 81, -0.02},
        {"unison", unison, 0, 0, 81, -13.03},
        {"unison", unison, 1, 0, 81, 12.78},
        {"unison", unison, 2, 0, 81, -25.81},
        {"unison", unison, 3, 0, 81, 25.76},
        {"semitones", [](VoiceRig& r) { r.values.oscSemi[1] = 7.0f; }, 0, 1, 69, 700.11},
        {"fine tune", [](VoiceRig& r) { r.values.oscFine[2] = -0.5f; }, 0, 2, 69, -50.15},
        {"LO", [](VoiceRig& r) { r.values.oscRange[0] = 0; }, 0, 0, 127, -7200.0},
        {"coarse tune", [](VoiceRig& r) { r.values.coarseFactor = 4.0; }, 0, 0, 60, 2400.0},
        {"slope", [](VoiceRig& r) { stretchKeyboard(r, 2.0011260); }, 0, 0, 60, -2403.41},
        {"slope", [](VoiceRig& r) { stretchKeyboard(r, 2.0056297779); }, 0, 0, 102, -2400.0},
        {"slope", [](VoiceRig& r) { stretchKeyboard(r, 1.99437022209); }, 0, 0, 69, -2386.58},
        {"a 20th of the voice rate", [](VoiceRig&) {}, 0, 2, 127, -1663.05},
        {"modulated", [](VoiceRig& r) { modulate(r, true); }, 0, 1, 69, 612.06},
        {"not modulated", [](VoiceRig& r) { modulate(r, false); }, 0, 1, 69, 0.11},
        {"1280 Hz", [](VoiceRig& r) { fixOscillator3(r, 3); }, 0, 2, 100, -3651.32},
        {"200 Hz, by the tempo", [](VoiceRig& r) { fixOscillator3(r, 0); }, 0, 2, 100, -6865.0},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.polyMode = PolyMode::Poly8;
        solo(rig, row.oscillator);
        row.turn(rig);
        rig.start(row.note, row.voice);
        rig.playLanes(1 << 16);
        const auto lane = rig.playLanes(1 << 14)[static_cast<std::size_t>(row.voice)];
        // The noise floor moves a crossing by 0.03 samples: nothing over all cycles.
        const auto cycles = cyclesOf({lane.signal.begin(), lane.signal.end()}, rig.fs8);
        EXPECT_NEAR(100.0 * semitones(test::meanHz(cycles), equalHz(row.note)), row.cents, 0.04)
            << row.what << ", voice " << row.voice << " oscillator " << row.oscillator + 1;
    }
    EngineValues absurd;
    absurd.osc3LoSync = true;
    absurd.lfoIncrement = 1e6;
    EXPECT_LE(fixedOscillator3Increment(absurd), 0.05f) << "by an absurd tempo";
}

TEST(VoicePitch, WalkersDriftInStraightLinesAndTheSecondPartsTwoOscillators)
{
    // Many times the deepest drift of the instrument, to see where the walkers are.
    constexpr double kDepth = 0.5, kSpan = 0.01;
    const auto walk = [](std::size_t k) {
        VoiceRig rig;
        solo(rig, k);
        rig.values.oscDrift = kDepth;
        rig.start(69);
        const auto cycles = cyclesOf(rig.playFor(2.5).sound, rig.fs8);
        std::vector<double> positions; // 0..1, at every 10 ms
        for (double t = kSpan; t < 2.49; t += kSpan)
            positions.push_back((hzAt(cycles, t) / equalHz(69) - 1.0) / kDepth);
        return positions;
    };
    const auto first = walk(0), down = walk(1), up = walk(2);
    int straight = 0; // half the way a second, up or down
    for (std::size_t i = 1; i < up.size(); ++i) {
        EXPECT_NEAR(down[i], -up[i], 4e-3) << "opposite ways, at " << i;
        EXPECT_TRUE(up[i] > -1e-3 && up[i] < 1.001);
        straight += std::fabs(std::fabs(up[i] - up[i - 1]) / kSpan - 0.5) < 0.03;
    }
    EXPECT_GT(straight, static_cast<int>(up.size()) - 10) << "but for the turns";
    EXPECT_NE(first, up);
}

TEST(VoicePitch, BendHasARangeEachWayAndFollowsAtFifteenHertz)
{
    constexpr struct {
        std::size_t channel;
        float bend;
        double semitones; ///< with 2 up and 12 down, on channel 4
        double hostRate;
    } kRows[] = {{4, 1.0f, 2.0, 48000.0},
                 {4, -0.25f, -3.0, 48000.0},
                 {4, -1.0f, -12.0, 96000.0},
                 {3, 1.0f, 0.0, 48000.0}};
    for (const auto& row : kRows) {
        VoiceRig rig(row.hostRate);
        solo(rig, 0);
        rig.values.bendRangeUp = 2;
        rig.values.bendRangeDown = 12;
        rig.start(81, 0, 1.0f, 4);
        rig.play(1024);
        rig.performance.pitchBendNow[row.channel] = row.bend;
        const auto cycles = cyclesOf(rig.playFor(0.2).sound, rig.fs8);
        for (const double t : {0.004, 0.0106, 0.15}) {
            const auto cycle = test::cycleAt(cycles, t);
            const double way = 1.0 - std::exp(-2.0 * M_PI * 15.0 * cycle.seconds);
            EXPECT_NEAR(semitones(cycle.hz, equalHz(81)), way * row.semitones,
                        0.002 + 0.006 * std::fabs(row.semitones))
                << "bend " << row.bend << " after " << t << " s";
        }
    }
}

TEST(VoicePitch, GlidesUpTwiceAsFastAsDownAndCarriesTheKeytracking)
{
    constexpr struct {
        int from, to;
        double seconds; ///< for the whole way, at 96 semitones a second down
    } kRows[] = {{60, 72, 0.0625}, {72, 60, 0.125}};
    for (const auto& row : kRows) {
        VoiceRig rig;
        solo(rig, 0);
        rig.values.keytrack = 1.0f;
        rig.start(row.from);
        rig.play(1024);
        rig.values.glideRate = 0.002; // semitones a tick, 48,000 ticks a second
        rig.rack[0].startNote(rig.values, false, row.to, 1.0f, 0);
        const auto streams = rig.playFor(0.2);
        const auto cycles = cyclesOf(streams.sound, rig.fs8);
        for (const double part : {0.25, 0.75, 1.2}) {
            const auto cycle = test::cycleAt(cycles, part * row.seconds);
            const double way = std::min(cycle.seconds / row.seconds, 1.0);
            const double pitch = row.from + way * (row.to - row.from);
            EXPECT_NEAR(semitones(cycle.hz, equalHz(0.0)), pitch, 0.02)
                << row.from << " to " << row.to << " at " << part;
            const auto sample = static_cast<std::size_t>(cycle.seconds * rig.fs8);
            EXPECT_NEAR(streams.cutoff[sample], 0.5 + (pitch - 31.0) * 256.0 / 32726.0, 3e-4);
        }
    }
}

} // namespace
} // namespace zephra
