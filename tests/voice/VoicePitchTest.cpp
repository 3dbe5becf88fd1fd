// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/VoiceRack.h"

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

TEST(VoicePitch, VoicesAreTunedApartByTheirSpread)
{
    struct Row {
        int voice;
        std::size_t oscillator;
        double semitones;
    };
    constexpr Row kRows[] = {
        {0, 0, 0.0},       {0, 1, 0.0011},     {0, 2, -0.0015},    {1, 0, -0.00251},
        {2, 1, 0.0022317}, {3, 0, -0.002711},  {5, 2, 0.001392},   {4, 0, 0.0001},
        {6, 1, 0.0012314}, {7, 2, -0.0002391}, {7, 1, -0.0002211},
    };
    for (const Row& row : kRows) {
        VoiceRig rig;
        rig.values.polyMode = PolyMode::Poly8;
        solo(rig, row.oscillator);
        rig.start(81, row.voice);
        const auto lane = rig.playLanes(1 << 14)[static_cast<std::size_t>(row.voice)];
        // The noise floor moves a crossing by 0.03 samples: nothing over two hundred cycles.
        const auto cycles = cyclesOf({lane.signal.begin() + 512, lane.signal.end()}, rig.fs8);
        const double span = cycles.back().seconds - cycles.front().seconds;
        const double hz = static_cast<double>(cycles.size() - 1) / span;
        EXPECT_NEAR(semitones(hz, equalHz(81) * 1.000006), row.semitones, 1e-4)
            << "voice " << row.voice << " oscillator " << row.oscillator + 1;
    }
}

TEST(VoicePitch, StopsRisingAtATwentiethOfTheVoiceRate)
{
    struct Row {
        int note;
        double hz;
    };
    constexpr Row kRows[] = {{110, 18794.5}, {111, 19200.0}, {127, 19200.0}};
    for (std::size_t k = 0; k < 3; ++k) {
        for (const Row& row : kRows) {
            VoiceRig rig;
            solo(rig, k);
            rig.start(row.note);
            rig.play(512);
            EXPECT_NEAR(hzAt(cyclesOf(rig.play(8192).sound, rig.fs8), 0.01), row.hz, 2.0)
                << "oscillator " << k + 1 << " note " << row.note;
        }
    }
}

TEST(VoicePitch, WalkersDriftInStraightLinesAndTheSecondPartsTwoOscillators)
{
    // Many times the deepest drift of the instrument, to see where the walkers are.
    constexpr double kDepth = 0.5;
    constexpr double kSeconds = 2.5;
    constexpr double kSpan = 0.01;
    const auto offPitch = [](std::size_t k, double depth) {
        VoiceRig rig;
        solo(rig, k);
        rig.values.oscDrift = depth;
        rig.start(69);
        const auto cycles = cyclesOf(rig.playFor(kSeconds).sound, rig.fs8);
        std::vector<double> off; // of the pitch at rest, at every 10 ms
        for (double t = kSpan; t < kSeconds - kSpan; t += kSpan)
            off.push_back(hzAt(cycles, t) / equalHz(69) - 1.0);
        return off;
    };
    const auto first = offPitch(0, kDepth);
    const auto down = offPitch(1, kDepth);
    const auto up = offPitch(2, kDepth);

    int rising = 0, falling = 0;
    for (std::size_t i = 0; i < first.size(); ++i) {
        // Both leave 0 at once, at half the way a second.
        const double walker1 = first[i] / kDepth, walker2 = up[i] / kDepth;
        if (i < 5) {
            EXPECT_NEAR(walker1, 0.5 * kSpan * static_cast<double>(i + 1), 1e-3);
            EXPECT_NEAR(walker2, 0.5 * kSpan * static_cast<double>(i + 1), 1e-3);
        }
        for (const double position : {walker1, walker2}) {
            EXPECT_GE(position, -1e-3);
            EXPECT_LE(position, 1.001);
        }
        EXPECT_NEAR(down[i], -up[i], 2e-3) << "opposite ways, at " << i;
        for (const auto* walk : {&first, &up}) {
            const double slope = i > 0 ? ((*walk)[i] - (*walk)[i - 1]) / (kDepth * kSpan) : 0.5;
            rising += std::fabs(slope - 0.5) < 0.03;
            falling += std::fabs(slope + 0.5) < 0.03;
        }
    }
    EXPECT_GT(rising, 50);
    EXPECT_GT(falling, 50);
    EXPECT_GT(rising + falling, 2 * static_cast<int>(first.size()) - 20) << "but for the turns";
    EXPECT_NE(first, up);
    EXPECT_GT(*std::max_element(first.begin(), first.end()), 0.2 * kDepth);

    const auto shallow = offPitch(0, 0.0025);
    EXPECT_NEAR(shallow.back() / first.back(), 0.0025 / kDepth, 1e-4);
}

TEST(VoicePitch, WalkersRunAtDepthZero)
{
    VoiceRig always, late;
    for (VoiceRig* rig : {&always, &late}) {
        solo(*rig, 0);
        rig->start(69);
    }
    always.values.oscDrift = 0.5;
    always.playFor(0.2);
    late.playFor(0.2);
    late.values.oscDrift = 0.5;
    const double drifted = hzAt(cyclesOf(always.play(4096).sound, always.fs8), 0.005);
    EXPECT_GT(drifted, 1.02 * equalHz(69));
    EXPECT_NEAR(hzAt(cyclesOf(late.play(4096).sound, late.fs8), 0.005), drifted, 0.1);
}

