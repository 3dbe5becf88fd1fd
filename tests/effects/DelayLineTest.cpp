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
        {192000, 60, 7, 192000},    // a beat
        {48000, 300, 14, 1600},     // 33.3 ms
        {48000, 1e9, 0, 960},       // held at 20 ms
        {48000, 40, 0, 131071},     // cut at the ring
        {50001, 1e-300, 3, 262143}, // cut at the ring
        {384000, 30, 0, 524287},    // cut at the ring
        {48000, 0, 7, 24000},       // no tempo: 120
        {48000, -90, 7, 24000},      {48000, NAN, 7, 24000},
        {48000, INFINITY, 7, 24000}, {48000, 120, -5, 131071}, // index clipped to 0, length cut
        {48000, 120, 99, 4000},                                // index clipped to 14
    };
    for (const auto& row : kRows) {
        Delay delay;
        prepare(delay, {.fs = row.fs});
        delay.effect.setTime(row.index);
        const Stereo out = delay.play(impulse(row.samples + 900, 1.0f, 1.0f), 64, 1.0f, row.bpm);
        EXPECT_EQ(loudestEcho(out.left), row.samples)
            << "index " << row.index << " at " << row.bpm << " and " << row.fs;
        EXPECT_EQ(loudestEcho(out.right), row.samples / 2)
            << "index " << row.index << " at " << row.bpm << " and " << row.fs;
    }
}

TEST(DelayLine, RepeatsFallByTheFeedback)
{
    constexpr int D = 48000, kBurst = 12000;
    for (const float control : {0.0f, 0.5f, 1.0f}) {
        const double share = 0.95 * control + 0.0001;
        const Stereo in = toneBurst(4 * D, kBurst, 500.0, 48000.0);
        const Stereo out = played<Delay>({.time = 4 / 14.0f, .tone = control}, in);
        double left = rms(in.left, 0, kBurst), right = rms(out.right, D / 2, kBurst);
        EXPECT_NEAR(right / left, 0.9991, 0.001) << "the right half echo is whole";
        for (int n = 1; n < 4 && left > 1e-3; ++n) {
            const double nextLeft = rms(out.left, n * D, kBurst);
            EXPECT_NEAR(nextLeft / left, share, 0.005) << "left " << n;
            left = nextLeft;
        }
        EXPECT_NEAR(rms(out.right, D / 2 + D, kBurst) / right, share * share, 0.005);
    }
}

TEST(DelayLine, EachRepeatPassesTenHertzToFourKilohertz)
{
    constexpr int D = 96000, kBurst = 80000;
    constexpr double kFull = 0.9501, kHalfPower = 0.9501 * 0.70711;
    constexpr struct {
        double hz, first, second; // expected gain of the first echo, and of the next against it
    } kRows[] = {{10, kHalfPower, kHalfPower},
                 {500, kFull, kFull},
                 {4000, kFull, kHalfPower},
                 {8000, kFull, 0.2003}}; // a bilinear Butterworth low-pass
    for (const auto& row : kRows) {
        const Stereo in = toneBurst(3 * D, kBurst, row.hz, 48000.0);
        const Stereo out = played<Delay>({.time = 1 / 14.0f, .tone = 1.0f}, in);
        const double first = rms(out.left, D, kBurst);
        EXPECT_NEAR(first / rms(in.left, 0, kBurst), row.first, 0.01) << row.hz << " Hz";
        EXPECT_NEAR(rms(out.left, 2 * D, kBurst) / first, row.second, 0.01) << row.hz << " Hz";
    }
}

} // namespace
} // namespace zephra
