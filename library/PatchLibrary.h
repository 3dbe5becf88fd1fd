// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/AuthorTable.h"
#include "library/Favourites.h"
#include "library/GeneticsRng.h"
#include "library/GeneticsState.h"
#include "library/LibraryColumns.h"
#include "library/LibraryFiles.h"
#include "library/LibraryHost.h"
#include "library/LibraryScan.h"
#include "library/PatchView.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace zephra {

class ImportSource;

/// The soundbanks: a folder tree of patch files, and an index of it in memory that is built anew
/// after every change. Entries, folders and rows hold until the next `reload`, favourites and a
/// view of them until one changes; only paths live beyond it. [ui]
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

    // --- Commands. In PatchLibraryCommands.cpp, batches and favourites in PatchLibraryBatches.cpp
    // --- With `report` a refusal is shown; with `rescan` the library is reloaded at the end.
    // Without, the index stays as it was, for a batch that reloads once. Favourites follow every
    // move. An argument may come from the lists of this library.
    //
    // Nothing gets a name that the library keeps out of sight, such as "Trash", and no bank that of
    // a category.
    //
    // Moves return the entry under its new path: as the rescan found it, else the old one with
    // that path; nothing if the move was refused.

    using Moved = std::optional<PatchEntry>;

    bool movePatchFile(const PathText& oldPath, const PathText& newPath, bool report, bool rescan);
    /// The patch keeps its category, whose folder is made if the bank lacks it.
    Moved movePatchToBank(std::string_view bankName, const PatchEntry& entry, bool report,
                          bool rescan);
    /// The patch keeps its bank, but leaves the Genetics bank for the user's. An empty category is
    /// the bank's own level.
    Moved movePatchToCategory(std::string_view categoryName, const PatchEntry& entry, bool report,
                              bool rescan);
    Moved renamePatch(std::string_view newName, const PatchEntry& entry, bool report, bool rescan);
    /// A bank, or a category in all banks; the latter not while there are built-in categories. If
    /// it fails in one bank, it goes on in the others and returns false. The banks "User" and
    /// "Genetics" keep their names.
    bool renameFolder(std::string_view newName, const PatchFolder& folder, bool report,
                      bool rescan);

    // Trash: the extension changes, the place stays. No messages, as batches show theirs.
    bool moveToTrash(const PatchEntry& entry, bool rescan);
    bool restoreFromTrash(const PatchEntry& entry, bool rescan);
    bool deletePermanently(const PatchEntry& entry, bool rescan); ///< only from the trash

    /// With all in it that is no patch. Refused with a message while patches are in it, in the
    /// trash or out of it. "User" and "Genetics" stay.
    bool deleteBank(const PatchFolder& bank);
    bool deleteCategory(const PatchFolder& category); ///< likewise, in all banks

    /// A bank that exists is fine. What the user's bank tells about authors goes beside it.
    bool createBank(std::string_view name, bool rescan);
    bool createCategory(std::string_view name, bool rescan); ///< in the bank "User"
    /// An empty file in the selected bank, or "User", and the category, if one is selected. Refused
    /// with a message if the name is taken. Whoever calls writes the patch.
    bool createPatchFile(std::string_view name, PathText& outPath, bool rescan);
    /// Takes such a file back, if the patch could not be written.
    bool discardPatchFile(const PathText& path) { return files.removeEmptyFile(path); }
    /// Copies a patch into the selected bank or its own, and the selected category or its own,
    /// with a number ahead of the author codes if the name is taken; false after 100 numbers.
    Moved duplicatePatch(const PatchEntry& entry, bool rescan = true);

    /// False for what is no patch, such as one in the trash, and if it could not be kept.
    bool setFavourite(const PatchEntry& entry, bool on, bool rescan);
    bool clearFavourites();
    bool restoreAll(); ///< with one message if any patch could not be restored
    bool clearTrash();

    // Batches: on after a failure, one message for all, and one rescan at the end.
    using Entries = std::vector<PatchEntry>;
    bool moveToTrash(const Entries& entries); ///< those in the trash are deleted, without messages
    bool restoreFromTrash(const Entries& entries);
    Entries movePatchesToBank(std::string_view bankName, const Entries& entries);
    Entries movePatchesToCategory(std::string_view categoryName, const Entries& entries);
    bool setFavourites(const Entries& entries, bool on);

    // --- Genetics. In PatchLibraryGenetics.cpp ---
    GeneticsState genetics; ///< survives a reload

    /// The selected patches of the view become the parents, or two neighbours if fewer than two are
    /// selected.
    void takeParentsFromSelection();
    /// Makes two patches of the view, drawn by lot, the selected ones; no patch is current then.
    void selectRandomPair();
    /// Breeds out of the parents, if they are two or three, first taking the selection over if
    /// `resetSelection`, or a random pair if both are wanted. `breedChild` has the sound side do
    /// it.
    void runGenetics(bool resetSelection, bool randomParents, float mix,
                     const std::function<void(GeneticsState&)>& breedChild);
    /// An empty file in the bank "Genetics", named after the present time and the seed of the last
    /// breed; otherwise as createPatchFile.
    bool createChildFile(PathText& outPath, bool rescan);

    // --- Import. In PatchLibraryImport.cpp ---
    // Outside patches are copied into the library. What they come from stays as it is, and may lie
    // anywhere, in the library too. Refusals are always shown.

    /// One patch, to where `duplicatePatch` would put one without a place of its own: the selected
    /// bank, or "User", and the category, if one is selected.
    bool importPatch(const std::filesystem::path& source, PathText& outPath);
    /// All patches of a folder become a new bank of its name, and the folders that directly hold
    /// them its categories: ten levels at most, the folder included, down through links. Banks and
    /// categories get a number if their names are taken or kept out of sight. The first
    /// "config.ini" comes along. A later patch of the same category and name replaces an earlier
    /// one. With a message if patches could not be copied.
    bool importFolder(const std::filesystem::path& source, PathText& outBankPath);
    /// Likewise the contents of a ZIP archive, with the last "config.ini", and without a message
    /// for items that cannot be unpacked as long as one can.
    bool importZip(const std::filesystem::path& source, PathText& outBankPath);
    /// The path of a bank that does not exist yet: that name, or one with a number from 1 to 32.
    bool makeBankName(std::string_view sourceName, PathText& outBankPath);
    /// Files with this extension that lie beside imported patches go to a new folder of the bank's
    /// name in `companionRoot`; then the note is shown, unless it is empty.
    void registerCompanionType(const std::filesystem::path& companionRoot,
                               std::string_view extension, std::string_view note);

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
    struct CompanionType {
        std::filesystem::path root;
        std::string extension, note;
    };
    struct Copied {
        int patches = 0, faults = 0;
    };
    using PathIndex = std::map<std::string_view, std::uint32_t, NoCaseLess>;

    bool refuse(bool report, std::string_view text);
    Favourites& changeFavourites();
    bool markFavourites(const Entries& entries, bool on);
    bool createNewFile(const PathText& path, bool rescan);
    Moved movedTo(const PatchEntry& entry, const PathText& newPath, bool report, bool rescan);
    PathText bankPath(std::string_view bankName);
    PathText folderFor(std::string_view bankName, std::string_view categoryName);
    std::string selectedBankName() const;
    std::optional<std::string> onlyCategorySelected() const;
    bool isKept(const PatchFolder& folder) const;
    bool canBeBank(std::string_view name) const;
    bool isCategory(const PatchFolder& folder) const;
    bool isSameCategory(const PatchFolder& a, const PatchFolder& b) const;
    bool renameCategory(std::string_view newName, std::string_view oldName, bool report);
    template <class Move> Entries moveEach(const Entries& entries, Move move);
    Moved copyPatch(const std::filesystem::path& source, const PatchEntry& entry);
    bool importItems(ImportSource& source, std::string_view sourceName, const PathText& bank,
                     bool reportFaults, PathText& outBankPath);
    Copied copyItems(ImportSource& source, std::string_view sourceName, const PathText& bank);
    void copyCompanions(ImportSource& source, const PathText& bank);

    void readFavourites();
    void readBankConfigs();
    void meetAuthors();
    bool passesBank(const PatchEntry& entry) const;
    bool passesCategory(const PatchEntry& entry) const;
    std::string authorOfFilter() const;
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
    std::vector<CompanionType> companionTypes;
    PathIndex entriesByPath;
    bool viewShowsFavourites = false;
    bool anyCategorySelected = false;          ///< of the filter, while a view is built
    GeneticsRng random{geneticsSeedOfClock()}; ///< of random parents
};

} // namespace zephra
