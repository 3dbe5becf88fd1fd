// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/Ladder.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <random>
#include <vector>

namespace zephra {
namespace {

constexpr double kFs8 = 384000.0;
constexpr float kIteratedHp = 0.000237f; // about 29 Hz
constexpr ResonancePath kPath{7.4e-5f, 1.2e-4f};

struct Iterated {
    IteratedLadder<float> ladder;
    float operator()(float x, float g, float k)
    {
        return ladder.tick({x, 0.0f, k, g}, kIteratedHp, false).y4;
    }
};
struct Linearised {
    LinearisedLadder<float> ladder;
    float operator()(float x, float g, float k) { return ladder.tick({x, 0.5f, k, g}, kPath).y4; }
};

/// Level at a frequency in Hz for a small sine, against its input.
template <class Filter> double gainAt(double hz, double cutoffHz, float k)
{
    Filter filter;
    const auto g = static_cast<float>(std::tan(M_PI * cutoffHz / kFs8));
    const double f = hz / kFs8;
    constexpr float kLevel = 1e-2f;
    const int settle = 60000, n = 96000;
    std::vector<float> out;
    for (int i = 0; i < settle + n; ++i) {
        const auto x = static_cast<float>(kLevel * std::sin(2.0 * M_PI * f * i));
        const float y = filter(x, g, k);
        if (i >= settle)
            out.push_back(y);
    }
    return test::amplitude(out, f) / static_cast<double>(kLevel);
}

/// Four equal poles with a resonance loop, as analogue theory has it; the high-pass in the loop
/// lies far below the frequencies asked for.
double fourPoles(double hz, double cutoffHz, double k)
{
    const std::complex<double> s(0.0,
                                 std::tan(M_PI * hz / kFs8) / std::tan(M_PI * cutoffHz / kFs8));
    const auto open = 1.0 / std::pow(1.0 + s, 4);
    return std::abs(open / (1.0 + k * open));
}

TEST(Ladder, SmallSignalsFollowTheLinearFourPoleTheory)
{
    struct Row {
        double cutoffHz, hz;
        float resonance;
    };
    constexpr Row kRows[] = {{1000, 435, 0.0f},  {1000, 1000, 0.0f}, {1000, 4000, 0.0f},
                             {1000, 1000, 2.0f}, {1000, 2000, 3.0f}, {8000, 8000, 1.0f},
                             {8000, 3000, 0.0f}, {300, 1200, 0.0f}};
    for (const Row& row : kRows) {
        const double theory = fourPoles(row.hz, row.cutoffHz, static_cast<double>(row.resonance));
        for (const double gain : {gainAt<Iterated>(row.hz, row.cutoffHz, row.resonance),
                                  gainAt<Linearised>(row.hz, row.cutoffHz, row.resonance)})
            EXPECT_NEAR(test::decibels(gain / theory), 0.0, 0.25)
                << row.hz << " Hz at cutoff " << row.cutoffHz << ", resonance " << row.resonance;
    }
}

/// Period of a self-oscillation by its zero crossings, in Hz, and its peak.
template <class Filter> std::pair<double, double> oscillation(double cutoffHz, float k)
{
    Filter filter;
    const auto g = static_cast<float>(std::tan(M_PI * cutoffHz / kFs8));
    double peak = 0.0;
    int crossings = 0, first = 0, last = 0;
    float before = 0.0f;
    const int n = 400000;
    for (int i = 0; i < n; ++i) {
        const float y = filter(i < 200 ? 0.5f : 0.0f, g, k);
        if (i > n / 2) {
            peak = std::max(peak, std::fabs(static_cast<double>(y)));
            if (before < 0.0f && y >= 0.0f) {
                last = i;
                if (crossings++ == 0)
                    first = i;
            }
        }
        before = y;
    }
    return {crossings > 1 ? (crossings - 1) * kFs8 / (last - first) : 0.0, peak};
}

TEST(Ladder, SelfOscillatesAtTheCutoffAboveLoopGainFour)
{
    for (const double hz : {200.0, 1000.0, 5000.0}) {
        const auto iterated = oscillation<Iterated>(hz, 5.0f);
        EXPECT_NEAR(iterated.first / hz, 1.0, 0.07); // the loop high-pass lifts the bass
        EXPECT_GT(iterated.second, 0.1);
        EXPECT_LT(iterated.second, 3.0) << "the tanh holds it";
        const auto linearised = oscillation<Linearised>(hz, 5.0f);
        EXPECT_NEAR(linearised.first / hz, 1.0, 0.1);
        EXPECT_GT(linearised.second, 0.1);
        EXPECT_LT(oscillation<Iterated>(hz, 3.6f).second, 1e-3) << "dies out below four";
        EXPECT_LT(oscillation<Linearised>(hz, 3.6f).second, 1e-3);
    }
}

/// What Newton's method must have solved, in double: the residuals of the four stages.
TEST(Ladder, IterationEndsOnTheTrapezoidalEquations)
{
    IteratedLadder<float> ladder;
    std::mt19937 random(7);
    const float g = 0.05f, k = 4.0f, w = kIteratedHp;
    for (int i = 0; i < 20000; ++i) {
        const float x = static_cast<float>(random() % 2001) / 250.0f - 4.0f;
        const IteratedLadder<float> before = ladder;
        const LadderStages<float> y = ladder.tick({x, 0.0f, k, g}, w, false);
        const double h = (w * double(y.y4) + double(before.loopLp)) / (1.0 + double(w));
        const double u = double(x) - double(k) * (double(y.y4) - h);
        const double f1 = double(before.y.y1) - double(y.y1) +
                          double(g) * (th(u) - th(double(y.y1)) + double(before.d1));
        const double f4 = double(before.y.y4) - double(y.y4) +
                          double(g) * (th(double(y.y3)) - th(double(y.y4)) + double(before.d4));
        ASSERT_NEAR(f1, 0.0, 2e-6) << "sample " << i;
        ASSERT_NEAR(f4, 0.0, 2e-6) << "sample " << i;
    }
}

TEST(Ladder, AFailedSolveClearsAllLanesAndTheLadderGoesOn)
{
    IteratedLadder<Float4> ladder;
    const Float4 g{0.1f, 0.1f, 0.1f, 0.1f};
    const Float4 k{4, 4, 4, 4};
    const Float4 half{0.5f, 0.5f, 0.5f, 0.5f};
    for (int i = 0; i < 100; ++i)
        ladder.tick({half, half, k, g}, kIteratedHp, false);
    ASSERT_NE(ladder.y.y4[1], 0.0f);

    Float4 broken = half;
    broken[2] = std::numeric_limits<float>::quiet_NaN();
    const LadderStages<Float4> out = ladder.tick({broken, half, k, g}, kIteratedHp, false);
    for (int lane = 0; lane < 4; ++lane) {
        EXPECT_EQ(out.y4[lane], 0.0f) << "the whole group is silent for the sample";
        EXPECT_TRUE(std::isfinite(ladder.d1[lane]));
    }
    ladder.tick({half, half, k, g}, kIteratedHp, false);
    for (int lane = 0; lane < 4; ++lane)
        EXPECT_TRUE(ladder.y.y1[lane] > 0.0f) << "and starts from a cleared ladder";
}

TEST(Ladder, InMonoTheFirstLaneAloneDecides)
{
    IteratedLadder<Float4> ladder;
    Float4 x{0.5f, 0.0f, 0.0f, std::numeric_limits<float>::quiet_NaN()};
    const Float4 g{0.1f, 0.1f, 0.1f, 0.1f};
    ladder.tick({x, g, g, g}, kIteratedHp, true);
    EXPECT_GT(ladder.y.y1[0], 0.0f);
}

/// Random drive in every lane: a lane of four is the plain float, to the bit.
TEST(Ladder, FourLanesAreFourFloats)
{
    std::mt19937 random(3);
    const auto draw = [&random](float low, float high) {
        return low + (high - low) * static_cast<float>(random() % 10000) / 10000.0f;
    };
    LinearisedLadder<Float4> wide;
    LinearisedLadder<float> plain[4];
    IteratedLadder<Float4> wideIterated; // equal lanes: the lanes decide together
    IteratedLadder<float> plainIterated;
    for (int i = 0; i < 20000; ++i) {
        const LadderInput<Float4> in{
            {draw(-3, 3), draw(-3, 3), draw(-3, 3), draw(-3, 3)},
            {draw(0, 1), draw(0, 1), draw(0, 1), draw(0, 1)},
            {draw(0, 6), draw(0, 6), draw(0, 6), draw(0, 6)},
            {draw(0.001f, 0.3f), draw(0.001f, 0.3f), draw(0.001f, 0.3f), draw(0.001f, 0.3f)}};
        const auto y = wide.tick(in, kPath);
        for (int lane = 0; lane < 4; ++lane) {
            const auto reference = plain[lane].tick(
                {in.x[lane], in.cutoff[lane], in.resonance[lane], in.g[lane]}, kPath);
            ASSERT_EQ(y.y4[lane], reference.y4) << "sample " << i;
            ASSERT_EQ(y.y1[lane], reference.y1) << "sample " << i;
        }
        const auto equal = [](float v) { return Float4{v, v, v, v}; };
        const auto newton = wideIterated.tick(
            {equal(in.x[0]), equal(in.cutoff[0]), equal(in.resonance[0] * 0.7f), equal(in.g[0])},
            kIteratedHp, false);
        const auto reference = plainIterated.tick(
            {in.x[0], in.cutoff[0], in.resonance[0] * 0.7f, in.g[0]}, kIteratedHp, false);
        ASSERT_EQ(newton.y4[3], reference.y4) << "sample " << i;
    }
}

} // namespace
} // namespace zephra
