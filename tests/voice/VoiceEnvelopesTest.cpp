// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/VoiceRack.h"

#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

constexpr double kOctave = 3072.0 / 32726.0; ///< of cutoff: 256 entries a semitone

TEST(VoiceCutoff, FollowsKeysFromNote31ByTheKeytracking)
{
    struct Row {
        int note;
        float keytrack;
        double octaves;
    };
    constexpr Row kRows[] = {
        {60, 0.0f, 0.0},  {31, 1.0f, 0.0},         {43, 1.0f, 1.0},
        {79, 1.0f, 4.0},  {67, 0.33333f, 0.99999}, {67, 0.66667f, 2.0000100},
        {19, 1.0f, -1.0}, {0, 1.0f, -31.0 / 12.0},
    };
    for (const Row& row : kRows) {
        VoiceRig rig;
        rig.values.keytrack = row.keytrack;
        rig.start(row.note);
        EXPECT_NEAR(rig.play(1024).cutoff.back(), 0.5 + row.octaves * kOctave, 3e-5)
            << "note " << row.note << " keytrack " << row.keytrack;
    }
}

TEST(VoiceCutoff, KnobAndRangeAndTheEarlyFactor)
{
    struct Row {
        Revision revision;
        PolyMode mode;
        float knob, range;
        double cutoff;
    };
    constexpr Row kRows[] = {
        {Revision::Late, PolyMode::Mono, 0.5f, 1.0f, 0.5},
        {Revision::Early, PolyMode::Mono, 0.5f, 1.0f, 0.491},
        {Revision::Late, PolyMode::Poly8, 0.5f, 1.0f, 0.5},
        {Revision::Early, PolyMode::Poly8, 0.5f, 1.0f, 0.491},
        {Revision::Late, PolyMode::Mono, 0.8f, 1.05f, 0.84},
        {Revision::Late, PolyMode::Mono, 0.952f, 1.06f, 1.0}, // limited
    };
    for (const Row& row : kRows) {
        VoiceRig rig;
        rig.values.revision = row.revision;
        rig.values.polyMode = row.mode;
        rig.values.cutoff = row.knob;
        rig.values.cutoffRangeFactor = row.range;
        EXPECT_NEAR(rig.play(1024).cutoff.back(), row.cutoff, 5e-5);
    }
}

TEST(VoiceCutoff, WalksStraightToTheKnobOverAStretch)
{
    VoiceRig rig;
    double from = 0.0;
    for (const float knob : {0.7f, 0.3f}) {
        rig.values.cutoff = knob;
        const auto cutoff = rig.play(504).cutoff;
        for (int i = 0; i < 504; ++i)
            ASSERT_NEAR(cutoff[static_cast<std::size_t>(i)], from + (knob - from) * (i + 1) / 504.0,
                        8e-5);
        EXPECT_EQ(rig.rack.lanes.cutBase[0], knob);
        from = knob;
    }
}

TEST(VoiceCutoff, WobblesByNoiseBelow9HzInProportion)
{
    for (const float base : {0.2f, 0.8f}) {
        VoiceRig rig;
        rig.values.cutoff = base;
        const auto cutoff = rig.playFor(0.3).cutoff;
        test::WhiteReference white;
        double wobble = 0.0, most = 0.0;
        for (std::size_t i = 0; i < cutoff.size(); ++i) {
            wobble += (0.01 * white.next() - wobble) * (1.0 - std::exp(-2 * M_PI * 9.0 / rig.fs8));
            most = std::max(most, std::fabs(wobble));
            if (i >= 512) {
                ASSERT_NEAR(cutoff[i] / base - 1.0, wobble, 1e-6) << "sample " << i;
            }
        }
        EXPECT_GT(most, 2e-5);
    }
}

/// The filter envelope opens the cutoff from zero: Cutoff is the envelope.
void openByEnvelope(VoiceRig& rig)
{
    rig.values.cutoff = 0.0f;
    rig.values.filterEnvAmount = 1.0f;
    rig.values.filterDecay = 1.0;
}

