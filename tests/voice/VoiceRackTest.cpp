// SPDX-License-Identifier: GPL-3.0-or-later
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

/// Frequency of a rising saw, from its upward zero crossings. The noise floor moves one by 0.03
/// samples: nothing over all cycles.
double frequencyOf(const std::vector<float>& saw, double fs8)
{
    double first = -1.0, last = 0.0;
    int cycles = -1;
    for (std::size_t i = 1; i < saw.size(); ++i) {
        if (saw[i - 1] >= 0.0f || saw[i] < 0.0f)
            continue;
        last = static_cast<double>(i) - double(saw[i]) / double(saw[i] - saw[i - 1]);
        first = first < 0.0 ? last : first;
        ++cycles;
    }
    return cycles * fs8 / (last - first);
}

/// Oscillator 3 off the keyboard, with what moves the others turned up.
void fixOscillator3(VoiceRig& rig, int range, double tempoHz)
{
    rig.fixOscillator3(10.0);
    rig.values.oscRange[2] = range;
    rig.values.osc3LoSync = true;
    rig.values.lfoIncrement = tempoHz / rig.fs8;
    rig.values.oscDrift = 0.5;
    rig.values.bendRangeUp = 12;
    rig.performance.pitchBendNow.fill(1.0f);
}

void unison(VoiceRig& rig)
{
    rig.values.polyMode = PolyMode::Unison;
    rig.values.unisonDetune = 0.5f;
}

/// Bends the channel of the voice by an amount, all others up.
void bend(VoiceRig& rig, float amount)
{
    rig.values.bendRangeUp = 2;
    rig.values.bendRangeDown = 12;
    rig.performance.pitchBendNow.fill(1.0f);
    rig.performance.pitchBendNow[5] = amount;
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
        // The slope of the keyboard turns about note 102, at 8'.
        {"slope", [](VoiceRig& r) { r.values.oscKeytrackSlope = 2.00563; }, 0, 0, 78, 0.0},
        {"slope", [](VoiceRig& r) { r.values.oscKeytrackSlope = 1.99437; }, 0, 0, 45, 13.42},
        {"bend up", [](VoiceRig& r) { bend(r, 1.0f); }, 0, 0, 81, 200.0},
        {"bend down", [](VoiceRig& r) { bend(r, -0.5f); }, 0, 0, 81, -600.0},
        {"a 20th of the voice rate", [](VoiceRig&) {}, 0, 2, 127, -1663.05},
        {"5200 Hz", [](VoiceRig& r) { fixOscillator3(r, 5, 200.0); }, 0, 2, 100, -1224.5},
        {"by the tempo", [](VoiceRig& r) { fixOscillator3(r, 0, 200.0); }, 0, 2, 100, -6865.0},
        {"absurd tempo", [](VoiceRig& r) { fixOscillator3(r, 0, 1e9); }, 0, 2, 100, 1036.95},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.polyMode = PolyMode::Poly4;
        rig.values.oscRange.fill(5);
        rig.values.mixLevel[row.oscillator] = 1.0f;
        row.turn(rig);
        rig.start(row.note, static_cast<int>(row.voice), 1.0f, 5);
        rig.play(1 << 16);
        rig.play(1 << 14);
        const double hz = frequencyOf(rig.lanes[row.voice].signal, rig.fs8);
        EXPECT_NEAR(1200.0 * std::log2(hz / 1760.0) - 100.0 * (row.note - 69), row.cents, 0.1)
            << row.what << ", voice " << row.voice << " oscillator " << row.oscillator + 1;
    }
}

TEST(VoicePitch, TwoWalkersDriftOverTheWholeWay)
{
    DriftState drift;
    Random15 random;
    double lowest = 1.0, highest = 0.0, apart = 0.0;
    for (int tick = 0; tick < 1000000; ++tick) {
        drift.tick(random, 0.001);
        lowest = std::min({tick < 1000 ? 1.0 : lowest, drift.drift1, drift.drift2});
        highest = std::max({highest, drift.drift1, drift.drift2});
        apart += std::fabs(drift.drift1 - drift.drift2) / 1000000.0;
    }
    EXPECT_NEAR(lowest, 0.0, 0.002);
    EXPECT_NEAR(highest, 1.0, 0.002);
    EXPECT_NEAR(apart, 0.3, 0.05);
}

