// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/Pitch.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

#include <functional>

namespace zephra {
namespace {

using test::VoiceRig;

/// One cycle of a rising saw, between two upward zero crossings.
struct Cycle {
    double seconds; ///< its middle
    double hz;
};

std::vector<Cycle> cyclesOf(const std::vector<float>& saw, double fs8)
{
    std::vector<Cycle> cycles;
    double last = -1.0;
    for (std::size_t i = 1; i < saw.size(); ++i) {
        if (saw[i - 1] >= 0.0f || saw[i] < 0.0f)
            continue;
        const double now = static_cast<double>(i - saw[i] / (saw[i] - saw[i - 1]));
        if (last >= 0.0)
            cycles.push_back({0.5 * (last + now) / fs8, fs8 / (now - last)});
        last = now;
    }
    return cycles;
}

/// The cycle around `seconds`.
Cycle cycleAt(const std::vector<Cycle>& cycles, double seconds)
{
    return *std::find_if(cycles.begin(), cycles.end() - 1,
                         [seconds](const Cycle& c) { return c.seconds >= seconds; });
}

/// Note number of a frequency in the range of solo(), in equal temperament.
double noteOf(double hz) { return 69.0 + 12.0 * std::log2(hz / 1760.0); }

/// Oscillator `k` alone, as a saw two octaves up: many cycles to measure.
void solo(VoiceRig& rig, std::size_t k)
{
    rig.values.oscRange.fill(5);
    rig.values.mixLevel[k] = 1.0f;
}

/// Oscillator 3 off the keyboard, with everything turned up that moves the others.
void fixOscillator3(VoiceRig& rig, int range)
{
    rig.fixOscillator3(10.0);
    rig.values.oscRange[2] = range;
    rig.values.osc3LoSync = true;
    rig.values.lfoIncrement = 200.0 / rig.fs8;
    rig.values.oscDrift = 0.5;
    rig.values.bendRangeUp = 12;
    rig.performance.pitchBendNow[0] = 1.0f;
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
        std::size_t voice, oscillator;
        int note;
        double cents; ///< off equal temperament at 2'; the spread of the voice is in it
    } kRows[] = {
        {"as it is", [](VoiceRig&) {}, 0, 0, 81, 0.0},
        {"spread", [](VoiceRig&) {}, 0, 2, 81, -0.15},
        {"spread", [](VoiceRig&) {}, 2, 1, 81, 0.22},
        {"unison", unison, 0, 0, 81, -13.03},
        {"unison", unison, 1, 0, 81, 12.78},
        {"unison", unison, 2, 0, 81, -25.81},
        {"unison", unison, 3, 0, 81, 25.76},
        {"semitones", [](VoiceRig& r) { r.values.oscSemi[1] = 7.0f; }, 0, 1, 69, 700.11},
        {"fine tune", [](VoiceRig& r) { r.values.oscFine[2] = -0.5f; }, 0, 2, 69, -50.15},
        {"LO", [](VoiceRig& r) { r.values.oscRange[0] = 0; }, 0, 0, 127, -7200.0},
        {"coarse tune", [](VoiceRig& r) { r.values.coarseFactor = 4.0; }, 0, 0, 60, 2400.0},
        {"slope", [](VoiceRig& r) { stretchKeyboard(r, 2.0056297779); }, 0, 0, 102, -2400.0},
        {"slope", [](VoiceRig& r) { stretchKeyboard(r, 1.99437022209); }, 0, 0, 69, -2386.58},
        {"a 20th of the voice rate", [](VoiceRig&) {}, 0, 2, 127, -1663.05},
        {"1280 Hz", [](VoiceRig& r) { fixOscillator3(r, 3); }, 0, 2, 100, -3651.32},
        {"5200 Hz", [](VoiceRig& r) { fixOscillator3(r, 5); }, 0, 2, 100, -1224.41},
        {"200 Hz, by the tempo", [](VoiceRig& r) { fixOscillator3(r, 0); }, 0, 2, 100, -6865.0},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.polyMode = PolyMode::Poly4;
        solo(rig, row.oscillator);
        row.turn(rig);
        rig.start(row.note, static_cast<int>(row.voice));
        rig.play(1 << 16);
        rig.play(1 << 14);
        // The noise floor moves a crossing by 0.03 samples: nothing over all cycles.
        const auto cycles = cyclesOf(rig.lanes[row.voice].signal, rig.fs8);
        const double hz = static_cast<double>(cycles.size() - 1) /
                          (cycles.back().seconds - cycles.front().seconds);
        EXPECT_NEAR(100.0 * (noteOf(hz) - row.note), row.cents, 0.04)
            << row.what << ", voice " << row.voice << " oscillator " << row.oscillator + 1;
    }
    EngineValues absurd;
    absurd.osc3LoSync = true;
    absurd.lfoIncrement = 1e6;
    EXPECT_LE(fixedOscillator3Increment(absurd), 0.05f) << "by an absurd tempo";
}

TEST(VoicePitch, BendsAtFifteenHertzAndGlidesUpTwiceAsFastAsDownWithTheCutoff)
{
    const auto bent = [](double t) { return 1.0 - std::exp(-2.0 * M_PI * 15.0 * t); };
    const struct {
        double hostRate;
        float bend;                                     ///< of the voice's channel
        int note;                                       ///< that the voice is slurred to from 81
        std::function<double(double)> bentBy, glidedBy; ///< semitones after a time in seconds
    } kRows[] = {
        {48000.0, 1.0f, 81, [=](double t) { return 2.0 * bent(t); }, [](double) { return 0.0; }},
        {96000.0, -0.5f, 81, [=](double t) { return -6.0 * bent(t); }, [](double) { return 0.0; }},
        {48000.0, 0.0f, 93, [](double) { return 0.0; },
         [](double t) { return std::min(192.0 * t, 12.0); }},
        {48000.0, 0.0f, 69, [](double) { return 0.0; },
         [](double t) { return std::max(-96.0 * t, -12.0); }},
    };
    for (const auto& row : kRows) {
        VoiceRig rig(row.hostRate);
        solo(rig, 0);
        rig.values.bendRangeUp = 2;
        rig.values.bendRangeDown = 12;
        rig.values.keytrack = 1.0f;
        rig.start(81, 0, 1.0f, 4);
        rig.play(1024);
        rig.values.glideRate = 0.002; // semitones a tick, 48,000 ticks a second
        rig.performance.pitchBendNow.fill(1.0f);
        rig.performance.pitchBendNow[4] = row.bend;
        rig.rack[0].startNote(rig.values, false, row.note, 1.0f, -1);
        const auto& streams = rig.playFor(0.2);
        const auto cycles = cyclesOf(streams.signal, rig.fs8);
        for (const double t : {0.004, 0.0106, 0.03, 0.1, 0.15}) {
            const Cycle cycle = cycleAt(cycles, t);
            const double bend = row.bentBy(cycle.seconds), glide = row.glidedBy(cycle.seconds);
            EXPECT_NEAR(noteOf(cycle.hz), 81.0 + bend + glide, 0.01 + 0.006 * std::fabs(bend))
                << "bend " << row.bend << ", to " << row.note << ", after " << t << " s";
            EXPECT_NEAR(streams.cutoff[std::size_t(cycle.seconds * rig.fs8)],
                        0.5 + (81.0 + glide - 31.0) * 256.0 / 32726.0, 3e-4);
        }
    }
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
        const auto cycles = cyclesOf(rig.playFor(2.5).signal, rig.fs8);
        std::vector<double> positions; // 0..1, at every 10 ms
        for (double t = kSpan; t < 2.49; t += kSpan)
            positions.push_back((cycleAt(cycles, t).hz / 1760.0 - 1.0) / kDepth);
        return positions;
    };
    const auto first = walk(0), down = walk(1), up = walk(2);
    int straight = 0; // half the way a second, up or down
    for (std::size_t i = 1; i < up.size(); ++i) {
        EXPECT_NEAR(down[i], -up[i], 4e-3) << "opposite ways, at " << i;
        EXPECT_TRUE(up[i] > -2e-3 && up[i] < 1.002);
        straight += std::fabs(std::fabs(up[i] - up[i - 1]) / kSpan - 0.5) < 0.1;
    }
    EXPECT_GT(straight, static_cast<int>(up.size()) - 10) << "but for the turns";
    EXPECT_GT(std::fabs(first[200] - up[200]), 0.05);
}

} // namespace
} // namespace zephra
