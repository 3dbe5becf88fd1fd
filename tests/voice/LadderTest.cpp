// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/Ladder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
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

/// `count` samples of `input(i)` through a filter, after `settle` of them.
template <class Filter, class Input>
std::vector<float> run(double cutoffHz, float k, int settle, int count, Input input)
{
    Filter filter;
    const auto g = static_cast<float>(std::tan(M_PI * cutoffHz / kFs8));
    std::vector<float> out;
    for (int i = 0; i < settle + count; ++i) {
        const float y = filter(static_cast<float>(input(i)), g, k);
        if (i >= settle)
            out.push_back(y);
    }
    return out;
}

/// Self-oscillation after a kick: frequency by zero crossings, and its peak.
template <class Filter> std::pair<double, float> oscillation(double cutoffHz, float k)
{
    const auto kick = [](int i) { return i < 200 ? 0.5 : 0.0; };
    const auto out = run<Filter>(cutoffHz, k, 200000, 200000, kick);
    int crossings = 0;
    for (std::size_t i = 1; i < out.size(); ++i)
        crossings += out[i - 1] < 0.0f && out[i] >= 0.0f;
    return {crossings * kFs8 / static_cast<double>(out.size()), std::ranges::max(out)};
}

TEST(Ladder, SelfOscillatesAtTheCutoffAboveLoopGainFour)
{
    for (const double hz : {200.0, 5000.0}) {
        for (const auto& [frequency, peak] :
             {oscillation<Iterated>(hz, 5.0f), oscillation<Linearised>(hz, 5.0f)}) {
            EXPECT_NEAR(frequency / hz, 1.0, 0.1); // the loop high-pass lifts the bass
            EXPECT_GT(peak, 0.1);
            EXPECT_LT(peak, 3.0) << "the tanh holds it";
        }
        EXPECT_LT(oscillation<Iterated>(hz, 3.6f).second, 1e-3) << "dies out below four";
        EXPECT_LT(oscillation<Linearised>(hz, 3.6f).second, 1e-3);
    }
}

/// What Newton's method must have solved, in double: the residuals of the first and last stage.
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

TEST(Ladder, AFailedSolveClearsAllLanesUnlessItIsAnIdleOneOfMono)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    const Float4 g{0.1f, 0.1f, 0.1f, 0.1f}, k{4, 4, 4, 4}, half{0.5f, 0.5f, 0.5f, 0.5f};
    IteratedLadder<Float4> ladder;
    for (int i = 0; i < 100; ++i)
        ladder.tick({half, half, k, g}, kIteratedHp, false);
    const auto out = ladder.tick({Float4{0.5f, 0.5f, kNan, 0.5f}, half, k, g}, kIteratedHp, false);
    ladder.tick({half, half, k, g}, kIteratedHp, false);
    for (int lane = 0; lane < 4; ++lane) {
        EXPECT_EQ(out.y4[lane], 0.0f) << "the whole group is silent for the sample";
        EXPECT_TRUE(ladder.y.y1[lane] > 0.0f) << "and starts from a cleared ladder";
    }
    IteratedLadder<Float4> mono;
    mono.tick({Float4{0.5f, 0.0f, 0.0f, kNan}, half, k, g}, kIteratedHp, true);
    EXPECT_GT(mono.y.y1[0], 0.0f);
}

} // namespace
} // namespace zephra
