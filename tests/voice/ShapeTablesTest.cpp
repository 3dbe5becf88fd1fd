// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ShapeTables.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using Table = ShapeTables::Table;

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
    const ShapeTables& shapes = shapeTables();
    constexpr double kLate[] = {0.8189, 0.0022, 0.0871, 0.0011, 0.0301, 0.0008, 0.0148};
    constexpr double kEarly[] = {0.8150, 0.0133, 0.0868, 0.0061, 0.0301, 0.0033, 0.0148};
    for (int k = 1; k <= 7; ++k) {
        EXPECT_NEAR(harmonic(shapes.triangleShapeLate, k), kLate[k - 1], 1e-4) << k;
        EXPECT_NEAR(harmonic(shapes.triangleShapeEarly, k), kEarly[k - 1], 1e-4) << k;
    }
    for (const Table* table :
         {&shapes.triangleShapeLate, &shapes.triangleShapeEarly, &shapes.sharkShapeEarly})
        EXPECT_EQ(table->back(), table->front());
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
