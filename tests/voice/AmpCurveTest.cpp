// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/AmpCurve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

namespace zephra {
namespace {

float gain(double level) { return ampCurveAt(ampCurve().data(), level); }

TEST(AmpCurve, PassesThroughTheMeasuredGains)
{
    constexpr struct {
        int entry;
        float gain;
    } kRows[] = {
        {0, 0.0f},         {31, 0.0f},        {32, 1e-6f},       {64, 5e-6f},
        {128, 0.000212f},  {256, 0.029362f},  {384, 0.107406f},  {512, 0.197941f},
        {640, 0.293651f},  {768, 0.392428f},  {896, 0.493338f},  {1024, 0.595867f},
        {1280, 0.804602f}, {1536, 0.986138f}, {1537, 0.986138f}, {1800, 0.986138f},
        {2048, 0.986138f},
    };
    for (const auto& row : kRows)
        EXPECT_FLOAT_EQ(gain(row.entry / 2048.0), row.gain) << "at entry " << row.entry;
}

TEST(AmpCurve, NeverFallsAndRisesEvenlyAboveItsFoot)
{
    const auto& curve = ampCurve();
    EXPECT_TRUE(std::is_sorted(curve.begin(), curve.end()));
    // Per entry the measured gains rise by 6.1e-4 to 8.2e-4; nothing between them strays far.
    for (std::size_t i = 320; i < 1408; ++i) {
        const float perEntry = curve[i + 1] - curve[i];
        EXPECT_GT(perEntry, 5.5e-4f) << "at " << i;
        EXPECT_LT(perEntry, 9.6e-4f) << "at " << i;
    }
}

TEST(AmpCurve, IsLinearBetweenEntries)
{
    const auto& curve = ampCurve();
    for (const std::size_t entry : {40u, 300u, 1000u, 1535u}) {
        const float low = curve[entry], high = curve[entry + 1];
        const double level = static_cast<double>(entry) / 2048.0;
        EXPECT_FLOAT_EQ(gain(level + 0.25 / 2048.0), 0.75f * low + 0.25f * high);
        EXPECT_FLOAT_EQ(gain(level + 0.75 / 2048.0), 0.25f * low + 0.75f * high);
    }
    EXPECT_EQ(gain(0.5), gain(0.5 + 0.9 / 4194304.0)) << "22 bits of level, cut";
}

TEST(AmpCurve, WildLevelsStayInTheTable)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    for (const double silent : {-1e-9, -1.0, -kInfinity, std::numeric_limits<double>::quiet_NaN()})
        EXPECT_EQ(gain(silent), 0.0f) << "at " << silent;
    for (const double full : {1.0, 1.0 + 1e-9, 1e300, kInfinity})
        EXPECT_EQ(gain(full), ampCurve().back()) << "at " << full;
}

} // namespace
} // namespace zephra
