// SPDX-License-Identifier: GPL-3.0-or-later
#include "EffectRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using namespace test;

TEST(PlateReverb, ImpulseResponseIsThatOfAModelInDoublePrecision)
{
    // A pin: the strongest places of an impulse response, computed by a model written apart from
    // this class, with one double per variable and plain arrays. Seed 1, 44100 Hz.
    constexpr struct {
        std::size_t frame; // after the impulse
        float left, right;
    } kRows[] = {
        {833, -90.7846f, -16.1996f},  {4445, -2.2270f, -8.0318f},  {8281, -1.8742f, -15.0096f},
        {13248, -3.6679f, -15.6438f}, {25173, -5.7052f, -5.1985f}, {53847, 2.7637f, 4.6441f},
    };
    Stereo in(60000);
    in.left[0] = 1000.0f;
    in.right[0] = -500.0f;
    Reverb reverb, other(2);
    for (Reverb* r : {&reverb, &other}) {
        r->turn({.time = 0.8f, .tone = 0.3f, .width = 0.7f, .dryWet = 0.9f});
        r->play(Stereo(22050));
    }
    const Stereo out = reverb.play(in);
    for (const auto& [frame, left, right] : kRows) {
        EXPECT_NEAR(out.left[frame], left, 1e-4 * std::fabs(left) + 5e-4) << frame;
        EXPECT_NEAR(out.right[frame], right, 1e-4 * std::fabs(right) + 5e-4) << frame;
    }
    EXPECT_FALSE(other.play(in) == out) << "the seed decides the wander";
}

TEST(PlateReverb, DecayFollowsTimeAndColor)
{
    // The named seconds are nominal: modes that linger in the all-passes ring up to 1.6 times as
    // long, and the 12 kHz low-pass in the loop shortens the longest times of the highs.
    constexpr struct {
        double fs;
        float time, color;
        double hz, seconds; ///< for 60 dB
    } kRows[] = {
        {192000, 0.125f, 0.50f, 250, 1.152}, {192000, 0.125f, 0.50f, 2500, 1.152},
        {44100, 0.750f, 0.50f, 250, 5.7},    {44100, 0.750f, 0.50f, 2500, 5.7},
        {48000, 0.500f, 0.25f, 250, 5.2},    {48000, 0.500f, 0.25f, 2500, 2.6},
        {48000, 0.500f, 0.75f, 250, 1.3},    {48000, 0.500f, 0.75f, 2500, 2.6},
    };
    for (const auto& row : kRows) {
        const int burst = static_cast<int>(20.0 * row.fs / row.hz);
        const int tenDecibels = static_cast<int>(row.seconds / 6.0 * row.fs);
        const Stereo out =
            played<Reverb>({.fs = row.fs, .time = row.time, .tone = row.color},
                           toneBurst(burst + 4 * tenDecibels, burst, row.hz, row.fs));
        const double fall = 20.0 * std::log10(rms(out.left, burst, tenDecibels) /
                                              rms(out.left, burst + 2 * tenDecibels, tenDecibels));
        EXPECT_TRUE(fall > 20.0 / 1.75 && fall < 20.0 / 0.85)
            << row.time << ", " << row.color << " at " << row.hz << " Hz: " << fall << " dB";
    }
}

TEST(PlateReverb, InfiniteTimeNeitherGrowsNorDies)
{
    constexpr int kSecond = 48000;
    Reverb reverb;
    reverb.prepare({.time = 1.0f});
    reverb.play(toneBurst(20 * kSecond, kSecond, 100.0, 48000.0));
    const auto level = [&] {
        const Stereo out = reverb.play(Stereo(10 * kSecond));
        return rms(out.left, 0, out.frames()) + rms(out.right, 0, out.frames());
    };
    const double early = level();
    EXPECT_GT(early, 0.01);
    reverb.play(Stereo(60 * kSecond));
    EXPECT_NEAR(level() / early, 1.0, 0.1); // within a decibel in more than a minute

    reverb.effect.setTime(0.6f);
    reverb.play(Stereo(10 * kSecond));
    EXPECT_LT(level(), 1e-3 * early) << "just below, it ends";
}

} // namespace
} // namespace zephra
