// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/AmpCurve.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

float ampGain(double level) { return ampCurve()[static_cast<std::size_t>(level * 2048.0)]; }

TEST(AmpCurve, RisesThroughTheMeasuredGains)
{
    constexpr std::pair<double, float> kRows[] = {
        {31 / 2048.0, 0.0f}, {0.0625, 0.000212f}, {0.1875, 0.107406f}, {0.25, 0.197941f},
        {0.5, 0.595867f},    {0.75, 0.986138f},   {1.0, 0.986138f},
    };
    for (const auto& [level, gain] : kRows)
        EXPECT_FLOAT_EQ(ampGain(level), gain) << "at " << level;
    EXPECT_TRUE(std::ranges::is_sorted(ampCurve()));
    EXPECT_NEAR(ampGain(0.15625), 0.0632, 1e-4) << "between two";
}

/// The filter envelope opens the cutoff from zero: Cutoff is the envelope.
void openByEnvelope(VoiceRig& rig)
{
    rig.values.cutoff = 0.0f;
    rig.values.filterEnvAmount = 1.0f;
    rig.values.filterAttackNorm = 1.0f; // without an initial fall
    rig.values.filterDecay = 0.02;
    rig.values.filterSustain = 1.0;
}

TEST(FilterEnvelope, PeaksSustainsAndGoesOnFromWhereItIs)
{
    // 0.98293781 * 0.88 (Early 0.93) at the end of the attack, 0.9 of that at full sustain. The
    // next attack charges what is left; if the release is slow and the attack quick, it climbs from
    // there by exp(-3 * 0.45) of its way.
    const double kHalf = 1.0 - std::sqrt(0.5);                             // of the 0.9 ms
    const double kBegun = 1.0 - std::pow(0.5, 21.0 / (0.0009 * 384000.0)); // after 21 samples
    const double kCharges = 0.9 + 1.1 * kBegun, kClimbs = 0.9 + 2.0 * std::exp(-1.35) * kBegun;
    const struct {
        Revision revision;
        float amount, releaseNorm;
        double attackSeconds, peak, restarted; ///< the last of the peak
    } kRows[] = {{Revision::Late, 1.0f, 0.31f, 0.0149, 0.864985, kClimbs},
                 {Revision::Early, 1.0f, 0.29f, 0.0, 0.914132, kCharges},
                 {Revision::Late, 0.25f, 0.9f, 0.0151, 0.216246, kCharges}};
    for (const auto& row : kRows) {
        VoiceRig rig;
        openByEnvelope(rig);
        rig.values.revision = row.revision;
        rig.values.filterEnvAmount = row.amount;
        rig.values.filterReleaseNorm = row.releaseNorm;
        rig.values.filterAttackSeconds = row.attackSeconds;
        rig.start(60);
        const auto cutoff = rig.playFor(0.3).cutoff;
        EXPECT_NEAR(*std::ranges::max_element(cutoff) / row.peak, 1.0, 2e-3);
        EXPECT_NEAR(cutoff.back() / row.peak, 0.9, 5e-4);
        EXPECT_NEAR(cutoff[172] / row.peak, 2.0 * kHalf, 5e-3);
        rig.start(60);
        EXPECT_NEAR(rig.play(24).cutoff[20] / row.peak, row.restarted, 1e-3);
    }
}

TEST(FilterEnvelope, DecayIsACapacitorEmptiedByAResistorThatGrows)
{
    // dV/dt = -V / RC - V G(t) / C, toward zero, has a closed solution:
    // ln V falls by ln(10) t / Td and by 1 / (C 192000 1.62 0.4) * (t0^-0.4 - t1^-0.4).
    for (const auto& [hostRate, attackNorm] : {std::pair(48000.0, 0.0f), {96000.0, 0.15f}}) {
        VoiceRig rig(hostRate);
        openByEnvelope(rig);
        rig.values.filterSustain = 0.0;
        rig.values.filterDecay = 1.0;
        rig.values.filterAttackNorm = attackNorm;
        rig.start(60);
        const auto& cutoff = rig.playFor(0.1).cutoff;
        const auto peak = std::ranges::max_element(cutoff);
        for (const double seconds : {0.001, 0.01, 0.05}) {
            const double t0 = 132.0 * std::exp(14.0 * double(attackNorm));
            const double t1 = t0 + 192000.0 * seconds;
            const double droop =
                (std::pow(t0, -0.4) - std::pow(t1, -0.4)) / (1e-5 * 192000.0 * 1.62 * 0.4);
            const double expected = *peak * std::exp(-droop) * std::pow(0.1, seconds);
            EXPECT_NEAR(*(peak + static_cast<int>(seconds * rig.fs8)) / expected, 1.0, 2e-3)
                << "attack " << attackNorm << " after " << seconds << " s at " << hostRate;
        }
    }
}

TEST(VoiceEnvelopes, TakeTheirTimesFromTheKeyToTheEndUnlessThePedalHolds)
{
    constexpr struct {
        PolyMode mode;
        float releaseNorm;
        double gone;      ///< seconds from half the level to a millionth
        double remaining; ///< of the filter envelope, after that
    } kRows[] = {
        {PolyMode::Mono, 0.01f, 0.5699, 0.5},  // 5.699 times the 0.1 s of a tenth
        {PolyMode::Poly8, 0.0f, 0.00125, 0.0}, // in a straight line, 2.5 ms for the whole
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        openByEnvelope(rig);
        rig.values.polyMode = row.mode;
        rig.values.ampReleaseNorm = row.releaseNorm;
        rig.values.ampAttack = std::pow(0.2, 1.0 / (0.02 * rig.fs8));
        rig.values.ampSustain = 0.625; // of 0.8
        rig.values.filterRelease = row.gone / std::log10(2.0);
        rig.stretch = 8;
        rig.start(60);
        const auto amplitude = rig.playFor(0.3).amplitude;
        const auto at = [&](double seconds) { return amplitude[std::size_t(seconds * rig.fs8)]; };
        EXPECT_NEAR(at(0.01), ampGain(1.0 - std::sqrt(0.2)), 2e-3) << "20 ms to 0.8";
        EXPECT_NEAR(at(0.03), ampGain(0.8 * std::pow(0.1, 0.1)), 2e-3) << "0.1 s to a tenth";
        EXPECT_NEAR(at(0.29), ampGain(0.5), 1e-5);

        rig.performance.pedalUp = false;
        rig.rack[0].released = true;
        const auto& held = rig.playFor(0.1);
        EXPECT_NEAR(held.amplitude.back(), ampGain(0.5), 1e-5);
        const float full = held.cutoff.back();
        rig.performance.pedalUp = true;
        rig.playFor(0.99 * row.gone);
        EXPECT_FALSE(rig.rack[0].ended);
        rig.playFor(0.02 * row.gone + 16.0 / rig.fs8);
        EXPECT_TRUE(rig.rack[0].ended);
        rig.start(60);
        EXPECT_NEAR(rig.play(8).cutoff.front() / full, row.remaining, 0.02);
    }
}

} // namespace
} // namespace zephra
