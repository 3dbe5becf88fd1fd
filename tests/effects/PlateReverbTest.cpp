// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/PlateReverb.h"

#include "EffectSignals.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using namespace test;

struct Setting {
    double fs = 48000.0;
    float time = 0.5f, color = 0.5f, width = 1.0f, dryWet = 1.0f;
};

Stereo reverberate(PlateReverb& reverb, Stereo in, int block = 64, float fade = 1.0f)
{
    return inBlocks(std::move(in), block, [&](float* left, float* right, int frames) {
        reverb.process(left, right, frames, fade);
    });
}

void turn(PlateReverb& reverb, const Setting& s)
{
    reverb.setTime(s.time);
    reverb.setColor(s.color);
    reverb.setWidth(s.width);
    reverb.setDryWet(s.dryWet);
}

/// With its controls set and its smoothers arrived.
void prepare(PlateReverb& reverb, const Setting& s)
{
    reverb.setSampleRate(s.fs);
    turn(reverb, s);
    reverberate(reverb, Stereo(static_cast<int>(s.fs)));
}

Stereo reverberate(const Setting& s, Stereo in)
{
    PlateReverb reverb(1);
    prepare(reverb, s);
    return reverberate(reverb, std::move(in));
}

/// Seconds for 60 dB of a burst of `hz`, by the slope of its backward integral from -5 to -25 dB.
double decaySeconds(const Setting& s, double hz, double longest)
{
    const int burst = static_cast<int>(20.0 * s.fs / hz);
    const int frames = burst + static_cast<int>(longest * s.fs);
    const Stereo out = reverberate(s, toneBurst(frames, burst, hz, s.fs));
    const double all = energy(out.left, burst, frames - burst);
    const auto frameBelow = [&](double db) {
        int frame = burst;
        for (double left = all; frame < frames && left > all * std::pow(10.0, db / 10.0); ++frame)
            left -= energy(out.left, frame, 1);
        return frame;
    };
    return 3.0 * (frameBelow(-25.0) - frameBelow(-5.0)) / s.fs;
}

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
    PlateReverb reverb(1);
    turn(reverb, {.time = 0.8f, .color = 0.3f, .width = 0.7f, .dryWet = 0.9f});
    reverberate(reverb, Stereo(kSettled));
    const Stereo out = reverberate(reverb, impulse(60000, 1000.0f, -500.0f));
    for (const auto& row : kRows) {
        const auto k = static_cast<std::size_t>(row.frame);
        EXPECT_NEAR(out.left[k], row.left, 1e-4 * std::fabs(row.left) + 5e-4) << row.frame;
        EXPECT_NEAR(out.right[k], row.right, 1e-4 * std::fabs(row.right) + 5e-4) << row.frame;
    }
}

TEST(PlateReverb, NothingAboveEightKilohertzEnters)
{
    const auto tail = [](double hz) {
        const Stereo out = reverberate({}, toneBurst(48000, 4800, hz, 48000.0));
        return rms(out.left, 4800, 40000);
    };
    const double reference = tail(4000);
    EXPECT_GT(tail(7000), 0.3 * reference);
    EXPECT_LT(tail(11000), 3e-3 * reference);
    EXPECT_LT(tail(15000), 1e-4 * reference);
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
        {96000, 0.125f, 0.50f, 1.152, 1.152}, {192000, 0.500f, 0.50f, 2.6, 2.6},
        {44100, 0.750f, 0.50f, 5.7, 5.7},     {48000, 0.500f, 0.25f, 5.2, 2.6},
        {48000, 0.500f, 0.75f, 1.3, 2.6},
    };
    for (const auto& row : kRows) {
        const Setting s{.fs = row.fs, .time = row.time, .color = row.color};
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
    PlateReverb reverb(1);
    prepare(reverb, {.time = 1.0f});
    // A pass takes about a quarter of a second, and each adds the input once at most.
    EXPECT_LT(peak(reverberate(reverb, square(10 * kSecond, 480))), 40.0f);
    reverb.reset();
    reverberate(reverb, toneBurst(20 * kSecond, kSecond, 100.0, 48000.0));
    const auto level = [&] {
        const Stereo out = reverberate(reverb, Stereo(10 * kSecond));
        return rms(out.left, 0, out.frames()) + rms(out.right, 0, out.frames());
    };
    const double early = level();
    EXPECT_GT(early, 0.01);
    reverberate(reverb, Stereo(60 * kSecond));
    EXPECT_NEAR(level() / early, 1.0, 0.1); // within a decibel in more than a minute

    // Just below, it ends.
    reverb.setTime(0.6f);
    reverberate(reverb, Stereo(10 * kSecond));
    EXPECT_LT(level(), 1e-3 * early);
}

