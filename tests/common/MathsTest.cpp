// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Maths.h"
#include "common/FlushDenormals.h"
#include "common/Random15.h"
#include "common/Simd.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

namespace zephra {
namespace {

TEST(Tanh, FollowsTheRealOneInsideThreeAndGrowsBeyond)
{
    for (float v = -3.0f; v <= 3.0f; v += 0.125f) {
        EXPECT_NEAR(th(v), std::tanh(v), 5e-4) << "at " << v;
        EXPECT_NEAR(ra(v) * v, th(v), 1e-6f) << "at " << v;
    }
    EXPECT_GT(th(3.7f), 1.0f); // no limiter: above 3.65 it passes 1 and rises as v / 15
    EXPECT_NEAR(th(3000.0f), 200.0f, 1.0f);
}

TEST(Random15, StaysInRangeAndEnginesStartApart)
{
    std::set<int> starts;
    for (std::uint32_t generator = 0; generator < 36; ++generator) {
        Random15 random;
        random.seed(engineSeed(generator / 9, generator % 9));
        starts.insert(random.next());
        for (int i = 0; i < 4000; ++i)
            ASSERT_EQ(random.next() & ~0x7fff, 0);
    }
    EXPECT_EQ(starts.size(), 36u) << "no two generators begin alike";
}

TEST(FlushDenormals, HoldsInsideAndGivesTheOldModeBack)
{
    volatile float tiny = 1e-38f;
    {
        const FlushDenormals flush;
        EXPECT_EQ(tiny * 0.01f, 0.0f);
    }
    EXPECT_GT(tiny * 0.01f, 0.0f);
}

} // namespace
} // namespace zephra
