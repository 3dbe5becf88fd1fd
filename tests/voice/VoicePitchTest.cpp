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

TEST(Pitch, ControlsMoveTheirOscillatorByTheirInterval)
{
    constexpr double kFs8 = 352800.0;
    const struct {
        void (*turn)(EngineValues&);
        std::size_t oscillator;
        int note;
        double cents; ///< off equal temperament at 8', with the spread of voice 1 in it
    } kRows[] = {
        {[](EngineValues& v) { v.oscSemi[1] = 7.0f; }, 1, 69, 700.12},
        {[](EngineValues& v) { v.oscSemi[1] = 7.0f; }, 0, 69, 0.0},
        {[](EngineValues& v) { v.oscFine[2] = -0.5f; }, 2, 69, -50.14},
        {[](EngineValues& v) { v.oscRange[0] = 0; }, 0, 24, -4800.0},
        {[](EngineValues& v) { v.coarseFactor = 4.0; }, 0, 69, 2400.0},
        {[](EngineValues& v) { v.oscKeytrackSlope = 2.0011260; }, 0, 60, -3.41},
        {[](EngineValues& v) { v.oscKeytrackSlope = 2.0056297779; }, 0, 102, 0.0}, // the pivot
        {[](EngineValues& v) { v.oscKeytrackSlope = 1.99437022209; }, 0, 69, 13.42},
    };
    for (const auto& row : kRows) {
        EngineValues values;
        values.oscRange = {3, 3, 3};
        values.oscKeytrackSlope = 2.0;
        row.turn(values);
        const double hz = oscillatorBases(values, 0, kFs8)[row.oscillator] * kFs8 *
                          std::pow(values.oscKeytrackSlope, row.note / 12.0);
        EXPECT_NEAR(1200.0 * std::log2(4.0 * hz / equalHz(row.note)), row.cents, 0.03);
    }
}

TEST(VoicePitch, VoicesAreTunedApartByTheirSpreadOrTheDetuneOfUnison)
{
    constexpr struct {
        PolyMode mode;
        int voice;
        std::size_t oscillator;
        double semitones;
    } kRows[] = {{PolyMode::Poly8, 0, 0, 0.0},         {PolyMode::Poly8, 0, 2, -0.0015},
                 {PolyMode::Poly8, 2, 1, 0.0022317},   {PolyMode::Poly8, 7, 2, -0.0002391},
                 {PolyMode::Unison, 0, 0, -0.1303038}, {PolyMode::Unison, 1, 0, 0.1277938},
                 {PolyMode::Unison, 2, 0, -0.2581},    {PolyMode::Unison, 3, 0, 0.2576}};
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.polyMode = row.mode;
        rig.values.unisonDetune = 0.5f;
        solo(rig, row.oscillator);
        rig.start(81, row.voice);
        const auto lane = rig.playLanes(1 << 14)[static_cast<std::size_t>(row.voice)];
        // The noise floor moves a crossing by 0.03 samples: nothing over two hundred cycles.
        const auto cycles = cyclesOf({lane.signal.begin() + 512, lane.signal.end()}, rig.fs8);
        EXPECT_NEAR(semitones(test::meanHz(cycles), equalHz(81) * 1.000006), row.semitones, 1e-4)
            << "voice " << row.voice << " oscillator " << row.oscillator + 1;
    }
}

TEST(VoicePitch, StopsRisingAtATwentiethOfTheVoiceRate)
{
    VoiceRig rig;
    solo(rig, 2);
    rig.start(127);
    rig.play(512);
    EXPECT_NEAR(hzAt(cyclesOf(rig.play(8192).sound, rig.fs8), 0.01), 19200.0, 2.0);
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

TEST(VoicePitch, ModulationMovesThePitchByDepthAndRange)
{
    for (const bool on : {true, false}) {
        VoiceRig rig;
        solo(rig, 1);
        rig.hold(2, false); // a held low pulse
        rig.values.coarseFactor = 1.0;
        rig.values.modOscOn = on;
        rig.values.modPitchRange = 2.0f;
        rig.values.modSlots[1] = {ModSource::ModWheel, 0.25f, ModTarget::ModAmount};
        rig.performance.modWheelNow = 1.0f;
        rig.start(69);
        rig.playFor(0.2);
        const auto cycles = cyclesOf(rig.play(4096).sound, rig.fs8);
        EXPECT_NEAR(semitones(hzAt(cycles, 0.005), equalHz(69)), on ? 6.1195 : 0.0, 5e-3);
    }
}

TEST(VoicePitch, FixedOscillator3IgnoresKeysBendDriftAndModulation)
{
    VoiceRig rig;
    rig.values.osc3KeyTrack = false;
    rig.values.osc3FixedRate = 10.0 / rig.fs8;
    rig.values.mixLevel[2] = 1.0f;
    rig.values.oscDrift = 0.5;
    rig.values.bendRangeUp = 12;
    rig.performance.pitchBendNow[0] = 1.0f;
    rig.performance.modWheelNow = 1.0f;
    rig.values.modOscOn = true;
    rig.values.modSlots[0] = {ModSource::ModWheel, 1.0f, ModTarget::ModAmount};
    rig.start(100);
    rig.values.osc3LoSync = true;
    rig.values.lfoIncrement = 200.0 / rig.fs8;
    for (const auto& [range, hz] : {std::pair(3, 1280.0), {0, 200.0}}) { // LO follows the tempo
        rig.values.oscRange[2] = range;
        rig.playFor(0.01);
        EXPECT_NEAR(hzAt(cyclesOf(rig.playFor(0.05).sound, rig.fs8), 0.04), hz, 0.1) << range;
    }
    rig.values.lfoIncrement = 1e6;
    EXPECT_LE(fixedOscillator3Increment(rig.values), 0.05f) << "an absurd tempo";
}

} // namespace
} // namespace zephra
