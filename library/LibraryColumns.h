// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/AsciiCase.h"
#include "library/LibraryScan.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace zephra {

/// A row of a column, and the folders behind it: a category stands in several banks.
struct PatchGroup {
    static constexpr std::size_t kMostFolders = 4096;

    std::string name;
    std::string displayName;
    std::vector<std::uint32_t> folders; ///< ids
};

/// The two columns of the browser that list folders.
///
/// Banks: "Favourites", "Genetics", "User", the others in scan order, "Trash"; these four have
/// rows whether their folders exist or not. Categories: those of the instrument, those that banks
/// add, and whatever else folders in banks are called; names that differ in case are one row. A
/// folder in the root that is called like a category joins its row and is no bank.
struct LibraryColumns {
    void build(const BoundedList<PatchFolder>& folders, const std::vector<std::string>& configured,
               const std::vector<std::string>& additional);

    std::vector<PatchGroup> banks, categories;
    int favouritesRow = -1, geneticsRow = -1, userRow = -1, trashRow = -1; ///< of banks

    // By folder id; id 0 is the root, and so is one from before the last scan. -1: no row.
    int bankRowOf(std::uint32_t folderId) const { return placeOf(folderId).bankRow; }
    int categoryRowOf(std::uint32_t folderId) const { return placeOf(folderId).categoryRow; }
    /// Its patches are never listed.
    bool isHidden(std::uint32_t folderId) const { return placeOf(folderId).hidden; }

    /// -1: none. Banks by exact name, categories without regard to case.
    int bankRowNamed(std::string_view name) const;
    int categoryRowNamed(std::string_view name) const;

    /// True for the names of rows without a folder, and of folders that are kept out of sight.
    static bool isHiddenName(std::string_view name);

private:
    struct FolderPlace {
        int bankRow = -1, categoryRow = -1;
        bool hidden = false;
    };

    const FolderPlace& placeOf(std::uint32_t folderId) const
    {
        return places.at(folderId < places.size() ? folderId : 0);
    }
    void addCategory(std::string_view name);
    void place(const PatchFolder& folder);

    std::vector<FolderPlace> places; ///< by folder id
    std::map<std::string, int, NoCaseLess> categoryRows;
};

} // namespace zephra
