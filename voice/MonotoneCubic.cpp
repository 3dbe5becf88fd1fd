// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/MonotoneCubic.h"

#include <cmath>
#include <cstddef>

namespace zephra {
namespace {

double width(const Knot& a, const Knot& b) noexcept { return b.index - a.index; }
double secant(const Knot& a, const Knot& b) noexcept { return (b.value - a.value) / width(a, b); }

/// Weighted harmonic mean of the two secants; flat at an extreme.
double innerSlope(const Knot& before, const Knot& at, const Knot& after) noexcept
{
    const double s0 = secant(before, at), s1 = secant(at, after);
    if (s0 * s1 <= 0.0)
        return 0.0;
    const double w0 = width(before, at) + 2.0 * width(at, after);
    const double w1 = 2.0 * width(before, at) + width(at, after);
    return (w0 + w1) / (w0 / s0 + w1 / s1);
}

/// Slope at the outermost knot from the parabola through three, limited so that the curve stays
/// monotone.
double endSlope(const Knot& end, const Knot& next, const Knot& third) noexcept
{
    const double h0 = width(end, next), h1 = width(next, third);
    const double s0 = secant(end, next), s1 = secant(next, third);
    const double slope = ((2.0 * h0 + h1) * s0 - h0 * s1) / (h0 + h1);
    if (slope * s0 <= 0.0)
        return 0.0;
    if (s0 * s1 < 0.0 && std::abs(slope) > 3.0 * std::abs(s0))
        return 3.0 * s0;
    return slope;
}

double slopeAt(std::span<const Knot> knots, std::size_t k) noexcept
{
    const std::size_t last = knots.size() - 1;
    if (k == 0)
        return endSlope(knots[0], knots[1], knots[2]);
    if (k == last)
        return endSlope(knots[last], knots[last - 1], knots[last - 2]);
    return innerSlope(knots[k - 1], knots[k], knots[k + 1]);
}

} // namespace

void drawMonotoneCubic(std::span<const Knot> knots, std::span<float> table) noexcept
{
    for (std::size_t k = 0; k + 1 < knots.size(); ++k) {
        const Knot& a = knots[k];
        const Knot& b = knots[k + 1];
        const double h = width(a, b);
        const double m0 = slopeAt(knots, k) * h, m1 = slopeAt(knots, k + 1) * h;
        const double rise = b.value - a.value;
        for (int i = a.index; i <= b.index; ++i) {
            const double t = (i - a.index) / h; // 0..1 in the segment
            const double curve = (m0 + m1 - 2.0 * rise) * t + (3.0 * rise - 2.0 * m0 - m1);
            table[static_cast<std::size_t>(i)] = static_cast<float>(a.value + t * (m0 + t * curve));
        }
    }
}

} // namespace zephra