TEST(PlateReverb, WidthGoesFromMonoToSeparateChannels)
{
    const auto together = [](float width) {
        return correlation(reverberate({.width = width}, noise(96000, 24000)), 26000);
    };
    EXPECT_GT(together(0.0f), 0.9999);
    EXPECT_LT(together(0.5f), 0.9);
    EXPECT_NEAR(together(1.0f), 0.0, 0.1);
}

TEST(PlateReverb, WetShareFollowsControlAndFade)
{
    const struct {
        float control, fade;
        double wet;
    } kRows[] = {
        {0.5f, 1.0f, 0.2476}, {1.0f, 1.0f, 0.9901},  {1.0f, 0.0f, 0.0},
        {9.0f, 1.0f, 0.9901}, {-9.0f, 1.0f, 0.0001}, {NAN, 1.0f, 0.0001},
    };
    for (const auto& row : kRows) {
        PlateReverb reverb(1);
        turn(reverb, {.dryWet = row.control});
        reverberate(reverb, Stereo(44100), 64, row.fade);
        const Stereo out = reverberate(reverb, impulse(1, 1.0f, 1.0f), 64, row.fade);
        EXPECT_NEAR(1.0 - out.left[0], row.wet, 1e-4) << row.control << " by " << row.fade;
    }
}

TEST(PlateReverb, SeedAloneDecidesTheWanderAndBlockLengthDoesNotMatter)
{
    // So loud that the cleaning of small states at block ends is lost in the rounding.
    const Stereo in = noise(30000, 20000, 1e6f);
    const auto render = [&](std::uint32_t seed, int block) {
        PlateReverb reverb(seed);
        turn(reverb, {.time = 0.7f, .color = 0.3f, .width = 0.7f, .dryWet = 0.8f});
        return reverberate(reverb, in, block);
    };
    const Stereo whole = render(engineSeed(0, 8), in.frames());
    for (const int block : {1, 63, 64})
        EXPECT_TRUE(render(engineSeed(0, 8), block) == whole) << block;
    EXPECT_FALSE(render(engineSeed(1, 8), in.frames()) == whole);
}

TEST(PlateReverb, ResetAndNewRateLeaveNoTail)
{
    PlateReverb reverb(1);
    prepare(reverb, {.time = 1.0f});
    const auto tail = [&](auto act) {
        reverberate(reverb, noise(48000, 48000));
        act();
        return peak(reverberate(reverb, Stereo(48000)));
    };
    EXPECT_GT(tail([&] { reverb.setSampleRate(48000.4); }), 0.1f) << "the same in whole Hertz";
    EXPECT_EQ(tail([&] { reverb.reset(); }), 0.0f);
    EXPECT_NEAR(reverberate(reverb, impulse(1, 1.0f, 1.0f)).left[0], 0.0099, 1e-4)
        << "controls stay";
    EXPECT_EQ(tail([&] { reverb.setSampleRate(96000.0); }), 0.0f);
}

TEST(PlateReverb, StaysFiniteAndBoundedWhateverIsTurned)
{
    for (const double fs : {44100.0, 50001.0, 150001.0, 262150.0, 384000.0}) {
        PlateReverb reverb(1);
        reverb.setSampleRate(fs);
        Random15 random;
        for (int step = 0; step < 50; ++step) {
            turn(reverb, {.time = anyControl(random),
                          .color = anyControl(random),
                          .width = anyControl(random),
                          .dryWet = anyControl(random)});
            ASSERT_LT(peak(reverberate(reverb, square(5000, 100))), 20.0f) << "at " << fs;
        }
    }
}

} // namespace
} // namespace zephra
