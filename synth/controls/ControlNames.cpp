// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlNames.h"

#include <algorithm>
#include <numeric>
#include <vector>

namespace zephra {

namespace {

/// Insertions, removals and replacements of one character that lead from one text to the other.
std::size_t editDistance(std::string_view from, std::string_view to)
{
    std::vector<std::size_t> row(to.size() + 1); // distances of the first i characters of `from`
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row.back();
}

} // namespace

std::string unknownControl(std::string_view name)
{
    const std::string_view start = name.substr(0, 64); // longer ones are near to nothing
    const auto& nearest = *std::ranges::min_element(
        kControls, {}, [=](const ControlInfo& known) { return editDistance(start, known.name); });
    return "there is no control \"" + std::string(name) + "\"; did you mean \"" + nearest.name +
           "\"?";
}

} // namespace zephra
