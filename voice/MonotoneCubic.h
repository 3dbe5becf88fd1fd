// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <span>

namespace zephra {

/// A point that a stored curve passes through.
struct Knot {
    int index; ///< table entry
    double value;
};

/// Fills table[first knot .. last knot] with the monotone cubic of Fritsch and Butland through
/// the knots: it rises where they rise, falls where they fall, and its extremes are knots. At
/// least three knots, by rising index.
void drawMonotoneCubic(std::span<const Knot> knots, std::span<float> table) noexcept;

} // namespace zephra
