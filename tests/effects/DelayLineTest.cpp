// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/DelayLine.h"

#include "EffectSignals.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace zephra {
namespace {

using namespace test;

struct Setting {
    double fs = 48000.0;
    int time = 4; // a half note
    float feedback = 0.5f, dryWet = 1.0f, width = 1.0f;
    double bpm = 120.0;
    float fade = 1.0f;
};

Stereo echo(DelayLine& delay, const Setting& s, Stereo in, int block = 64)
{
    return inBlocks(std::move(in), block, [&](float* left, float* right, int frames) {
        delay.process(left, right, frames, s.bpm, s.fade);
    });
}

/// With its controls set and its smoothers arrived.
void prepare(DelayLine& delay, const Setting& s)
{
    delay.setSampleRate(s.fs);
    delay.setTime(s.time);
    delay.setFeedback(s.feedback);
    delay.setDryWet(s.dryWet);
    delay.setWidth(s.width);
    echo(delay, s, Stereo(4096));
}

Stereo echo(const Setting& s, Stereo in)
{
    DelayLine delay;
    prepare(delay, s);
    return echo(delay, s, std::move(in));
}

/// Length of a note in samples by whole numbers: beats are quarters, as a fraction.
int noteSamples(int index, int fs, int tenthsOfBpm)
{
    constexpr int kNumerator[] = {6, 4, 8}, kDenominator[] = {1, 1, 3}; // dotted, plain, triplet
    const std::int64_t beats = kNumerator[index % 3];
    return static_cast<int>(600 * beats * fs /
                            (std::int64_t{tenthsOfBpm} * kDenominator[index % 3] << (index / 3)));
}

TEST(DelayLine, EchoesComeAtTheNoteLengthAndRightOnesAtItsHalf)
{
    for (const int fs : {44100, 48000, 87380, 192000})
        for (const int tenthsOfBpm : {600, 970, 1200, 1733, 3000})
            for (int index = 0; index < DelayLine::kNoteLengths; ++index) {
                const int longest = fs <= 50000 ? 131071 : fs <= 150000 ? 262143 : 524287;
                const int D = std::min(noteSamples(index, fs, tenthsOfBpm), longest);
                const Setting s{.fs = double(fs), .time = index, .bpm = tenthsOfBpm / 10.0};
                const Stereo out = echo(s, impulse(D + fs / 50, 1.0f, 1.0f));
                EXPECT_EQ(loudestEcho(out.left), D)
                    << "index " << index << " at " << s.bpm << " and " << fs;
                EXPECT_EQ(loudestEcho(out.right), D / 2)
                    << "index " << index << " at " << s.bpm << " and " << fs;
            }
}

TEST(DelayLine, LengthsAreHeldBetweenTwentyMillisecondsAndTheRing)
{
    const struct {
        double fs, bpm;
        int index, samples;
    } kRows[] = {
        {48000, 120, 5, 32000}, // a triplet that comes out whole stays whole
        {48000, 300, 14, 1600}, // 33.3 ms
        {48000, 600, 14, 960},  // held
        {48000, 1e9, 0, 960},   // held
        {48000, 40, 0, 131071}, // cut
        {50001, 1e-300, 3, 262143},  {150001, 1, 0, 524287},
        {384000, 30, 0, 524287},     {48000, 0, 7, 24000}, // no tempo: 120
        {48000, -90, 7, 24000},      {48000, NAN, 7, 24000},
        {48000, INFINITY, 7, 24000}, {48000, 120, -5, 131071}, // index clipped to 0, length cut
        {48000, 120, 99, 4000},                                // index clipped to 14
    };
    for (const auto& row : kRows) {
        const Setting s{.fs = row.fs, .time = row.index, .bpm = row.bpm};
        const Stereo out = echo(s, impulse(row.samples + 100, 1.0f, 0.0f));
        EXPECT_EQ(loudestEcho(out.left), row.samples)
            << "index " << row.index << " at " << row.bpm << " and " << row.fs;
    }
}

TEST(DelayLine, RepeatsFallByTheFeedback)
{
    constexpr int D = 48000, kBurst = 12000;
    for (const float control : {0.25f, 0.5f, 1.0f}) {
        const double share = 0.95 * control + 0.0001;
        const Stereo in = toneBurst(5 * D, kBurst, 500.0, 48000.0);
        const Stereo out = echo({.feedback = control}, in);
        const double direct = rms(in.left, 0, kBurst);
        const auto levelL = [&](int n) { return rms(out.left, n * D, kBurst); };
        const auto levelR = [&](int n) { return rms(out.right, D / 2 + n * D, kBurst); };
        EXPECT_NEAR(levelL(1) / direct, share, 0.005 * share);
        EXPECT_NEAR(levelR(0) / direct, 0.9991, 0.001);
        EXPECT_NEAR(levelR(1) / levelR(0), share * share, 0.005 * share);
        for (int n = 2; n < 4; ++n) {
            EXPECT_NEAR(levelL(n) / levelL(n - 1), share, 0.005) << "left " << n;
            EXPECT_NEAR(levelR(n) / levelR(n - 1), share, 0.005) << "right " << n;
        }
    }
}

TEST(DelayLine, WithoutFeedbackOnlyTheHalfDelayedRightChannelIsHeard)
{
    const Stereo out = echo({.feedback = 0.0f}, impulse(100000, 1.0f, 1.0f));
    EXPECT_LT(std::fabs(out.left[48000]), 2e-3f);
    EXPECT_GT(out.right[24000], 0.99f);
}

TEST(DelayLine, EachRepeatPassesTenHertzToFourKilohertz)
{
    constexpr int D = 96000, kBurst = 80000;
    // Bilinear Butterworth low-pass: frequencies far above the corner are pulled down by tan().
    const auto lowPass = [](double hz) {
        const double ratio = std::tan(3.14159265 * hz / 48000) / std::tan(3.14159265 / 12);
        return 1.0 / std::sqrt(1.0 + std::pow(ratio, 4));
    };
    const double full = 0.9501;
    const struct {
        double hz, first, second; // expected gain of the first echo, and of the next against it
    } kRows[] = {
        {10, full * std::sqrt(0.5), full * std::sqrt(0.5)},
        {500, full, full},
        {4000, full, full * std::sqrt(0.5)},
        {8000, full, full * lowPass(8000)},
    };
    for (const auto& row : kRows) {
        const Stereo in = toneBurst(3 * D, kBurst, row.hz, 48000.0);
        const Stereo out = echo({.time = 1, .feedback = 1.0f}, in);
        const double first = rms(out.left, D, kBurst);
        EXPECT_NEAR(first / rms(in.left, 0, kBurst), row.first, 0.01) << row.hz << " Hz";
        EXPECT_NEAR(rms(out.left, 2 * D, kBurst) / first, row.second, 0.01) << row.hz << " Hz";
    }
}

TEST(DelayLine, WidthGoesFromMonoToSeparateChannels)
{
    double before = 1.1;
    EXPECT_GT(correlation(echo({.time = 7, .width = 0.0f}, noise(48000, 12000)), 24000), 0.99999);
    for (const float width : {0.0f, 0.25f, 0.5f, 0.75f, 1.0f}) {
        const Stereo out = echo({.time = 7, .width = width}, noise(48000, 12000));
        const double now = correlation(out, 24000);
        EXPECT_LT(now, before - 0.05) << "at " << width;
        before = now;
    }
    EXPECT_NEAR(before, 0.0, 0.05);
}

TEST(DelayLine, WetShareFollowsControlAndFade)
{
    const struct {
        float control, fade;
        double wet;
    } kRows[] = {
        {0.0f, 1.0f, 0.0001}, {0.25f, 1.0f, 0.24985}, {1.0f, 1.0f, 0.9991}, {1.0f, 0.0f, 0.0001},
        {9.0f, 1.0f, 0.9991}, {-9.0f, 1.0f, 0.0001},  {NAN, 1.0f, 0.0001},
    };
    for (const auto& row : kRows) {
        const Stereo out = echo({.dryWet = row.control, .fade = row.fade}, impulse(1, 1.0f, 1.0f));
        EXPECT_NEAR(1.0 - out.left[0], row.wet, 2e-5) << row.control << " by " << row.fade;
    }
}

TEST(DelayLine, StartsHalfWetAndMovesFromThere)
{
    DelayLine delay;
    delay.setDryWet(1.0f);
    float left = 1.0f, right = 0.0f;
    delay.process(&left, &right, 1, 120.0, 1.0f);
    EXPECT_NEAR(left, 0.495009f, 1e-6f) << "dry share after one step from 0.5 toward fully wet";
}

TEST(DelayLine, BlockLengthDoesNotMatter)
{
    // So loud that the cleaning of small states at block ends is lost in the rounding.
    const Stereo in = noise(20000, 12000, 1e6f);
    const auto render = [&](int block) {
        DelayLine delay;
        delay.setTime(10);
        delay.setFeedback(1.0f);
        delay.setDryWet(0.7f);
        delay.setWidth(0.7f);
        return echo(delay, {}, in, block);
    };
    const Stereo whole = render(in.frames());
    for (const int block : {1, 63, 64})
        EXPECT_TRUE(render(block) == whole) << block;
}

TEST(DelayLine, ResetAndNewRateLeaveNoTail)
{
    const Setting s{.feedback = 1.0f};
    DelayLine delay;
    prepare(delay, s);
    const auto tail = [&] { return peak(echo(delay, s, Stereo(100000))); };

    echo(delay, s, noise(48000, 48000));
    delay.setSampleRate(48000.4); // the same rate in whole Hertz
    EXPECT_GT(tail(), 0.1f);
    delay.reset();
    EXPECT_EQ(tail(), 0.0f);
    EXPECT_NEAR(echo(delay, s, impulse(1, 1.0f, 1.0f)).left[0], 0.0009, 2e-5) << "controls stay";

    echo(delay, s, noise(48000, 48000));
    delay.setSampleRate(96000.0);
    EXPECT_EQ(tail(), 0.0f);
}

TEST(DelayLine, StaysFiniteAndBoundedWhateverIsTurned)
{
    for (const double fs :
         {44100.0, 50000.0, 50001.0, 87380.0, 87382.0, 150001.0, 174763.0, 315700.0, 384000.0}) {
        DelayLine delay;
        delay.setSampleRate(fs);
        Random15 random;
        float worst = 0.0f;
        for (int turn = 0; turn < 60; ++turn) {
            const auto control = [&] { return static_cast<float>(random.next() % 5 - 1) / 2.0f; };
            delay.setTime(random.next() % 19 - 2);
            delay.setFeedback(turn < 30 ? 1.0f : control());
            delay.setDryWet(control());
            delay.setWidth(control());
            Stereo square(5000);
            for (std::size_t i = 0; i < 5000; ++i)
                square.left[i] = square.right[i] = i / 100 % 2 == 0 ? 1.0f : -1.0f;
            constexpr double kTempi[] = {1e-300, 20.0, 120.0, 1e9};
            const Setting s{.bpm = kTempi[random.next() % 4]};
            worst = std::max(worst, peak(echo(delay, s, std::move(square))));
        }
        EXPECT_LT(worst, 25.0f) << "at " << fs; // the sum of all repeats at full feedback is 20
    }
}

} // namespace
} // namespace zephra
