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
    constexpr int kSettled = 22050;
    constexpr struct {
        int frame; // after the impulse
        float left, right;
    } kRows[] = {
        {833, -90.7846f, -16.1996f},  {4445, -2.2270f, -8.0318f},  {8281, -1.8742f, -15.0096f},
        {13248, -3.6679f, -15.6438f}, {25173, -5.7052f, -5.1985f}, {53847, 2.7637f, 4.6441f},
    };
    const Stereo in = impulse(60000, 1000.0f, -500.0f);
    Reverb reverb, other{PlateReverb(2)};
    for (Reverb* r : {&reverb, &other}) {
        r->turn({.time = 0.8f, .tone = 0.3f, .width = 0.7f, .dryWet = 0.9f});
        r->play(Stereo(kSettled));
    }
    const Stereo out = reverb.play(in);
    for (const auto& row : kRows) {
        const auto k = static_cast<std::size_t>(row.frame);
        EXPECT_NEAR(out.left[k], row.left, 1e-4 * std::fabs(row.left) + 5e-4) << row.frame;
        EXPECT_NEAR(out.right[k], row.right, 1e-4 * std::fabs(row.right) + 5e-4) << row.frame;
    }
    EXPECT_FALSE(other.play(in) == out) << "the seed decides the wander";
}

TEST(PlateReverb, RestsAsIfItHadRun)
{
    Reverb ran, rested;
    for (Reverb* r : {&ran, &rested}) {
        r->turn({.dryWet = 0.5f});
        EXPECT_FALSE(r->effect.hasArrived(1.0f));
        r->play(noise(48000, 4800));
        for (int tries = 0; peak(r->play(Stereo(48000))) > 0.0f; ++tries)
            ASSERT_LT(tries, 50);
        EXPECT_TRUE(r->effect.hasArrived(1.0f));
    }
    ran.play(Stereo(200001)); // the wander turns a few times
    rested.effect.rest(1);
    rested.effect.rest(200000);
    EXPECT_TRUE(ran.play(noise(30000, 4800)) == rested.play(noise(30000, 4800)));
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
        const double longest = 2.0 * std::max(row.low, row.high);
        const double low = decaySeconds(s, 250.0, longest) / row.low;
        const double high = decaySeconds(s, 2500.0, longest) / row.high;
        EXPECT_TRUE(low > 0.85 && low < 1.75) << row.time << ", " << row.color << ": " << low;
        EXPECT_TRUE(high > 0.85 && high < 1.5) << row.time << ", " << row.color << ": " << high;
    }
}

TEST(PlateReverb, InfiniteTimeNeitherGrowsNorDies)
{
    constexpr int kSecond = 48000;
    Reverb reverb;
    prepare(reverb, {.time = 1.0f});
    // A pass takes about a quarter of a second, and each adds the input once at most.
    EXPECT_LT(peak(reverb.play(square(10 * kSecond, 480))), 40.0f);
    reverb.effect.reset();
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
