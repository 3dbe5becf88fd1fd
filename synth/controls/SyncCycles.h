// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <array>

namespace zephra {

/// Note lengths of tempo-synced cycles in 1/64 notes: for each plain value b from 8/1 (512) down
/// to 1/32 (2) the dotted, plain and triplet length.
inline constexpr std::array<double, 27> kSyncCycles = [] {
    std::array<double, 27> cycles{};
    double plain = 512.0;
    for (std::size_t i = 0; i < cycles.size(); i += 3, plain *= 0.5) {
        cycles[i] = 1.5 * plain;
        cycles[i + 1] = plain;
        cycles[i + 2] = plain * 2.0 / 3.0;
    }
    return cycles;
}();

/// Row of the 27 sync lengths that a continuous control value 0..1 selects.
constexpr int syncIndex(double value) noexcept
{
    return std::clamp(static_cast<int>(value * 26.0 + 0.0001), 0, 26);
}

} // namespace zephra
