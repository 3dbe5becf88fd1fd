// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/AmpCurve.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

float ampGain(double level) { return ampCurveAt(ampCurve().data(), level); }

TEST(AmpCurve, RisesThroughTheMeasuredGainsAndTakesWildLevels)
{
    constexpr struct {
        double level;
        float gain;
    } kRows[] = {
        {31 / 2048.0, 0.0f}, {0.0625, 0.000212f}, {0.25, 0.197941f},     {0.5, 0.595867f},
        {0.75, 0.986138f},   {1.0, 0.986138f},    {INFINITY, 0.986138f}, {-1e-9, 0.0f},
        {-INFINITY, 0.0f},   {NAN, 0.0f},
    };
    for (const auto& [level, gain] : kRows)
        EXPECT_FLOAT_EQ(ampGain(level), gain) << "at " << level;
    EXPECT_TRUE(std::ranges::is_sorted(ampCurve()));
    EXPECT_FLOAT_EQ(ampGain(300.25 / 2048.0), 0.75f * ampCurve()[300] + 0.25f * ampCurve()[301]);
}

/// The filter envelope opens the cutoff from zero: Cutoff is the envelope, which has reached
/// 0.778487 after 0.2 s.
void sustainByEnvelope(VoiceRig& rig)
{
    rig.values.cutoff = 0.0f;
    rig.values.filterEnvAmount = 1.0f;
    rig.values.filterAttackNorm = 1.0f; // without an initial fall
    rig.values.filterDecay = 0.02;
    rig.values.filterSustain = 1.0;
}

TEST(VoiceFilterEnvelope, PeaksSustainsAndGoesOnFromWhereItIs)
{
    // 0.98293781 * 0.88 (Early 0.93) at the end of the attack, 0.9 of that at full sustain. A slow
    // release and a quick attack shorten the way of the next attack to exp(-3 out) of itself.
    constexpr struct {
        Revision revision;
        float amount, releaseNorm;
        double attackSeconds, peak, sustained, restarted; ///< the last of the full scale
    } kRows[] = {{Revision::Late, 1.0f, 0.31f, 0.0149, 0.864985, 0.778487, 0.45 + 0.2929 * 0.2592},
                 {Revision::Early, 1.0f, 0.29f, 0.0, 0.914132, 0.822719, 0.45 + 0.55 * 0.2929},
                 {Revision::Late, 0.25f, 0.9f, 0.0151, 0.216246, 0.194622, 0.0}};
    for (const auto& row : kRows) {
        VoiceRig rig;
        sustainByEnvelope(rig);
        rig.values.revision = row.revision;
        rig.values.filterEnvAmount = row.amount;
        rig.values.filterReleaseNorm = row.releaseNorm;
        rig.values.filterAttackSeconds = row.attackSeconds;
        rig.start(60);
        const auto cutoff = rig.playFor(0.3).cutoff;
        EXPECT_NEAR(*std::ranges::max_element(cutoff), row.peak, 2e-3 * row.amount);
        EXPECT_NEAR(cutoff.back(), row.sustained, 2e-4);
        EXPECT_NEAR(cutoff[172] / row.peak, 2.0 - std::sqrt(2.0), 5e-3) << "at half of its 0.9 ms";
        rig.start(60);
        printf("restart %g\n", double(rig.play(176).cutoff[172] / row.peak / 2));
    }
}

TEST(VoiceFilterEnvelope, DecayIsACapacitorEmptiedByAResistorThatGrows)
{
    // dV/dt = -V / RC - V G(t) / C, toward zero, has a closed solution:
    // ln V falls by ln(10) t / Td and by 1 / (C 192000 1.62 0.4) * (t0^-0.4 - t1^-0.4).
    for (const auto& [hostRate, attackNorm] : {std::pair(48000.0, 0.0f), {96000.0, 0.15f}}) {
        VoiceRig rig(hostRate);
        sustainByEnvelope(rig);
        rig.values.filterSustain = 0.0;
        rig.values.filterDecay = 1.0;
        rig.values.filterAttackNorm = attackNorm;
        rig.start(60);
        const auto cutoff = rig.playFor(0.1).cutoff;
        const auto peak = std::ranges::max_element(cutoff);
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

TEST(VoiceAmplifier, AttackAndDecayTakeTheirTimes)
{
    VoiceRig rig;
    rig.values.ampAttack = std::pow(0.2, 1.0 / (0.02 * rig.fs8));
    rig.values.ampSustain = 0.0;
    rig.start(60);
    const auto& amplitude = rig.playFor(0.121).amplitude;
    const auto at = [&](double seconds) { return amplitude[std::size_t(seconds * rig.fs8)]; };
    EXPECT_NEAR(at(0.01), ampGain(1.0 - std::sqrt(0.2)), 1e-3) << "20 ms to 0.8";
    EXPECT_NEAR(at(0.07), ampGain(0.8 * std::sqrt(0.1)), 1e-3) << "0.1 s to a tenth of it";
    EXPECT_NEAR(at(0.12), ampGain(0.08), 1e-4);
}

TEST(VoiceRelease, NeedsTheKeyAndThePedalUp)
{
    constexpr struct {
        bool released, pedalUp, falls;
    } kRows[] = {{false, true, false}, {true, false, false}, {true, true, true}};
    VoiceRig rig;
    sustainByEnvelope(rig);
    rig.values.filterRelease = 0.2;
    rig.values.ampSustain = 0.625;
    rig.start(60);
    rig.playFor(0.5);
    for (const auto& row : kRows) {
        rig.rack[0].released = row.released;
        rig.performance.pedalUp = row.pedalUp;
        const auto& after = rig.playFor(0.060206);
        // To a half at 0.2 s for a tenth, and from 1/2 to 1/8 at 0.1 s.
        EXPECT_NEAR(after.cutoff.back(), (row.falls ? 0.5 : 1.0) * 0.778487, 1e-3);
        EXPECT_NEAR(after.amplitude.back(), row.falls ? 0.029362 : 0.595867, 5e-4);
    }
}

TEST(VoiceEnd, ComesInSilenceAndPolyphonicVoicesLeaveNoFilterEnvelopeBehind)
{
    // From 0.8 to a millionth: 5.903 times the 0.1 s of a tenth, or 0.8 of the 2.5 ms of the
    // straight line.
    constexpr struct {
        PolyMode mode;
        float releaseNorm;
        double stillOn, over; ///< seconds after the key
        double left;          ///< of the filter envelope
    } kRows[] = {{PolyMode::Mono, 0.01f, 0.589, 0.5915, 0.68},
                 {PolyMode::Poly8, 0.0f, 0.00199, 0.00201, 0.0}};
    for (const auto& row : kRows) {
        VoiceRig rig;
        sustainByEnvelope(rig);
        rig.values.filterRelease = 10.0; // outlasts the amplifier by far
        rig.values.polyMode = row.mode;
        rig.values.ampReleaseNorm = row.releaseNorm;
        rig.stretch = 8;
        rig.start(60);
        rig.playFor(0.3);
        rig.rack[0].released = true;
        EXPECT_GT(rig.playFor(row.stillOn).amplitude.front(), 0.9f);
        EXPECT_FALSE(rig.rack[0].ended) << "release " << row.releaseNorm;
        rig.playFor(row.over - row.stillOn);
        rig.play(16);
        EXPECT_TRUE(rig.rack[0].ended) << "release " << row.releaseNorm;
        rig.start(60);
        EXPECT_NEAR(rig.play(8).cutoff.front(), row.left, 5e-3);
    }
}

} // namespace
} // namespace zephra
