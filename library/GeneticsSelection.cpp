// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/GeneticsSelection.h"

#include <algorithm>

namespace zephra {

std::vector<std::size_t> geneticsParentRows(const std::vector<std::size_t>& selected,
                                            std::optional<std::size_t> current,
                                            std::size_t rowCount)
{
    if (selected.size() >= 2 || rowCount < 2)
        return selected;
    const std::size_t row = selected.empty() ? current.value_or(0) : selected.front();
    const std::size_t upper = std::min(row, rowCount - 2);
    return {upper, upper + 1};
}

std::array<std::size_t, 2> randomParentRows(GeneticsRng& rng, std::size_t rowCount) noexcept
{
    if (rowCount <= 2)
        return {0, 1};
    const std::size_t first = rng.next() % rowCount;
    std::size_t second = rng.next() % rowCount;
    while (second == first)
        second = rng.next() % rowCount;
    return {first, second};
}

} // namespace zephra
