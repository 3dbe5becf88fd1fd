// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/DelayLine.h"

#include "EffectSignals.h"

#include <gtest/gtest.h>

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

void turn(DelayLine& delay, const Setting& s)
{
    delay.setTime(s.time);
    delay.setFeedback(s.feedback);
    delay.setDryWet(s.dryWet);
    delay.setWidth(s.width);
}

/// With its controls set and its smoothers arrived.
void prepare(DelayLine& delay, const Setting& s)
{
    delay.setSampleRate(s.fs);
    turn(delay, s);
    echo(delay, s, Stereo(4096));
}

Stereo echo(const Setting& s, Stereo in)
{
    DelayLine delay;
    prepare(delay, s);
    return echo(delay, s, std::move(in));
}

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
        {87380, 300, 8, 11650},     // 2/3 of a beat
        {192000, 60, 7, 192000},    // a beat
        {48000, 300, 14, 1600},     // 33.3 ms
        {48000, 600, 14, 960},      // held at 20 ms
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
        const Setting s{.fs = row.fs, .time = row.index, .bpm = row.bpm};
        const Stereo out = echo(s, impulse(row.samples + 900, 1.0f, 1.0f));
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
        const Stereo out = echo({.feedback = control}, in);
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
        const Stereo out = echo({.time = 1, .feedback = 1.0f}, in);
        const double first = rms(out.left, D, kBurst);
        EXPECT_NEAR(first / rms(in.left, 0, kBurst), row.first, 0.01) << row.hz << " Hz";
        EXPECT_NEAR(rms(out.left, 2 * D, kBurst) / first, row.second, 0.01) << row.hz << " Hz";
    }
}

TEST(DelayLine, WidthGoesFromMonoToSeparateChannels)
{
    const auto together = [](float width) {
        return correlation(echo({.time = 7, .width = width}, noise(48000, 12000)), 24000);
    };
    EXPECT_GT(together(0.0f), 0.99999);
    EXPECT_LT(together(0.5f), 0.95);
    EXPECT_NEAR(together(1.0f), 0.0, 0.05);
}

TEST(DelayLine, WetShareFollowsControlAndFade)
{
    constexpr struct {
        float control, fade;
        double wet;
    } kRows[] = {{0.25f, 1.0f, 0.24985}, {1.0f, 1.0f, 0.9991},  {1.0f, 0.0f, 0.0001},
                 {9.0f, 1.0f, 0.9991},   {-9.0f, 1.0f, 0.0001}, {NAN, 1.0f, 0.0001}};
    for (const auto& row : kRows) {
        const Stereo out = echo({.dryWet = row.control, .fade = row.fade}, impulse(1, 1.0f, 1.0f));
        EXPECT_NEAR(1.0 - out.left[0], row.wet, 2e-5) << row.control << " by " << row.fade;
    }
}

TEST(DelayLine, BlockLengthDoesNotMatter)
{
    // So loud that the cleaning of small states at block ends is lost in the rounding.
    const Stereo in = noise(20000, 12000, 1e6f);
    const auto render = [&](int block) {
        DelayLine delay;
        turn(delay, {.time = 10, .feedback = 1.0f, .dryWet = 0.7f, .width = 0.7f});
        return echo(delay, {}, in, block);
    };
    for (const int block : {1, 63, 64})
        EXPECT_TRUE(render(block) == render(in.frames())) << block;
}

TEST(DelayLine, ResetAndNewRateLeaveNoTail)
{
    const Setting s{.feedback = 1.0f};
    DelayLine delay;
    prepare(delay, s);
    const auto tail = [&](auto act) {
        echo(delay, s, noise(48000, 48000));
        act();
        return peak(echo(delay, s, Stereo(100000)));
    };
    EXPECT_GT(tail([&] { delay.setSampleRate(48000.4); }), 0.1f) << "the same in whole Hertz";
    EXPECT_EQ(tail([&] { delay.reset(); }), 0.0f);
    EXPECT_NEAR(echo(delay, s, impulse(1, 1.0f, 1.0f)).left[0], 0.0009, 2e-5) << "controls stay";
    EXPECT_EQ(tail([&] { delay.setSampleRate(96000.0); }), 0.0f);
}

TEST(DelayLine, StaysFiniteAndBoundedWhateverIsTurned)
{
    for (const double fs : {44100.0, 50001.0, 87382.0, 150001.0, 315700.0, 384000.0}) {
        DelayLine delay;
        delay.setSampleRate(fs);
        Random15 random;
        for (int step = 0; step < 60; ++step) {
            constexpr double kTempi[] = {1e-300, 20.0, 120.0, 1e9};
            const Setting s{.time = random.next() % 19 - 2,
                            .feedback = step < 30 ? 1.0f : anyControl(random),
                            .dryWet = anyControl(random),
                            .width = anyControl(random),
                            .bpm = kTempi[random.next() % 4]};
            turn(delay, s);
            // The sum of all repeats at full feedback is 20.
            ASSERT_LT(peak(echo(delay, s, square(5000, 100))), 25.0f) << "at " << fs;
        }
    }
}

} // namespace
} // namespace zephra
