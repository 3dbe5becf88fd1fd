// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ShapeTables.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace zephra {
namespace {

using Table = ShapeTables::Table;

const struct Shape {
    const char* name;
    const Table& table;
    std::size_t bottom;
    double lowest, quarter, threeQuarters; ///< at the bottom and at entries 8192 and 24576
    double harmonics[9];
} kShapes[] = {
    {"Late",
     shapeTables().triangleShapeLate,
     16386,
     -0.97376,
     0.02708,
     -0.02834,
     {0.8189, 0.0022, 0.0871, 0.0011, 0.0301, 0.0008, 0.0148, 0.0006, 0.0087}},
    {"Early",
     shapeTables().triangleShapeEarly,
     16239,
     -0.97680,
     0.01185,
     -0.02324,
     {0.8150, 0.0133, 0.0868, 0.0061, 0.0301, 0.0033, 0.0148, 0.0025, 0.0087}},
};

TEST(ShapeTables, FallToTheBottomRiseToTheTopAndStepAtTheWrap)
{
    for (const Shape& shape : kShapes) {
        const auto first = shape.table.begin(), top = shape.table.end() - 2;
        const auto bottom = std::min_element(first, top);
        EXPECT_EQ(static_cast<std::size_t>(bottom - first), shape.bottom) << shape.name;
        EXPECT_NEAR(*bottom, shape.lowest, 1e-5) << shape.name;
        EXPECT_NEAR(shape.table[8192], shape.quarter, 1e-5) << shape.name;
        EXPECT_NEAR(shape.table[24576], shape.threeQuarters, 1e-5) << shape.name;
        EXPECT_TRUE(std::is_sorted(first, bottom + 1, std::greater<>())) << shape.name;
        EXPECT_TRUE(std::is_sorted(bottom, top + 1)) << shape.name;
        EXPECT_EQ(shape.table.back(), shape.table.front()) << shape.name;
    }
}

/// Level of harmonic k in one cycle.
double harmonic(const Table& table, int k)
{
    std::vector<float> cycles; // a few, for the window
    for (int turn = 0; turn < 4; ++turn)
        cycles.insert(cycles.end(), table.begin(), table.begin() + ShapeTables::kSteps);
    return test::amplitude(cycles, double(k) / ShapeTables::kSteps);
}

TEST(ShapeTables, HaveTheHarmonicBalanceOfTheCircuit)
{
    for (const Shape& shape : kShapes)
        for (int k = 1; k <= 9; ++k)
            EXPECT_NEAR(harmonic(shape.table, k), shape.harmonics[k - 1], 1e-4)
                << shape.name << " harmonic " << k;
}

TEST(ShapeTables, EarlySharkDiffersByItsSecondHarmonicAlone)
{
    const ShapeTables& shapes = shapeTables();
    Table difference;
    for (std::size_t i = 0; i < difference.size(); ++i)
        difference[i] = shapes.sharkShapeEarly[i] - shapes.triangleShapeEarly[i];
    for (int k = 1; k <= 9; ++k)
        EXPECT_NEAR(harmonic(difference, k), k == 2 ? 0.025 : 0.0, 1e-7) << "harmonic " << k;
}

} // namespace
} // namespace zephra
