// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Spectrum.h"
#include "voice/Pitch.h"
#include "voice/Waves.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace zephra {
namespace {

constexpr double kFs8 = 352800.0;

template <Revision kRevision>
std::vector<float> play(Wave wave, float inc, int n, std::size_t k = 0)
{
    OscillatorState state;
    std::vector<float> out;
    for (int i = 0; i < n; ++i)
        out.push_back(oscillatorSample<kRevision>(
            state, k, wave, inc, pulseThreshold<kRevision>(k, wave), 0.0036f, shapeTables()));
    return out;
}

double meanOf(const std::vector<float>& x)
{
    double sum = 0.0;
    for (const float v : x)
        sum += v;
    return sum / static_cast<double>(x.size());
}

// 1/64 cycle a sample and 6400 samples: whole cycles, so sums have no end effects.
constexpr float kInc = 1.0f / 64.0f;
constexpr int kCycles = 6400;

TEST(Oscillator, SawHasTheHarmonicsOfARamp)
{
    const auto saw = play<Revision::Late>(Wave::Saw, kInc, kCycles);
    for (int h = 1; h <= 8; ++h)
        EXPECT_NEAR(test::amplitude(saw, h / 64.0), 2.0 / (M_PI * h), 0.04 / h) << "harmonic " << h;
}

TEST(Oscillator, StepCorrectionLowersTheAliasesOfASaw)
{
    // 5 kHz at the voice rate of 44.1 kHz, at an increment that no harmonic folds onto another's
    // place; a naive ramp's aliases lie near -36 dB there.
    const double f = 5003.7 / kFs8;
    const auto saw = play<Revision::Late>(Wave::Saw, static_cast<float>(f), 1 << 16);
    const double fundamental = test::amplitude(saw, f);
    for (int h = 60; h <= 75; ++h) { // fold around the voice rate into 0..20 kHz
        const double folded = std::fabs(h * f - 1.0);
        if (folded * kFs8 < 20000.0) {
            EXPECT_LT(test::decibels(test::amplitude(saw, folded) / fundamental), -70.0)
                << "harmonic " << h;
        }
    }
}

TEST(Oscillator, PulseIsLowUpToItsThreshold)
{
    struct Row {
        Wave wave;
        std::size_t oscillator;
        double late, early; ///< part of the cycle that is low
    };
    constexpr Row kRows[] = {
        {Wave::Pulse, 0, 0.49943751, 0.516},     {Wave::Wide, 0, 0.274, 0.6969},
        {Wave::Narrow, 0, 0.128, 0.81257},       {Wave::Pulse, 1, 0.506, 0.506},
        {Wave::Wide, 1, 0.2815, 0.2815},         {Wave::Narrow, 1, 0.13244376, 0.13244376},
        {Wave::Pulse, 2, 0.4908125, 0.4908125},  {Wave::Wide, 2, 0.2703125, 0.2703125},
        {Wave::Narrow, 2, 0.1260625, 0.1260625},
    };
    for (const Row& row : kRows) {
        const auto late = play<Revision::Late>(row.wave, 0.001f, 100000, row.oscillator);
        const auto early = play<Revision::Early>(row.wave, 0.001f, 100000, row.oscillator);
        EXPECT_NEAR(meanOf(late), 1.0 - 2.0 * row.late, 2e-3);
        EXPECT_NEAR(meanOf(early), 1.0 - 2.0 * row.early, 2e-3);
    }
}

TEST(Oscillator, PulseCrossesBothEdgesInOneSampleAndStaysBounded)
{
    // The high part of "Narrow" in Early is shorter than this increment's limit allows.
    for (const Wave wave : {Wave::Pulse, Wave::Wide, Wave::Narrow, Wave::Saw}) {
        for (const float inc : {0.05f, 0.3f, 0.7f, 0.99f}) {
            const auto out = play<Revision::Early>(wave, inc, 2000);
            for (const float v : out)
                ASSERT_LE(std::fabs(v), 3.1f) << "increment " << inc;
        }
    }
}

TEST(Oscillator, EarlySawChargesLikeACapacitorOnTheFirstTwoAlone)
{
    const auto bent = play<Revision::Early>(Wave::Saw, 0.001f, 3000, 0);
    const auto straight = play<Revision::Early>(Wave::Saw, 0.001f, 3000, 2);
    const auto [low, high] = std::minmax_element(bent.begin() + 1500, bent.end());
    EXPECT_NEAR(*low, -1.53, 0.02);
    EXPECT_NEAR(*high, 1.0, 0.02);
    EXPECT_NEAR(straight[1250], -0.502, 0.01) << "a quarter up a straight ramp";
    EXPECT_LT(bent[1250], -0.95) << "a charging curve bends";
    EXPECT_EQ(play<Revision::Early>(Wave::RevSaw, 0.001f, 3000, 0), straight);
}

TEST(Oscillator, SharkIsTheTriangleTurnedRoundOverARamp)
{
    for (const std::size_t k : {std::size_t{0}, std::size_t{2}}) {
        const auto triangle = play<Revision::Early>(Wave::Triangle, kInc, kCycles, k);
        const auto shark = play<Revision::Early>(Wave::Shark, kInc, kCycles, k);
        // What is left of the shark without the triangle is the ramp, and on oscillators 1 and 2
        // the second harmonic of their own table.
        std::vector<float> rest;
        for (std::size_t i = 0; i < shark.size(); ++i)
            rest.push_back(shark[i] + triangle[i]);
        EXPECT_NEAR(test::amplitude(rest, kInc), 0.23 * 2.0 / M_PI, 1e-3);
        const double second = test::amplitude(rest, 2 * kInc);
        if (k == 2) {
            EXPECT_NEAR(second, 0.23 / M_PI, 1e-3);
        } else {
            EXPECT_GT(std::fabs(second - 0.23 / M_PI), 0.01);
        }
    }
}

TEST(Pitch, EqualTemperamentAtSlopeTwoAndPivotAtNote102)
{
    struct Row {
        double slope;
        int note;
        double cents; ///< off equal temperament
    };
    const Row rows[] = {{2.0, 69, 0.01},          {2.0, 24, 0.01},
                        {2.0011260, 69, -2.68},   {2.0011260, 60, -3.41},
                        {2.0056297779, 102, 0.0}, {1.99437022209, 69, 13.42}};
    for (const Row& row : rows) {
        EngineValues values;
        values.oscRange = {3, 3, 3};
        values.oscKeytrackSlope = row.slope;
        const double base = oscillatorBases(values, 0, kFs8)[0];
        const double hz = base * std::pow(row.slope, row.note / 12.0) * kFs8;
        const double equal = 440.0 * std::pow(2.0, (row.note - 69) / 12.0);
        EXPECT_NEAR(1200.0 * std::log2(hz / equal), row.cents, 0.03)
            << "note " << row.note << " slope " << row.slope;
    }
}

TEST(Pitch, EveryPitchControlMovesItsOscillatorByItsInterval)
{
    const auto centsAgainstDefault = [](auto change, std::size_t k) {
        EngineValues plain, changed;
        plain.oscRange = changed.oscRange = {3, 3, 3};
        change(changed);
        return 1200.0 *
               std::log2(oscillatorBases(changed, 0, kFs8)[k] / oscillatorBases(plain, 0, kFs8)[k]);
    };
    EXPECT_NEAR(centsAgainstDefault([](auto& v) { v.oscSemi[1] = 7.0f; }, 1), 700.0, 1e-3);
    EXPECT_NEAR(centsAgainstDefault([](auto& v) { v.oscFine[2] = -0.5f; }, 2), -50.0, 1e-3);
    EXPECT_NEAR(centsAgainstDefault([](auto& v) { v.oscRange[0] = 0; }, 0), -4800.0, 1e-3);
    EXPECT_NEAR(centsAgainstDefault([](auto& v) { v.coarseFactor = 4.0; }, 0), 2400.0, 1e-3);
    EXPECT_NEAR(centsAgainstDefault([](auto& v) { v.oscSemi[1] = 7.0f; }, 0), 0.0, 1e-9);
}

TEST(Pitch, UnisonSpreadsFourLanesUnevenly)
{
    EngineValues values;
    values.oscRange = {3, 3, 3};
    const auto cents = [&values](int lane) {
        values.polyMode = PolyMode::Poly4;
        const double plain = oscillatorBases(values, lane, kFs8)[0];
        values.polyMode = PolyMode::Unison;
        return 1200.0 * std::log2(oscillatorBases(values, lane, kFs8)[0] / plain);
    };
    values.unisonDetune = 0.0f;
    for (int lane = 0; lane < 4; ++lane)
        EXPECT_NEAR(cents(lane), 0.0, 1e-9);
    values.unisonDetune = 1.0f; // 6 % down, 1 / 0.94 up, and 1.99 times as far
    EXPECT_NEAR(cents(0), -107.12, 0.01);
    EXPECT_NEAR(cents(1), 107.12, 0.01);
    EXPECT_NEAR(cents(2), -220.11, 0.05);
    EXPECT_NEAR(cents(3), 220.11, 0.05);
}

TEST(Pitch, GlideRisesTwiceAsFastAsItFallsAndNeverOvershoots)
{
    double up = 60.0, down = 72.0;
    int upTicks = 0, downTicks = 0;
    for (; up != 72.0; ++upTicks)
        up = glided(up, 72.0, 0.01);
    for (; down != 60.0; ++downTicks)
        down = glided(down, 60.0, 0.01);
    EXPECT_NEAR(upTicks, 600, 1);
    EXPECT_NEAR(downTicks, 1200, 1);
}

TEST(Pitch, FixedRateOfOscillator3ByRangeAndTempo)
{
    EngineValues values;
    values.osc3FixedRate = 2.0 / kFs8;
    values.lfoIncrement = 5.0 / kFs8;
    const double factor[6] = {1, 32, 64, 128, 256, 520};
    for (int range = 0; range < 6; ++range) {
        values.oscRange[2] = range;
        values.osc3LoSync = false;
        EXPECT_NEAR(fixedOscillator3Increment(values) * kFs8, 2.0 * factor[range], 1e-3);
        values.osc3LoSync = true;
        EXPECT_NEAR(fixedOscillator3Increment(values) * kFs8,
                    range == 0 ? 5.0 : 2.0 * factor[range], 1e-3);
    }
    values.oscRange[2] = 0;
    values.lfoIncrement = 1e6;
    EXPECT_LE(fixedOscillator3Increment(values), 0.05f) << "an absurd tempo runs no phase away";
}

} // namespace
} // namespace zephra