TEST(VoiceRack, WritesItsModesLanesOfTheStretchAndNothingElse)
{
    constexpr float kBefore = 9.0f;
    const struct {
        PolyMode mode;
        std::vector<bool> rendered; ///< by lane
        float idleLevel;            ///< of the others
    } kRows[] = {
        {PolyMode::Mono, {1, 0, 0, 0}, 0.0f},
        {PolyMode::Unison, {1, 1, 1, 1}, 0.0f},
        {PolyMode::Poly4, {1, 0, 1, 0}, 0.0f},
        {PolyMode::Poly8, {1, 0, 1, 0, 1, 0, 1, 0}, 1e-7f},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.polyMode = row.mode;
        for (int voice = 0; voice < kVoices; ++voice)
            rig.start(60, voice);
        rig.play(4096);                         // amplitude is up, cutoffs are there
        for (const int voice : {0, 1, 3, 5, 7}) // voice 0 runs on all the same
            rig.rack[voice].ended = true;
        rig.buffer.four.fill(kBefore);
        rig.buffer.eight.fill(kBefore);
        rig.rack.render(rig.values, rig.performance, rig.buffer, 16, 24);
        for (int lane = 0; lane < static_cast<int>(row.rendered.size()); ++lane) {
            SCOPED_TRACE(lane);
            const float amplitude = rig.at(39, Stream::Amplitude, lane);
            EXPECT_EQ(amplitude > 0.9f, row.rendered[static_cast<std::size_t>(lane)]);
            EXPECT_TRUE(amplitude > 0.9f || amplitude == row.idleLevel) << amplitude;
            EXPECT_NEAR(rig.at(39, Stream::Cutoff, lane), lane < voicesOf(row.mode) ? 0.5f : 0.0f,
                        1e-3f);
            EXPECT_EQ(rig.at(15, Stream::Signal, lane), kBefore);
            EXPECT_EQ(rig.at(40, Stream::Signal, lane), kBefore);
        }
    }
}

TEST(VoiceRack, NotesStartAtTheirPhaseOrRunFreeAndVoicesShareOscillator3)
{
    constexpr struct {
        std::size_t oscillator;
        float control;
        bool reset;
        float phase; ///< of a new note; -1 runs on
    } kRows[] = {{0, 0.001f, true, -1.0f},
                 {0, 0.0011f, true, 0.0010989f},
                 {1, 0.25f, true, 0.24975f},
                 {2, 1.0f, true, 0.999f},
                 {2, 0.25f, false, -1.0f}};
    VoiceRig rig;
    for (const auto& row : kRows) {
        rig.values.oscStartPhase[row.oscillator] = row.control;
        const float& phase = rig.rack.lanes.oscillators[row.oscillator].phase[3];
        const float before = phase;
        rig.rack[3].startNote(rig.values, row.reset, 0, 1.0f, 0);
        EXPECT_FLOAT_EQ(phase, row.phase < 0.0f ? before : row.phase)
            << "oscillator " << row.oscillator + 1 << " at " << row.control;
    }

    Lanes<float>& phases = rig.rack.lanes.oscillators[2].phase;
    Lanes<float> sorted = phases;
    std::ranges::sort(sorted);
    EXPECT_EQ(std::ranges::adjacent_find(sorted), sorted.end()) << "each voice at its own";
    EXPECT_NE(rig.rack.lanes.noise.tonePos[0], rig.rack.lanes.noise.tonePos[1]);
    const float common = phases[0];
    rig.rack.shareOscillator3();
    EXPECT_EQ(std::ranges::count(phases, common), kVoices);
}

} // namespace
} // namespace zephra
