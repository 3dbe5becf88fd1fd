// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchView.h"

#include <algorithm>

namespace zephra {

void PatchView::clearSelection()
{
    patchSelected.assign(rows.size(), false);
    selectedCount = 0;
    lastSelected = -1;
}

void PatchView::select(int row, bool on)
{
    if (row < 0 || row >= static_cast<int>(rows.size()))
        return;
    auto mark = patchSelected[static_cast<std::size_t>(row)];
    selectedCount += static_cast<int>(on) - static_cast<int>(mark);
    mark = on;
    if (on)
        lastSelected = row;
}

int PatchView::stepRow(int delta) const
{
    const int last = static_cast<int>(rows.size()) - 1;
    if (last < 0)
        return -1;
    if (selectedCount < 2)
        return static_cast<int>(
            std::clamp<long long>(static_cast<long long>(currentRow) + delta, 0, last));
    const int direction = delta < 0 ? -1 : 1;
    int row = lastSelected;
    for (int next = row + direction; next >= 0 && next <= last; next += direction) {
        if (patchSelected[static_cast<std::size_t>(next)]) {
            row = next;
            break;
        }
    }
    return row;
}

} // namespace zephra
