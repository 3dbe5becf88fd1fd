// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/FolderSource.h"

#include "library/BankConfig.h"
#include "library/LibraryScan.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace zephra {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostLevels = 10; ///< of folders in each other, the first one included

} // namespace

FolderSource::FolderSource(const fs::path& folder, const fs::path& libraryRoot, LibraryHost& host)
    : root(libraryRoot), files(host, 5), folders(host, 6)
{
    if (!isPassed(folder))
        walk(folder);
}

/// False once a list is full.
bool FolderSource::walk(const fs::path& folder) // NOLINT(misc-no-recursion): ten levels
{
    if (!folders.add(folder))
        return false;
    above.push_back(folder);
    for (const LibraryFiles::Name& name : readForeignFolder(folder)) {
        const fs::path inner = folder / name.text;
        if (!isListedName(name.text))
            continue;
        if (name.isFolder) {
            if (above.size() < kMostLevels && !isPassed(inner) && !walk(inner))
                return false;
        } else if (name.text != BankConfig::kFileName || !std::exchange(configFound, true)) {
            if (!files.add({inner.string()}))
                return false;
        }
    }
    above.pop_back();
    return true;
}

/// True for the library, and for a folder that the walk is in already.
bool FolderSource::isPassed(const fs::path& folder) const
{
    const auto isSame = [&](const fs::path& other) {
        std::error_code error;
        return fs::equivalent(folder, other, error);
    };
    return isSame(root) || std::ranges::any_of(above, isSame);
}

bool FolderSource::copy(const ImportItem& item, const LibraryFiles& target, const PathText& to)
{
    return target.putCopy(item.path, to);
}

} // namespace zephra
