// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/AmpEnvelope.h"
#include "voice/FilterEnvelope.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zephra {
namespace {

constexpr double kFs8 = 352800.0;

FilterEnvelopeRates filterRates(double attackSeconds, double decaySeconds, double sustain)
{
    return {.attack = std::pow(0.5, 1.0 / (attackSeconds * kFs8)),
            .release = std::pow(0.1, 1.0 / (decaySeconds * kFs8)),
            .decayOhms = decaySeconds / (std::log(10.0) * 1e-5),
            .sustain = sustain,
            .droopStart = 132.0,
            .fs8 = kFs8};
}

/// Runs with a control tick every eighth sample, as a voice does.
void run(FilterEnvelope& e, const FilterEnvelopeRates& rates, double seconds)
{
    double droop = 0.0;
    const int n = static_cast<int>(seconds * kFs8);
    for (int i = 0; i < n; ++i) {
        if (i % 8 == 0) {
            droop = e.droopConductance();
            e.droopTime += 192000.0 * 8.0 / kFs8;
        }
        e.tick(rates, droop);
    }
}

TEST(FilterEnvelope, AttackReachesHalfInItsTime)
{
    for (const double seconds : {0.0009, 0.01, 0.212, 1.5}) {
        FilterEnvelope e;
        e.start(false);
        const auto rates = filterRates(seconds, 1.0, 0.4);
        run(e, rates, seconds * 0.97);
        EXPECT_EQ(e.fltState, EnvelopeStage::Attack) << seconds;
        run(e, rates, seconds * 0.06);
        EXPECT_EQ(e.fltState, EnvelopeStage::Decay) << seconds;
    }
}

TEST(FilterEnvelope, DecayIsTenfoldPerDecayTimeOnceTheDroopIsOver)
{
    FilterEnvelope e;
    e.fltState = EnvelopeStage::Decay;
    e.fltLevel = e.fltOut = 0.5;
    e.droopTime = 1.6e8; // as after a slow attack
    run(e, filterRates(12.0, 0.5, 0.1), 0.5);
    EXPECT_NEAR(e.fltOut, 0.1 + 0.4 * 0.1, 1e-3);
}

TEST(FilterEnvelope, QuickAttackFallsFastFirstAndEasesIntoTheExponential)
{
    FilterEnvelope quick, plain;
    quick.fltState = plain.fltState = EnvelopeStage::Decay;
    quick.fltLevel = plain.fltLevel = 0.5;
    plain.droopTime = 1.6e8;
    const auto rates = filterRates(0.001, 5.0, 0.4);
    run(quick, rates, 0.01);
    run(plain, rates, 0.01);
    EXPECT_LT(quick.fltOut, 0.94 * plain.fltOut);
    run(quick, rates, 40.0);
    EXPECT_NEAR(quick.fltOut, 0.4, 0.01) << "settles at the sustain, there is no sustain stage";
}

TEST(FilterEnvelope, RestartInALongReleaseGoesOnFromTheRunningOutput)
{
    FilterEnvelope running, fresh;
    running.fltOut = fresh.fltOut = 0.4;
    running.start(true);
    fresh.start(false);
    const auto rates = filterRates(0.01, 1.0, 0.4);
    run(running, rates, 1e-5);
    run(fresh, rates, 1e-5);
    EXPECT_NEAR(running.fltOut, 0.4, 1e-3);
    EXPECT_NEAR(fresh.fltOut, 0.4, 1e-3);
    run(running, rates, 0.0095);
    EXPECT_NEAR(running.fltOut, 0.4 + 0.48 * std::exp(-1.2), 0.01) << "a shortened way";

    FilterEnvelope high;
    high.fltOut = 1.2;
    high.start(true);
    run(high, rates, 0.005);
    EXPECT_EQ(high.fltOut, 1.2) << "no way left above 1.05";
}

TEST(FilterEnvelope, ReleaseIsTenfoldPerTime)
{
    FilterEnvelope e;
    e.fltOut = 0.4;
    e.fltState = EnvelopeStage::Release;
    run(e, filterRates(0.01, 0.25, 0.0), 0.25);
    EXPECT_NEAR(e.fltOut, 0.04, 1e-5);
}

AmpEnvelopeRates ampRates(double attackMs, double decayMs, double releaseMs, bool linear)
{
    const auto coeff = [](double base, double ms) { return std::pow(base, 1000.0 / (ms * kFs8)); };
    return {.attack = coeff(0.2, attackMs),
            .decay = coeff(0.1, decayMs),
            .release = coeff(0.1, releaseMs),
            .linearFall = 1.0 / (releaseMs * 0.001 * kFs8),
            .linearRelease = linear};
}

double run(AmpEnvelope& e, const AmpEnvelopeRates& rates, double sustain, double seconds)
{
    double toPeak = 1.0 - e.ampLevel;
    double level = 0.0;
    const int n = static_cast<int>(seconds * kFs8);
    for (int i = 0; i < n; ++i)
        level = e.tick(rates, toPeak, sustain);
    return level;
}

TEST(AmpEnvelope, StagesTakeTheirTimes)
{
    AmpEnvelope e{EnvelopeStage::Attack, 0.0, 0.0};
    const auto rates = ampRates(20.0, 200.0, 50.0, false);
    run(e, rates, 0.08, 0.0198);
    EXPECT_EQ(e.ampState, EnvelopeStage::Attack);
    run(e, rates, 0.08, 0.0004);
    EXPECT_EQ(e.ampState, EnvelopeStage::Decay);
    EXPECT_NEAR(run(e, rates, 0.08, 0.1999), 0.08, 2e-3) << "-20 dB";
    run(e, rates, 0.08, 0.01);
    EXPECT_EQ(e.ampState, EnvelopeStage::Sustain);
    EXPECT_EQ(run(e, rates, 0.5, 0.001), 0.5) << "sustain follows its knob, upward too";
    e.ampState = EnvelopeStage::Release;
    EXPECT_NEAR(run(e, rates, 0.5, 0.05), 0.05, 1e-4);
}

TEST(AmpEnvelope, ShortestReleaseFallsInAStraightLineToZero)
{
    AmpEnvelope e{EnvelopeStage::Sustain, 0.8, 0.0};
    const auto rates = ampRates(1.35, 2.5, 2.5, true);
    run(e, rates, 0.8, 0.001);
    e.ampState = EnvelopeStage::Release;
    EXPECT_NEAR(run(e, rates, 0.8, 0.001), 0.4, 2e-3) << "0.4 a millisecond";
    EXPECT_EQ(run(e, rates, 0.8, 0.002), 0.0);
}

TEST(AmpEnvelope, SustainZeroFadesWithoutEverStoppingTheDecay)
{
    AmpEnvelope e{EnvelopeStage::Decay, 1.0, 1.0};
    EXPECT_LT(run(e, ampRates(1.35, 10.0, 10.0, false), 0.0, 0.1), 1e-9);
    EXPECT_EQ(e.ampState, EnvelopeStage::Decay);
}

} // namespace
} // namespace zephra
