// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/BoundedList.h"
#include "library/ImportSource.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

namespace zephra {

/// The files of a folder tree that are wanted, in the order of a scan, with the first "config.ini"
/// only. Links are followed, but however many lead to a folder, it is read once, and again only
/// where it lies higher, so that nothing is too deep down by one of its paths.
class FolderSource : public ImportSource {
public:
    using IsWanted = std::function<bool(std::string_view fileName)>;

    FolderSource(const std::filesystem::path& folder, IsWanted isWantedFile, LibraryHost& host);

    const std::vector<ImportItem>& items() const noexcept override { return files.all(); }
    bool copy(const ImportItem& item, const LibraryFiles& target, const PathText& to) override;

private:
    bool walk(const std::filesystem::path& folder, std::size_t level);
    bool isNewAt(std::size_t level, const std::filesystem::path& folder);

    IsWanted isWanted;
    BoundedList<ImportItem> files;
    BoundedList<std::filesystem::path> folders;
    std::map<std::filesystem::path, std::size_t> levels; ///< of folders, without links
    bool configFound = false;
};

} // namespace zephra
