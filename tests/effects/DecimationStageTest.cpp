// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/DecimationStage.h"
#include "effects/OutputStage.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace zephra {
namespace {

constexpr int kFrames = 8192;

/// Decimates a sine of a frequency in voice-rate cycles per sample, in sub-blocks of 64.
std::vector<float> decimated(double f)
{
    std::vector<float> over(8 * kFrames), left(kFrames), right(kFrames);
    for (std::size_t i = 0; i < over.size(); ++i)
        over[i] = static_cast<float>(std::sin(2.0 * M_PI * f * static_cast<double>(i)));
    DecimationStage stage;
    for (int at = 0; at < kFrames; at += 64)
        stage.process(&over[static_cast<std::size_t>(8 * at)],
                      &over[static_cast<std::size_t>(8 * at)], 64,
                      &left[static_cast<std::size_t>(at)], &right[static_cast<std::size_t>(at)]);
    EXPECT_EQ(left, right);
    return {left.begin() + 64, left.end()};
}

/// The window's main lobe is wide: the treble falls early and the stop band begins late.
TEST(DecimationStage, FallsFrom15kHzAndIsClosedFrom34kHz)
{
    constexpr double kHz = 1.0 / 352800.0; // at a host rate of 44.1 kHz
    constexpr double kRows[][2] = {{20, 0},        {1000, 0},     {10000, 0},
                                   {15000, -0.24}, {18000, -1.6}, {21168, -6}};
    for (const auto& [hz, db] : kRows)
        EXPECT_NEAR(test::decibels(test::amplitude(decimated(hz * kHz), 8.0 * hz * kHz)), db, 0.05)
            << hz << " Hz";
    for (const double hz : {34000.0, 44100.0 + 5000.0, 100000.0, 176000.0}) {
        const double folded = std::fabs(std::remainder(8.0 * hz * kHz, 1.0));
        EXPECT_LT(test::decibels(test::amplitude(decimated(hz * kHz), folded)), -90.0)
            << hz << " Hz";
    }
}

TEST(DecimationStage, ImpulseAtAnyOfTheEightPhasesMeetsItsTaps)
{
    for (int phase = 0; phase < 8; ++phase) {
        std::vector<float> over(8 * 64), zero(8 * 64), left(64), right(64);
        over[static_cast<std::size_t>(phase)] = 1.0f;
        DecimationStage stage;
        stage.process(over.data(), zero.data(), 64, left.data(), right.data());
        for (int m = 0; m < 64; ++m) {
            const int n = 8 * m - phase;
            const double tap = n >= 0 && n < DecimationStage::kTaps ? DecimationStage::tap(n) : 0.0;
            EXPECT_NEAR(left[static_cast<std::size_t>(m)], tap, 1e-8) << "output " << m;
            EXPECT_EQ(right[static_cast<std::size_t>(m)], 0.0f);
        }
    }
}

TEST(OutputStage, RippleRidesOnTheTrebleAtTheMainsFrequency)
{
    for (const bool mains50Hz : {true, false}) {
        OutputStage stage;
        stage.setSampleRate(48000.0);
        stage.jumpToVolume(1.0f);
        std::vector<float> left(48000), right(48000);
        for (std::size_t i = 0; i < left.size(); ++i) {
            left[i] = static_cast<float>(std::sin(2.0 * M_PI * 15000.0 / 48000.0 * double(i)));
            right[i] = static_cast<float>(std::sin(2.0 * M_PI * 100.0 / 48000.0 * double(i)));
        }
        stage.process(left.data(), right.data(), 48000, 1.0f, mains50Hz);
        const double hum = mains50Hz ? 50.0 : 60.0;
        const double sideband = test::amplitude(left, (15000.0 + hum) / 48000.0);
        EXPECT_NEAR(sideband, 0.5 * 0.0784 * 0.258 * 0.83, 0.002) << hum << " Hz";
        EXPECT_LT(test::amplitude(right, (100.0 + hum) / 48000.0), 1e-4) << "not on the bass";
        EXPECT_NEAR(test::amplitude(right, 100.0 / 48000.0), 1.0, 1e-3);
    }
}

TEST(OutputStage, SilenceStaysSilentAndVolumeGlides)
{
    OutputStage stage;
    stage.setSampleRate(44100.0);
    std::vector<float> left(4096), right(4096);
    stage.process(left.data(), right.data(), 4096, 1.0f, true);
    EXPECT_EQ(left, std::vector<float>(4096));

    stage.jumpToVolume(0.25f);
    left.assign(4096, 1.0f);
    stage.process(left.data(), right.data(), 4096, 1.0f, true);
    EXPECT_NEAR(left[999], 1.0 - 0.75 * std::pow(0.999, 1000), 0.01);
}

} // namespace
} // namespace zephra
