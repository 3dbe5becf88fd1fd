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

/// Seconds for 60 dB of a burst of `hz`, by the slope of its backward integral from -5 to -25 dB.
double decaySeconds(const Setting& s, double hz, double longest)
{
    const int burst = static_cast<int>(20.0 * s.fs / hz);
    const int frames = burst + static_cast<int>(longest * s.fs);
    const Stereo out = played<Reverb>(s, toneBurst(frames, burst, hz, s.fs));
    const double all = energy(out.left, burst, frames - burst);
    const auto frameBelow = [&](double db) {
        int frame = burst;
        for (double left = all; frame < frames && left > all * std::pow(10.0, db / 10.0); ++frame)
            left -= energy(out.left, frame, 1);
        return frame;
    };
    return 3.0 * (frameBelow(-25.0) - frameBelow(-5.0)) / s.fs;
}

TEST(PlateReverb, DecayFollowsTimeAndColor)
{
    // The named seconds are nominal: modes that linger in the all-passes ring up to 1.6 times as
    // long, and the 12 kHz low-pass in the loop shortens the longest times of the highs.
    constexpr struct {
        double fs;
        float time, color;
        double low, high; // [s]
    } kRows[] = {
        {192000, 0.125f, 0.50f, 1.152, 1.152},
        {44100, 0.750f, 0.50f, 5.7, 5.7},
        {48000, 0.500f, 0.25f, 5.2, 2.6},
        {48000, 0.500f, 0.75f, 1.3, 2.6},
    };
    for (const auto& row : kRows) {
        const Setting s{.fs = row.fs, .time = row.time, .tone = row.color};
        for (const auto& [hz, seconds] : {std::pair(250.0, row.low), {2500.0, row.high}}) {
            const double ratio = decaySeconds(s, hz, 2.0 * std::max(row.low, row.high)) / seconds;
            EXPECT_TRUE(ratio > 0.85 && ratio < 1.75)
                << row.time << ", " << row.color << " at " << hz << " Hz: " << ratio;
        }
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
