// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/PatchEntry.h"

#include <string>
#include <vector>

namespace zephra {

/// What the browser's patch list is narrowed down to. Rows are lost with every rescan.
struct PatchFilter {
    int bankRow = -1;                   ///< -1: all banks
    std::vector<bool> categorySelected; ///< one per category row; none set: all categories
    bool uncategorizedOnly = false;     ///< in place of the categories
    int authorRow = -1;                 ///< of the authors met, -1: all
    std::string searchText; ///< one character: names that start with it; more: that hold it
};

/// The filtered patch list and what is selected in it.
struct PatchView {
    std::vector<const PatchEntry*> rows; ///< until the next rescan
    std::vector<int> categoryCounts;     ///< patches by category row, of all banks
    std::vector<bool> patchSelected;     ///< one per row
    int selectedCount = 0;
    int lastSelected = -1; ///< row selected last, -1: none
    int currentRow = -1;   ///< row of the loaded patch, -1: not shown

    void clearSelection();
    void select(int row, bool on);
    /// The row to go to: `delta` rows from the current one, up to either end of the list; with
    /// two or more rows selected the next selected one in that direction. -1 in an empty list.
    int stepRow(int delta) const;
};

} // namespace zephra