TEST(VoicePitch, BendHasARangeEachWayAndFollowsAtFifteenHertz)
{
    struct Row {
        int channel;
        float bend;
        double semitones; ///< with 2 up and 12 down, on channel 4
        double hostRate;
    };
    constexpr Row kRows[] = {{4, 1.0f, 2.0, 48000.0},    {4, 0.5f, 1.0, 48000.0},
                             {4, -1.0f, -12.0, 48000.0}, {4, -0.25f, -3.0, 48000.0},
                             {4, -1.0f, -12.0, 96000.0}, {3, 1.0f, 0.0, 48000.0}};
    for (const Row& row : kRows) {
        VoiceRig rig(row.hostRate);
        solo(rig, 0);
        rig.values.bendRangeUp = 2;
        rig.values.bendRangeDown = 12;
        rig.start(81, 0, 1.0f, 4);
        rig.play(1024);
        rig.performance.pitchBendNow[static_cast<std::size_t>(row.channel)] = row.bend;
        const auto cycles = cyclesOf(rig.playFor(0.2).sound, rig.fs8);
        for (const double t : {0.004, 0.0106, 0.03, 0.15}) {
            // The cycle around t, at the middle of its own.
            const auto cycle = *std::find_if(cycles.begin(), cycles.end(),
                                             [t](const test::Cycle& c) { return c.seconds >= t; });
            const double way = 1.0 - std::exp(-2.0 * M_PI * 15.0 * cycle.seconds);
            EXPECT_NEAR(semitones(cycle.hz, equalHz(81)), way * row.semitones,
                        0.002 + 0.006 * std::fabs(row.semitones))
                << "bend " << row.bend << " after " << t << " s";
        }
    }
}

TEST(VoicePitch, GlidesUpTwiceAsFastAsDownAndCarriesTheKeytracking)
{
    struct Row {
        int from, to;
        double seconds; ///< for the whole way, at 96 semitones a second down
    };
    constexpr Row kRows[] = {{60, 72, 0.0625}, {72, 60, 0.125}, {60, 61, 1.0 / 192.0}};
    for (const Row& row : kRows) {
        VoiceRig rig;
        solo(rig, 0);
        rig.values.keytrack = 1.0f;
        rig.start(row.from);
        rig.play(1024);
        rig.values.glideRate = 0.002; // semitones a tick, 48,000 ticks a second
        rig.rack[0].startNote(rig.values, false, row.to, 1.0f, 0);
        const auto streams = rig.playFor(0.2);
        const auto cycles = cyclesOf(streams.sound, rig.fs8);
        for (const double part : {0.25, 0.5, 0.75, 1.2}) {
            const double t = std::max(part * row.seconds, cycles.front().seconds);
            const auto cycle = *std::find_if(cycles.begin(), cycles.end(),
                                             [t](const test::Cycle& c) { return c.seconds >= t; });
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
    struct Row {
        bool on;
        float depth, range;
        double semitones; ///< of 0.2856, a held low pulse of oscillator 3
    };
    constexpr Row kRows[] = {
        {true, 1.0f, 1.0f, 12.239}, {true, 0.5f, 1.0f, 6.1195}, {true, 1.0f, 0.5f, 6.1195},
        {true, 0.5f, 2.0f, 12.239}, {true, 0.0f, 2.0f, 0.0},    {false, 1.0f, 1.0f, 0.0},
    };
    for (const std::size_t k : {std::size_t{0}, std::size_t{1}}) {
        for (const Row& row : kRows) {
            VoiceRig rig;
            solo(rig, k);
            rig.hold(2, false);
            rig.values.coarseFactor = 1.0;
            rig.values.modOscOn = row.on;
            rig.values.modPitchRange = row.range;
            rig.values.modSlots[1] = {ModSource::ModWheel, row.depth, ModTarget::ModAmount};
            rig.performance.modWheelNow = 1.0f;
            rig.start(69);
            rig.playFor(0.2);
            const auto cycles = cyclesOf(rig.play(4096).sound, rig.fs8);
            EXPECT_NEAR(semitones(hzAt(cycles, 0.005), equalHz(69)), row.semitones, 5e-3)
                << "depth " << row.depth << " range " << row.range;
        }
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
    for (const int note : {20, 100}) {
        rig.start(note);
        const auto cycles = cyclesOf(rig.playFor(0.05).sound, rig.fs8);
        EXPECT_NEAR(hzAt(cycles, 0.04), 1280.0, 0.1) << "8' is 128 times the low rate";
    }
}

TEST(VoicePitch, UnisonDetuneIsHeardInFourLanes)
{
    VoiceRig rig;
    rig.values.polyMode = PolyMode::Unison;
    rig.values.unisonDetune = 0.5f;
    solo(rig, 0);
    for (int voice = 0; voice < 4; ++voice)
        rig.start(81, voice);
    rig.playLanes(512);
    const auto lanes = rig.playLanes(1 << 14);
    const double cents[] = {-13.03, 13.03, -26.03, 26.03};
    for (std::size_t lane = 0; lane < 4; ++lane) {
        const auto& signal = lanes[lane].signal;
        const auto cycles = cyclesOf({signal.begin(), signal.end()}, rig.fs8);
        const double span = cycles.back().seconds - cycles.front().seconds;
        EXPECT_NEAR(100.0 * semitones(static_cast<double>(cycles.size() - 1) / span, equalHz(81)),
                    cents[lane], 0.4)
            << "lane " << lane;
    }
}

} // namespace
} // namespace zephra
