// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ShapeTables.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace zephra {
namespace {

using Table = ShapeTables::Table;

struct Row {
    std::size_t index;
    double late, early;
};
// clang-format off
constexpr Row kRows[] = {
    {     0,  0.99641,  0.98210 }, {  2048,  0.77541,  0.77433 }, {  4096,  0.53045,  0.52604 },
    {  6144,  0.27999,  0.26930 }, {  8192,  0.02708,  0.01185 }, { 10240, -0.22723, -0.24693 },
    { 12288, -0.48242, -0.50819 }, { 14336, -0.73822, -0.76668 }, { 15872, -0.93024, -0.95310 },
    { 16384, -0.97376, -0.97268 }, { 16896, -0.94503, -0.92543 }, { 18432, -0.78000, -0.75471 },
    { 20480, -0.53473, -0.51424 }, { 22528, -0.28288, -0.27085 }, { 24576, -0.02834, -0.02324 },
    { 26624,  0.22765,  0.22581 }, { 28672,  0.48457,  0.47414 }, { 30720,  0.74211,  0.72647 },
    { 32767,  1.00000,  0.99997 },
};
struct Shape {
    const char* name;
    const Table& table;
    double Row::*row;
    std::size_t bottom;
    double lowest;
    double harmonics[9];
} const kShapes[] = {
    { "Late", shapeTables().triangleShapeLate, &Row::late, 16386, -0.97376,
      { 0.8189, 0.0022, 0.0871, 0.0011, 0.0301, 0.0008, 0.0148, 0.0006, 0.0087 } },
    { "Early", shapeTables().triangleShapeEarly, &Row::early, 16239, -0.97680,
      { 0.8150, 0.0133, 0.0868, 0.0061, 0.0301, 0.0033, 0.0148, 0.0025, 0.0087 } },
};
// clang-format on

/// Harmonic k of one cycle as a sine series: real part cosine, imaginary part sine.
std::complex<double> harmonic(const Table& table, int k)
{
    std::complex<double> sum;
    for (std::size_t i = 0; i < ShapeTables::kSteps; ++i)
        sum +=
            static_cast<double>(table[i]) *
            std::polar(2.0 / ShapeTables::kSteps,
                       2.0 * std::numbers::pi * k * static_cast<double>(i) / ShapeTables::kSteps);
    return sum;
}

TEST(ShapeTables, PassThroughTheMeasuredRows)
{
    for (const Shape& shape : kShapes)
        for (const Row& row : kRows)
            EXPECT_NEAR(shape.table[row.index], row.*shape.row, 1e-5)
                << shape.name << " at " << row.index;
}

TEST(ShapeTables, HaveTheHarmonicBalanceOfTheCircuit)
{
    for (const Shape& shape : kShapes)
        for (int k = 1; k <= 9; ++k)
            EXPECT_NEAR(std::abs(harmonic(shape.table, k)), shape.harmonics[k - 1], 1e-4)
                << shape.name << " harmonic " << k;
}

TEST(ShapeTables, FallToTheBottomRiseToTheTopAndStepAtTheWrap)
{
    for (const Shape& shape : kShapes) {
        const auto first = shape.table.begin(), top = shape.table.end() - 2;
        const auto bottom = std::min_element(first, top);
        EXPECT_EQ(static_cast<std::size_t>(bottom - first), shape.bottom) << shape.name;
        EXPECT_NEAR(*bottom, shape.lowest, 1e-5) << shape.name;
        EXPECT_TRUE(std::is_sorted(first, bottom + 1, std::greater<>())) << shape.name;
        EXPECT_TRUE(std::is_sorted(bottom, top + 1)) << shape.name;
        EXPECT_EQ(shape.table.back(), shape.table.front()) << shape.name;
    }
}

TEST(ShapeTables, FlanksAreStraightWithoutRipple)
{
    constexpr std::size_t kSpan = 128;
    for (const Shape& shape : kShapes) {
        const auto slope = [&](std::size_t i) { // per quarter cycle
            return (shape.table[i + kSpan] - shape.table[i]) * (8192.0f / kSpan);
        };
        for (std::size_t i = 2048; i < 15000; i += 64)
            EXPECT_NEAR(slope(i), -1.01f, 0.06f) << shape.name << " at " << i;
        for (std::size_t i = 18432; i < 31000; i += 64)
            EXPECT_NEAR(slope(i), 0.97f, 0.07f) << shape.name << " at " << i;
    }
}

TEST(ShapeTables, EarlySharkDiffersByItsSecondHarmonicAlone)
{
    const ShapeTables& shapes = shapeTables();
    Table difference;
    for (std::size_t i = 0; i < difference.size(); ++i)
        difference[i] = shapes.sharkShapeEarly[i] - shapes.triangleShapeEarly[i];
    for (int k = 1; k <= 9; ++k) {
        const std::complex<double> expected(0.0, k == 2 ? -0.025 : 0.0);
        EXPECT_LT(std::abs(harmonic(difference, k) - expected), 1e-7) << "harmonic " << k;
    }
    EXPECT_EQ(shapes.sharkShapeEarly.back(), shapes.sharkShapeEarly.front());
}

} // namespace
} // namespace zephra
