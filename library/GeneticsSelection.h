// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/GeneticsRng.h"

#include <array>
#include <cstddef>
#include <optional>
#include <vector>

namespace zephra {

// Which rows of the shown patch list become parents.

/// The selected rows; of fewer than two, and in a list that has two, a pair of neighbours instead:
/// the selected row, else the current one, and the row below it, or above it at the end of the
/// list; without either the first two rows. Rows are within the list and rise.
std::vector<std::size_t> geneticsParentRows(const std::vector<std::size_t>& selected,
                                            std::optional<std::size_t> current,
                                            std::size_t rowCount);

/// Two different rows, of two rows in their order; rowCount is at least 2.
std::array<std::size_t, 2> randomParentRows(GeneticsRng& rng, std::size_t rowCount) noexcept;

} // namespace zephra
