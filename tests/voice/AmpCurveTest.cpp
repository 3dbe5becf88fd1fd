// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/AmpCurve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace zephra {
namespace {

float gain(double level) { return ampCurveAt(ampCurve().data(), level); }

TEST(AmpCurve, PassesThroughTheMeasuredGainsAndNeverFalls)
{
    constexpr struct {
        double entry;
        float gain;
    } kRows[] = {
        {0, 0.0f},         {31, 0.0f},        {32, 1e-6f},       {128, 0.000212f},
        {256, 0.029362f},  {512, 0.197941f},  {1024, 0.595867f}, {1280, 0.804602f},
        {1536, 0.986138f}, {2048, 0.986138f},
    };
    for (const auto& row : kRows)
        EXPECT_FLOAT_EQ(gain(row.entry / 2048.0), row.gain) << "at entry " << row.entry;
    EXPECT_TRUE(std::ranges::is_sorted(ampCurve()));
    EXPECT_FLOAT_EQ(gain(300.25 / 2048.0), 0.75f * ampCurve()[300] + 0.25f * ampCurve()[301]);
}

TEST(AmpCurve, WildLevelsStayInTheTable)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double silent : {-1e-9, -kInfinity, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(gain(silent), 0.0f) << "at " << silent;
    for (const double full : {1.0 + 1e-9, 1e300, kInfinity})
        EXPECT_EQ(gain(full), ampCurve().back()) << "at " << full;
}

} // namespace
} // namespace zephra
