// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/GeneticsState.h"

#include <algorithm>

namespace zephra {

bool GeneticsState::addParent(const PatchEntry& entry)
{
    const auto end = parents.begin() + static_cast<std::ptrdiff_t>(parentCount);
    if (std::find_if(parents.begin(), end,
                     [&](const PatchEntry& held) { return held.path == entry.path; }) != end)
        return false;
    if (parentCount == kMostParents)
        std::rotate(parents.begin(), parents.begin() + 1, parents.end());
    else
        ++parentCount;
    parents[parentCount - 1] = entry;
    return true;
}

void GeneticsState::clear()
{
    GeneticsState cleared;
    cleared.mix = mix;
    cleared.seed = seed;
    *this = cleared;
}

} // namespace zephra
