// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PatchRecord.h"
#include "library/PatchLibrary.h"
#include "terminal/ProgressBar.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zephra::librarian {

/// What a command has to say, for people and for programs.
struct Report {
    std::string text; ///< whole lines
    nlohmann::ordered_json json = nlohmann::ordered_json::object();
};

/// Which patches to list; what is empty does not narrow the list down.
struct ListFilter {
    std::string bank, author, search;
    std::vector<std::string> categories;
    bool uncategorized = false, favourites = false, trash = false;
};

/// How to breed a patch, and where to put it.
struct BreedOptions {
    float mix = GeneticsState::kDefaultMix; ///< 0..1
    std::uint32_t seed = geneticsSeedOfClock();
    bool store = false;  ///< in the bank "Genetics"
    std::string outFile; ///< else here
};

/// The commands of zephra-library on one library. Patches are named by their paths below the root,
/// with either kind of slash and in any case; so are banks and categories, by their names.
///
/// What goes wrong is printed to standard error, in the words of the instrument where it has any;
/// then `failed()`. A command for several patches goes on to the next.
class Librarian : LibraryHost {
public:
    using Names = std::vector<std::string>;

    Librarian(const std::filesystem::path& soundbankRoot, LibraryFiles::Access access);

    bool failed() const noexcept { return faults > 0; }

    // --- Looking ---
    Report tree();
    Report list(const ListFilter& wanted);
    Report show(const std::string& patch);

    // --- Patches ---
    Report moveToBank(const Names& patches, const std::string& bank);
    Report moveToCategory(const Names& patches, const std::string& category);
    Report rename(const std::string& patch, const std::string& name);
    /// Into the bank and category, unless they are empty.
    Report duplicate(const std::string& patch, const std::string& bank,
                     const std::string& category);
    Report trash(const Names& patches);
    Report restore(const Names& patches);
    Report purge(const Names& patches);
    Report setFavourites(const Names& patches, bool on);

    /// Two or three patches have a child.
    Report breed(const Names& patches, const BreedOptions& how);

    /// A patch into the bank and category, unless they are empty; a folder or ZIP archive as a new
    /// bank.
    Report importFrom(const std::filesystem::path& source, const std::string& bank,
                      const std::string& category);
    static bool isPatchFile(const std::filesystem::path& source); ///< and no folder of such a name

    // --- Whole lists and folders ---
    Report restoreAll();
    Report clearTrash();
    Report clearFavourites();
    Report createBank(const std::string& name);
    Report createCategory(const std::string& name);
    Report renameBank(const std::string& bank, const std::string& name);
    Report renameCategory(const std::string& category, const std::string& name);
    Report deleteBank(const std::string& bank);
    Report deleteCategory(const std::string& category);

private:
    void showMessage(std::string_view title, std::string_view text) override;
    void showProgress(std::size_t done, std::size_t whole) override;
    void complain(const std::string& name, const char* what);
    void require(bool done, const std::string& name, const char* otherwise);

    const PatchEntry* search(const std::string& patch, const BoundedList<PatchEntry>& list) const;
    PatchLibrary::Entries find(const Names& patches, const BoundedList<PatchEntry>& list);
    int bankRow(const std::string& bank);
    int categoryRow(const std::string& category);
    bool selectBank(const std::string& bank);
    bool selectCategory(const std::string& category);
    const PatchFolder* folderOfRow(const std::vector<PatchGroup>& column, int row,
                                   const std::string& name);
    bool store(PatchRecord& child, const std::filesystem::path& file);
    std::string shownPath(std::string_view path) const;
    std::string shownPath(const PatchEntry& entry) const;
    Report paths(const PatchLibrary::Entries& entries) const;

    static constexpr const char* kNoFolder = "there is no folder of that name";

    int faults = 0;
    std::optional<terminal::ProgressBar> progress;
    PatchLibrary library;
};

} // namespace zephra::librarian
