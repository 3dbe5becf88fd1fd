// SPDX-License-Identifier: GPL-3.0-or-later
#include "EffectRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using namespace test;

/// Frame of the largest magnitude after the first one.
int loudestEcho(const std::vector<float>& x)
{
    const auto louder = [](float a, float b) { return std::fabs(a) < std::fabs(b); };
    return static_cast<int>(std::max_element(x.begin() + 1, x.end(), louder) - x.begin());
}

TEST(DelayLine, EchoesComeAtTheNoteLengthAndRightOnesAtItsHalf)
{
    constexpr struct {
        double fs, bpm;
        int index, samples;
    } kRows[] = {
        {44100, 97, 2, 72742},      // 8/3 beats
        {44100, 173.3, 3, 45804},   // 3 beats
        {48000, 120, 5, 32000},     // a triplet that comes out whole stays whole
        {48000, 300, 14, 1600},     // 33.3 ms
        {48000, 1e9, 0, 960},       // held at 20 ms
        {48000, 120, -5, 131071},   // index clipped to 0, cut at the ring
        {50001, 1e-300, 3, 262143}, // cut at the ring
        {384000, 30, 0, 524287},    // cut at the ring
        {48000, NAN, 7, 24000},     // no tempo: 120
        {48000, -90, 7, 24000},     {48000, INFINITY, 7, 24000},
        {48000, 120, 99, 4000}, // index clipped to 14
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.index << " at " << row.bpm << " and " << row.fs);
        Delay delay;
        delay.prepare({.fs = row.fs});
        delay.effect.setTime(row.index);
        const Stereo out = delay.play(impulse(row.samples + 900), 1.0f, row.bpm);
        EXPECT_EQ(loudestEcho(out.left), row.samples);
        EXPECT_EQ(loudestEcho(out.right), row.samples / 2);
    }
}

TEST(DelayLine, RepeatsFallByTheFeedbackAndPassTenHertzToFourKilohertz)
{
    constexpr int D = 96000, kBurst = 80000;
    constexpr double kHalf = 0.9501 * 0.70711; // half the power, at full feedback
    constexpr struct {
        float feedback;
        double hz, first, second; ///< expected gain of the first echo, and of the next against it
    } kRows[] = {
        {0.0f, 500, 0.0001, 0.0001},
        {0.5f, 500, 0.4751, 0.4751},
        {1.0f, 500, 0.9501, 0.9501},
        {1.0f, 10, kHalf, kHalf},
        {1.0f, 4000, 0.9501, kHalf},
        {1.0f, 8000, 0.9501, 0.2003}, // a bilinear Butterworth low-pass
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.hz << " Hz by " << row.feedback);
        const Stereo in = toneBurst(3 * D, kBurst, row.hz, 48000.0);
        const Stereo out = played<Delay>({.time = 1 / 14.0f, .tone = row.feedback}, in);
        const double whole = rms(in.left, 0, kBurst);
        EXPECT_NEAR(rms(out.left, D, kBurst) / whole, row.first, 0.01);
        EXPECT_NEAR(rms(out.left, 2 * D, kBurst) / whole, row.first * row.second, 0.01);
        if (row.hz == 500) { // the right half echo is whole, the next one passes the loop twice
            EXPECT_NEAR(rms(out.right, D / 2, kBurst) / whole, 0.9991, 0.001);
            EXPECT_NEAR(rms(out.right, D / 2 + D, kBurst) / whole, row.first * row.first, 0.01);
        }
    }
}

} // namespace
} // namespace zephra