TEST(VoiceFilterEnvelope, ScaleOfPeakAndSustain)
{
    struct Row {
        Revision revision;
        float amount;
        double peak, sustained;
    };
    // 0.98293781 * 0.88 (Early 0.93) at the end of the attack, 0.9 of that at full sustain.
    constexpr Row kRows[] = {{Revision::Late, 1.0f, 0.864985, 0.778487},
                             {Revision::Early, 1.0f, 0.914132, 0.822719},
                             {Revision::Late, 0.25f, 0.216246, 0.194622}};
    for (const Row& row : kRows) {
        VoiceRig rig;
        openByEnvelope(rig);
        rig.values.revision = row.revision;
        rig.values.filterEnvAmount = row.amount;
        rig.values.filterAttackNorm = 1.0f; // no initial fall
        rig.values.filterDecay = 0.05;
        rig.values.filterSustain = 1.0;
        rig.start(60);
        const auto cutoff = rig.playFor(0.2).cutoff;
        EXPECT_NEAR(*std::max_element(cutoff.begin(), cutoff.end()), row.peak, 2e-3 * row.amount);
        EXPECT_NEAR(cutoff.back(), row.sustained, 2e-4);
        EXPECT_NEAR(cutoff[172] / row.peak, 2.0 - std::sqrt(2.0), 5e-3) << "at half of its 0.9 ms";
    }
}

TEST(VoiceFilterEnvelope, DecayIsACapacitorEmptiedByAResistorThatGrows)
{
    // dV/dt = -V / RC - V G(t) / C, toward zero, has a closed solution:
    // ln V falls by ln(10) t / Td and by 1 / (C 192000 1.62 0.4) * (t0^-0.4 - t1^-0.4).
    for (const double hostRate : {48000.0, 96000.0}) {
        for (const float attackNorm : {0.0f, 0.15f, 0.3f, 1.0f}) {
            VoiceRig rig(hostRate);
            openByEnvelope(rig);
            rig.values.filterAttackNorm = attackNorm;
            rig.start(60);
            const auto cutoff = rig.playFor(0.1).cutoff;
            const auto peak = std::max_element(cutoff.begin(), cutoff.end());
            for (const double seconds : {0.001, 0.01, 0.05}) {
                const double t0 = 132.0 * std::exp(14.0 * attackNorm);
                const double t1 = t0 + 192000.0 * seconds;
                const double droop =
                    (std::pow(t0, -0.4) - std::pow(t1, -0.4)) / (1e-5 * 192000.0 * 1.62 * 0.4);
                const double expected = *peak * std::exp(-droop) * std::pow(0.1, seconds);
                EXPECT_NEAR(*(peak + static_cast<int>(seconds * rig.fs8)) / expected, 1.0, 2e-3)
                    << "attack " << attackNorm << " after " << seconds << " s at " << hostRate;
            }
        }
    }
}

TEST(VoiceRelease, NeedsTheKeyAndThePedalUp)
{
    struct Row {
        bool released, pedalUp;
        bool falls;
    };
    constexpr Row kRows[] = {
        {false, true, false}, {true, false, false}, {true, true, true}, {false, false, false}};
    for (const Row& row : kRows) {
        VoiceRig rig;
        openByEnvelope(rig);
        rig.values.filterAttackNorm = 1.0f;
        rig.values.filterDecay = 0.01;
        rig.values.filterSustain = 1.0;
        rig.values.filterRelease = 0.2;
        rig.values.ampSustain = 0.625;
        rig.start(60);
        rig.playFor(0.5);
        rig.rack[0].released = row.released;
        rig.performance.pedalUp = row.pedalUp;
        const auto after = rig.playFor(0.060206);
        if (row.falls) {
            // To a half at 0.2 s for a tenth, and from 1/2 to 1/8 at 0.1 s.
            EXPECT_NEAR(after.cutoff.back(), 0.5 * 0.778487, 1e-3);
            EXPECT_NEAR(after.amplitude.back(), 0.029362, 5e-4);
        } else {
            EXPECT_NEAR(after.cutoff.back(), 0.778487, 1e-3);
            EXPECT_NEAR(after.amplitude.back(), 0.595867, 1e-5);
        }
        if (row.released && !row.pedalUp) {
            rig.performance.pedalUp = true;
            EXPECT_LT(rig.playFor(0.05).amplitude.back(), 0.1f) << "pedal up";
        }
    }
}

