// SPDX-License-Identifier: GPL-3.0-or-later
#include "PlainOscillator.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <vector>

namespace zephra {
namespace {

template <Revision kRevision>
std::vector<float> play(Wave wave, float inc, int n, std::size_t k = 0)
{
    OscillatorState state;
    std::vector<float> out;
    for (int i = 0; i < n; ++i)
        out.push_back(test::oscillatorSample<kRevision>(
            state, k, wave, inc, pulseThreshold<kRevision>(k, wave), 0.0036f, shapeTables()));
    return out;
}

TEST(Oscillator, SawHasTheHarmonicsOfARampAndHardlyAnAlias)
{
    // 5 kHz, at an increment that no harmonic folds onto another's place; a naive ramp's aliases
    // lie near -36 dB there.
    constexpr double kFs8 = 352800.0, kStep = 5003.7 / kFs8;
    const auto saw = play<Revision::Late>(Wave::Saw, static_cast<float>(kStep), 1 << 16);
    for (int h = 1; h <= 4; ++h)
        EXPECT_NEAR(test::amplitude(saw, h * kStep), 2.0 / (M_PI * h), 0.04 / h) << h;
    for (int h = 67; h <= 74; ++h) // fold around the voice rate into 0..20 kHz
        EXPECT_LT(test::decibels(test::amplitude(saw, std::fabs(h * kStep - 1.0))), -74.0) << h;
}

TEST(Oscillator, PulseIsLowUpToItsThreshold)
{
    constexpr struct {
        Wave wave;
        std::size_t oscillator;
        double late, early; ///< part of the cycle that is low
    } kRows[] = {
        {Wave::Pulse, 0, 0.49943751, 0.516},     {Wave::Wide, 0, 0.274, 0.6969},
        {Wave::Narrow, 0, 0.128, 0.81257},       {Wave::Wide, 1, 0.2815, 0.2815},
        {Wave::Narrow, 2, 0.1260625, 0.1260625},
    };
    const auto low = [](const std::vector<float>& x) {
        return 0.5 - 0.5 * std::accumulate(x.begin(), x.end(), 0.0) / static_cast<double>(x.size());
    };
    for (const auto& [wave, k, late, early] : kRows) {
        EXPECT_NEAR(low(play<Revision::Late>(wave, 0.001f, 100000, k)), late, 1e-3);
        EXPECT_NEAR(low(play<Revision::Early>(wave, 0.001f, 100000, k)), early, 1e-3);
    }
}

TEST(Oscillator, BothEdgesFallIntoOneSampleOrOntoOne)
{
    // The high part of "Narrow" in Early is shorter than this increment's limit allows.
    for (const Wave wave : {Wave::Pulse, Wave::Narrow, Wave::Saw})
        for (const float inc : {0.05f, 0.3f, 0.7f, 0.99f})
            for (const float v : play<Revision::Early>(wave, inc, 2000))
                ASSERT_LE(std::fabs(v), 3.1f) << "increment " << inc;

    // 64 samples a cycle put each step on a sample; a hair faster or slower it lies beside it.
    const auto exact = play<Revision::Late>(Wave::Saw, 1.0f / 64.0f, 256);
    for (const float hair : {3e-8f, -3e-8f}) {
        const auto near = play<Revision::Late>(Wave::Saw, 1.0f / 64.0f + hair, 256);
        for (std::size_t i = 0; i < exact.size(); ++i)
            EXPECT_NEAR(near[i], exact[i], 2e-3) << "sample " << i;
    }
}

TEST(ShapeTables, HaveTheHarmonicBalanceOfTheCircuit)
{
    const auto harmonic = [](const ShapeTables::Table& table, int k) {
        std::vector<float> cycles; // a few, for the window
        for (int turn = 0; turn < 4; ++turn)
            cycles.insert(cycles.end(), table.begin(), table.begin() + ShapeTables::kSteps);
        return test::amplitude(cycles, double(k) / ShapeTables::kSteps);
    };
    const ShapeTables& shapes = shapeTables();
    ShapeTables::Table shark; // what the Early one has more than the triangle
    for (std::size_t i = 0; i < shark.size(); ++i)
        shark[i] = shapes.sharkShapeEarly[i] - shapes.triangleShapeEarly[i];
    constexpr double kLate[] = {0.8189, 0.0022, 0.0871, 0.0011, 0.0301, 0.0008, 0.0148};
    constexpr double kEarly[] = {0.8150, 0.0133, 0.0868, 0.0061, 0.0301, 0.0033, 0.0148};
    for (int k = 1; k <= 7; ++k) {
        EXPECT_NEAR(harmonic(shapes.triangleShapeLate, k), kLate[k - 1], 1e-4) << k;
        EXPECT_NEAR(harmonic(shapes.triangleShapeEarly, k), kEarly[k - 1], 1e-4) << k;
        EXPECT_NEAR(harmonic(shark, k), k == 2 ? 0.025 : 0.0, 1e-7) << k;
    }
}

} // namespace
} // namespace zephra
