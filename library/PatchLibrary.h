// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/AuthorTable.h"
#include "library/Favourites.h"
#include "library/LibraryColumns.h"
#include "library/LibraryFiles.h"
#include "library/LibraryHost.h"
#include "library/LibraryScan.h"
#include "library/PatchView.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace zephra {

/// The soundbanks: a folder tree of patch files, and an index of it in memory that is built anew
/// after every change. Entries, folders and rows hold until the next `reload`; only paths live
/// beyond it. [ui]
///
/// Patches that move to the trash stay where they are, with another extension.
class PatchLibrary {
public:
    /// The categories of every library, whether folders of that name exist or not.
    static const std::vector<std::string> kBuiltInCategories;

    /// Reads the library. While there are built-in categories, no others are made or renamed.
    PatchLibrary(const std::filesystem::path& soundbankRoot, LibraryHost& libraryHost,
                 LibraryFiles::Access access = LibraryFiles::Access::ReadWrite,
                 std::vector<std::string> builtInCategories = kBuiltInCategories);
    PatchLibrary(const PatchLibrary&) = delete;
    PatchLibrary& operator=(const PatchLibrary&) = delete;

    /// Reads the tree anew; with `rescanAuthors` also what the banks tell about authors and
    /// categories. Nothing is selected afterwards.
    void reload(bool rescanAuthors);

    // --- What there is ---
    const PathText& root() const noexcept { return files.root(); }
    const BoundedList<PatchEntry>& entries() const noexcept { return scan.entries; }
    const BoundedList<PatchEntry>& trash() const noexcept { return scan.trash; }
    const BoundedList<PatchEntry>& favourites() const noexcept { return favouriteList.entries(); }
    const BoundedList<PatchFolder>& folders() const noexcept { return scan.folders; }
    const LibraryColumns& columns() const noexcept { return rows; }
    const AuthorTable& authorsMet() const noexcept { return metAuthors; }
    bool builtInListInForce() const noexcept { return !configuredCategories.empty(); }

    /// First entry with that full path without regard to case, one of exactly that path ahead of
    /// others; nullptr: none.
    const PatchEntry* findByPath(std::string_view path) const;
    /// Bank or category by path, which ends with a backslash; nullptr: none.
    const PatchFolder* folderByPath(std::string_view path) const;

    /// Patches of a bank with its categories; in the trash or out of it.
    int countPatches(const PatchFolder& bank, bool inTrash) const;
    /// Patches of all folders of that name, of every bank.
    int countCategoryPatches(const PatchFolder& category, bool inTrash) const;

    bool isFavourite(const PatchEntry& entry) const { return favouriteList.contains(entry.path); }
    /// Empty for a patch in the root, and for one in a category folder beside the banks.
    std::string bankNameOf(const PatchEntry& entry) const;
    /// As categories are shown; empty for a patch directly in its bank.
    std::string categoryNameOf(const PatchEntry& entry) const;
    std::vector<std::string> authorCodesOf(const PatchEntry& entry) const;
    /// At most 63 bytes each; unknown codes are left out.
    std::vector<std::string> authorNamesOf(const PatchEntry& entry) const;

    // --- What the browser shows ---
    PatchFilter filter;
    PatchView view;

    /// Fills the view by the filter, and finds the loaded patch in it. The Genetics bank shows its
    /// newest patches first, which their names put last. The trash is shown whole.
    void buildView(std::string_view currentPath);
    /// The patch `delta` rows from the current one, which becomes current; nullptr: none.
    const PatchEntry* stepPatch(int delta);

    bool isFavouritesSelected() const noexcept { return filter.bankRow == rows.favouritesRow; }
    bool isTrashSelected() const noexcept { return filter.bankRow == rows.trashRow; }
    bool isUserSelected() const noexcept { return filter.bankRow == rows.userRow; }
    bool isGeneticsSelected() const noexcept { return filter.bankRow == rows.geneticsRow; }

private:
    using PathIndex =
        std::unordered_map<std::string_view, std::uint32_t, NoCaseHash, NoCaseEqual>;

    void readBankConfigs();
    void meetAuthors();
    bool passesBank(const PatchEntry& entry) const;
    bool passesCategory(const PatchEntry& entry) const;
    bool passesAuthor(const PatchEntry& entry) const;
    void showIfPassing(const PatchEntry& entry, std::string_view search);

    LibraryHost& host;
    const std::vector<std::string> configuredCategories;
    LibraryFiles files;
    LibraryScan scan;
    Favourites favouriteList;
    LibraryColumns rows;
    std::vector<std::string> additionalCategories; ///< of all banks
    AuthorTable authors;                           ///< of all banks
    AuthorTable metAuthors; ///< those with patches, and `kUnknownAuthor` if there are others
    PathIndex entriesByPath;
    bool anyCategorySelected = false; ///< of the filter, while a view is built
};

} // namespace zephra