TEST(VoiceAmplifier, SustainIsFourFifthsOfItsKnobBeforeTheCurve)
{
    struct Row {
        double knob, amplitude;
    };
    constexpr Row kRows[] = {
        {1.0, 0.986138}, {0.625, 0.595867}, {0.3125, 0.197941}, {0.15625, 0.029362}, {0.0, 0.0}};
    for (const Row& row : kRows) {
        VoiceRig rig;
        rig.values.ampSustain = row.knob;
        rig.start(60);
        EXPECT_NEAR(rig.playFor(0.4).amplitude.back(), row.amplitude, 1e-5) << row.knob;
        EXPECT_FALSE(rig.rack[0].ended) << "held, silent or not";
    }
}

TEST(VoiceAmplifier, ResonanceIsTheKnobTimesItsRange)
{
    VoiceRig rig;
    rig.values.resonance = 0.75f;
    rig.values.resonanceRange = 6.0f;
    for (const float resonance : rig.play(16).resonance)
        EXPECT_EQ(resonance, 4.5f);
}

TEST(VoiceEnd, ComesWithTheStretchWhoseLastSampleIsSilent)
{
    struct Row {
        float releaseNorm;
        double stillOn, over; ///< seconds after the key
    };
    // From 0.8 to a millionth: 5.903 times the 0.1 s of a tenth, or 0.8 of the 2.5 ms of the
    // straight line.
    constexpr Row kRows[] = {{0.01f, 0.589, 0.5915}, {0.0f, 0.00199, 0.00201}};
    for (const Row& row : kRows) {
        for (const int stretch : {8, 64}) {
            VoiceRig rig;
            rig.values.ampReleaseNorm = row.releaseNorm;
            rig.start(60);
            rig.playFor(0.3);
            rig.rack[0].released = true;
            rig.stretch = stretch;
            const auto samples = [&rig, stretch](double seconds, int extra) {
                return stretch * (static_cast<int>(seconds * rig.fs8) / stretch + extra);
            };
            const int before = samples(row.stillOn, 0);
            const auto fading = rig.play(before);
            EXPECT_GT(fading.amplitude.front(), 0.9f);
            EXPECT_FALSE(rig.rack[0].ended) << "release " << row.releaseNorm;
            rig.play(samples(row.over, 1) - before);
            EXPECT_TRUE(rig.rack[0].ended) << "release " << row.releaseNorm;
        }
    }
}

TEST(VoiceEnd, PolyphonicVoicesLeaveNoFilterEnvelopeBehind)
{
    for (const PolyMode mode :
         {PolyMode::Mono, PolyMode::Unison, PolyMode::Poly4, PolyMode::Poly8}) {
        VoiceRig rig;
        openByEnvelope(rig);
        rig.values.polyMode = mode;
        rig.values.filterAttackNorm = 1.0f;
        rig.values.filterDecay = 0.01;
        rig.values.filterSustain = 1.0;
        rig.values.filterRelease = 10.0; // outlasts the amplifier by far
        rig.values.ampReleaseNorm = 0.0f;
        rig.start(60);
        rig.playFor(0.3);
        rig.rack[0].released = true;
        rig.playFor(0.01);
        ASSERT_TRUE(rig.rack[0].ended);
        rig.start(60);
        EXPECT_NEAR(rig.play(8).cutoff.front(), isPolyphonic(mode) ? 0.0 : 0.776, 5e-3)
            << static_cast<int>(mode);
        EXPECT_FALSE(rig.rack[0].ended);
    }
}

} // namespace
} // namespace zephra
