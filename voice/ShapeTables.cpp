// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ShapeTables.h"

#include "common/Maths.h"
#include "voice/MonotoneCubic.h"

#include <cmath>
#include <cstddef>

namespace zephra {
namespace {

// Every 2048th entry and the bottom are measured. The knots between them are fitted so that
// harmonics 1 to 9 have the amplitudes
//   Late   0.8189 0.0022 0.0871 0.0011 0.0301 0.0008 0.0148 0.0006 0.0087
//   Early  0.8150 0.0133 0.0868 0.0061 0.0301 0.0033 0.0148 0.0025 0.0087
// with as little bending as possible: straight flanks, curved at the bottom and at the wrap.
// clang-format off
constexpr Knot kTriangleLate[] = {
    { 0, 0.99641 }, { 256, 0.97409 }, { 512, 0.95065 }, { 1024, 0.89395 }, { 2048, 0.77541 },
    { 3072, 0.65390 }, { 4096, 0.53045 }, { 6144, 0.27999 }, { 8192, 0.02708 },
    { 10240, -0.22723 }, { 12288, -0.48242 }, { 14336, -0.73822 }, { 14848, -0.80258 },
    { 15360, -0.86653 }, { 15616, -0.89860 }, { 15872, -0.93024 }, { 16128, -0.95997 },
    { 16256, -0.97001 }, { 16386, -0.97376 }, { 16512, -0.97179 }, { 16640, -0.96583 },
    { 16896, -0.94503 }, { 17152, -0.91968 }, { 17408, -0.89264 }, { 17920, -0.83722 },
    { 18432, -0.78000 }, { 19456, -0.65919 }, { 20480, -0.53473 }, { 22528, -0.28288 },
    { 24576, -0.02834 }, { 26624, 0.22765 }, { 28672, 0.48457 }, { 29696, 0.61321 },
    { 30720, 0.74211 }, { 31744, 0.87097 }, { 32256, 0.93410 }, { 32512, 0.96483 },
    { 32767, 1.00000 },
};
constexpr Knot kTriangleEarly[] = {
    { 0, 0.98210 }, { 256, 0.97143 }, { 512, 0.95129 }, { 768, 0.92372 }, { 1024, 0.89437 },
    { 2048, 0.77433 }, { 3072, 0.65125 }, { 4096, 0.52604 }, { 6144, 0.26930 }, { 8192, 0.01185 },
    { 10240, -0.24693 }, { 12288, -0.50819 }, { 14336, -0.76668 }, { 14848, -0.83010 },
    { 15360, -0.89322 }, { 15616, -0.92431 }, { 15872, -0.95310 }, { 16064, -0.96983 },
    { 16128, -0.97366 }, { 16239, -0.97680 }, { 16384, -0.97268 }, { 16512, -0.96335 },
    { 16640, -0.95155 }, { 16896, -0.92543 }, { 17152, -0.89797 }, { 17408, -0.86978 },
    { 17920, -0.81267 }, { 18432, -0.75471 }, { 19456, -0.63595 }, { 20480, -0.51424 },
    { 22528, -0.27085 }, { 24576, -0.02324 }, { 26624, 0.22581 }, { 28672, 0.47414 },
    { 29696, 0.59935 }, { 30720, 0.72647 }, { 31744, 0.85337 }, { 32000, 0.88492 },
    { 32256, 0.91699 }, { 32512, 0.95305 }, { 32767, 0.99997 },
};
// clang-format on

ShapeTables::Table drawCycle(std::span<const Knot> knots) noexcept
{
    ShapeTables::Table table{};
    drawMonotoneCubic(knots, table);
    table.back() = table.front();
    return table;
}

ShapeTables::Table sharkOf(const ShapeTables::Table& triangle) noexcept
{
    ShapeTables::Table shark{};
    for (std::size_t i = 0; i < ShapeTables::kSteps; ++i) {
        const double secondHarmonic = std::sin(2.0 * kTwoPi * static_cast<double>(i) / 32768.0);
        shark[i] = static_cast<float>(static_cast<double>(triangle[i]) - 0.025 * secondHarmonic);
    }
    shark.back() = shark.front();
    return shark;
}

} // namespace

ShapeTables::ShapeTables() noexcept
    : triangleShapeLate(drawCycle(kTriangleLate)), triangleShapeEarly(drawCycle(kTriangleEarly)),
      sharkShapeEarly(sharkOf(triangleShapeEarly))
{
}

const ShapeTables& shapeTables() noexcept
{
    static const ShapeTables tables;
    return tables;
}

} // namespace zephra
