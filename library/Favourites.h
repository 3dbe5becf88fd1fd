// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/AsciiCase.h"
#include "library/BoundedList.h"
#include "library/LibraryFiles.h"
#include "library/LibraryScan.h"

#include <functional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace zephra {

/// The user's favourite patches, kept in "Favourites.db" in the soundbank root: a path below the
/// root per line, no line feed behind the last. A favourite whose file has gone stays until it is
/// taken out by hand. Paths are compared without regard to case.
class Favourites {
public:
    static constexpr std::string_view kFileName = "Favourites.db";

    /// The files outlive it.
    Favourites(const LibraryFiles& libraryFiles, LibraryHost& host)
        : files(libraryFiles), list(host, 4)
    {
    }

    /// A patch by its path without regard to case; nullptr: none.
    using FindPatch = std::function<const PatchEntry*(std::string_view path)>;

    /// Reads the file anew and writes it back in order, spelled like the patches; a missing one is
    /// made. One that cannot be read is left alone.
    void read(const LibraryScan& scan, const FindPatch& findPatch);
    /// False if the file could not be written; one that could not be read stays as it is.
    bool save();
    /// Another process has written the file since it was last read or saved.
    bool changedElsewhere() const;

    const BoundedList<PatchEntry>& entries() const noexcept { return list; }
    bool contains(std::string_view path) const { return known.contains(lowerAscii(path)); }

    // None of these saves. True if there was anything to do.
    bool add(const std::vector<PatchEntry>& entries);
    bool remove(const std::vector<PatchEntry>& entries);
    void clear();
    /// A file has a new path. True if it is a favourite.
    bool repath(const PathText& from, const PathText& to);
    /// A folder has a new path; both end with a backslash.
    void repathBelow(std::string_view from, std::string_view to);

private:
    std::string fileText() const;
    void rebuild();

    const LibraryFiles& files;
    LibraryFiles::Identity lastSeen;
    bool isKnown = false;                  ///< the file is what the list was, or there was none
    BoundedList<PatchEntry> list;          ///< sorted by name
    std::unordered_set<std::string> known; ///< paths in small letters
};

} // namespace zephra
