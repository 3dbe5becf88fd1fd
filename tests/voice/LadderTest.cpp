// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/Ladder.h"

#include <gtest/gtest.h>

#include <limits>
#include <random>

namespace zephra {
namespace {

constexpr float kIteratedHp = 0.000237f; // about 29 Hz

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
