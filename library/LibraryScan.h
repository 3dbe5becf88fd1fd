// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/BoundedList.h"
#include "library/LibraryFiles.h"
#include "library/PatchEntry.h"
#include "library/PatchFolder.h"

#include <string_view>
#include <vector>

namespace zephra {

inline constexpr std::string_view kPatchExtension = "fxp";
inline constexpr std::string_view kTrashExtension = "bin";
/// In the trash or out of it.
inline bool isPatchFile(std::string_view fileName) noexcept
{
    return equalNoCase(extensionOf(fileName), kPatchExtension) ||
           equalNoCase(extensionOf(fileName), kTrashExtension);
}

inline constexpr std::string_view kUserBank = "User";             ///< for the user's own patches
inline constexpr std::string_view kGeneticsBankName = "Genetics"; ///< for bred patches

/// False for names that no scan lists: those that start with a dot, or have 128 characters or more.
bool isListedName(std::string_view name);

/// What lies in the soundbank tree: banks, categories in them, and patches in both.
struct LibraryScan {
    explicit LibraryScan(LibraryHost& host) : entries(host, 1), trash(host, 2), folders(host, 3) {}

    /// Reads the tree anew. Names that are not listed, and paths that are too long, are left out.
    /// The user's and the Genetics bank get their exact spelling.
    void read(const LibraryFiles& files);

    BoundedList<PatchEntry> entries; ///< sorted by name without case
    BoundedList<PatchEntry> trash;   ///< likewise
    BoundedList<PatchFolder> folders;

    /// nullptr for id 0 and beyond the list.
    const PatchFolder* folder(std::uint32_t id) const noexcept
    {
        return id > 0 && id <= folders.size() ? &folders.all()[id - 1] : nullptr;
    }

private:
    void walk(const LibraryFiles& files, const PathText& path, std::uint32_t holder, int level);
    void addFolder(const LibraryFiles& files, const PathText& path, std::uint32_t holder,
                   int level);
};

/// The order of every patch list: by name without case; equal names stay as they are.
void sortByName(std::vector<PatchEntry>& entries);

} // namespace zephra
