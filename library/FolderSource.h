// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/BoundedList.h"
#include "library/ImportSource.h"

#include <filesystem>
#include <vector>

namespace zephra {

/// The files of a folder tree, in the order of a scan, with the first "config.ini" only. Links are
/// followed, but never to a folder that holds the link, nor into the library.
class FolderSource : public ImportSource {
public:
    FolderSource(const std::filesystem::path& folder, const std::filesystem::path& libraryRoot,
                 LibraryHost& host);

    const std::vector<ImportItem>& items() const noexcept override { return files.all(); }
    bool copy(const ImportItem& item, const LibraryFiles& target, const PathText& to) override;

private:
    bool walk(const std::filesystem::path& folder);
    bool isPassed(const std::filesystem::path& folder) const;

    std::filesystem::path root; ///< of the library
    BoundedList<ImportItem> files;
    BoundedList<std::filesystem::path> folders;
    std::vector<std::filesystem::path> above; ///< the folder that is being read, and those above
    bool configFound = false;
};

} // namespace zephra
