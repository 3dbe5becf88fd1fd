// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/DecimationStage.h"
#include "effects/OutputStage.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <vector>

namespace zephra {
namespace {

std::vector<float> sine(double cyclesPerSample, std::size_t count)
{
    std::vector<float> x(count);
    for (std::size_t i = 0; i < count; ++i)
        x[i] = static_cast<float>(std::sin(2.0 * M_PI * cyclesPerSample * double(i)));
    return x;
}

/// The window's main lobe is wide: the treble falls early and the stop band begins late.
TEST(DecimationStage, FallsFrom15kHzAndIsClosedFrom34kHz)
{
    constexpr std::size_t kFrames = 8192;
    const auto level = [](double hz) { // dB, at a host rate of 44.1 kHz in sub-blocks of 64
        const auto over = sine(hz / 352800.0, 8 * kFrames);
        std::vector<float> left(kFrames), right(kFrames);
        DecimationStage stage;
        for (std::size_t at = 0; at < kFrames; at += 64)
            stage.process(&over[8 * at], &over[8 * at], 64, &left[at], &right[at]);
        EXPECT_EQ(left, right);
        left.erase(left.begin(), left.begin() + 64);
        return test::decibels(test::amplitude(left, std::fabs(std::remainder(hz / 44100.0, 1.0))));
    };
    constexpr double kRows[][2] = {{20, 0}, {10000, 0}, {15000, -0.24}, {18000, -1.6}, {21168, -6}};
    for (const auto& [hz, db] : kRows)
        EXPECT_NEAR(level(hz), db, 0.05) << hz << " Hz";
    for (const double hz : {34000.0, 49100.0, 100000.0, 176000.0})
        EXPECT_LT(level(hz), -90.0) << hz << " Hz";
}

TEST(DecimationStage, BlockLengthDoesNotMatter)
{
    constexpr std::size_t kFrames = 500;
    const auto over = sine(0.0123, 8 * kFrames), other = sine(0.00456, 8 * kFrames);
    const auto inBlocksOf = [&](const std::vector<std::size_t>& lengths) {
        std::vector<float> left(kFrames), right(kFrames);
        DecimationStage stage;
        for (std::size_t at = 0, k = 0; at < kFrames; ++k) {
            const std::size_t n = std::min(lengths[k % lengths.size()], kFrames - at);
            stage.process(&over[8 * at], &other[8 * at], static_cast<int>(n), &left[at],
                          &right[at]);
            at += n;
        }
        left.insert(left.end(), right.begin(), right.end());
        return left;
    };
    EXPECT_EQ(inBlocksOf({64}), inBlocksOf({1, 7, 8, 9, 63, 0, 200}));
}

TEST(OutputStage, RippleRidesOnTheTrebleAtTheMainsFrequencyAndVolumeGlides)
{
    for (const double hum : {50.0, 60.0}) {
        OutputStage stage;
        stage.setSampleRate(48000.0);
        stage.jumpToVolume(1.0f);
        auto treble = sine(15000.0 / 48000.0, 48000), bass = sine(100.0 / 48000.0, 48000);
        stage.process(treble.data(), bass.data(), 48000, 1.0f, hum == 50.0);
        const double sideband = test::amplitude(treble, (15000.0 + hum) / 48000.0);
        EXPECT_NEAR(sideband, 0.5 * 0.0784 * 0.258 * 0.83, 0.002) << hum << " Hz";
        EXPECT_LT(test::amplitude(bass, (100.0 + hum) / 48000.0), 1e-4) << "not on the bass";
    }
    OutputStage stage;
    stage.jumpToVolume(0.25f);
    std::vector<float> left(4096, 1.0f), right(4096);
    stage.process(left.data(), right.data(), 4096, 1.0f, true);
    EXPECT_NEAR(left[999], 1.0 - 0.75 * std::pow(0.999, 1000), 0.01);
    EXPECT_EQ(right, std::vector<float>(4096)) << "silence stays silent";
}

} // namespace
} // namespace zephra
