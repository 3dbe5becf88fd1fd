// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/FolderSource.h"

#include "library/BankConfig.h"

#include <system_error>
#include <utility>

namespace zephra {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kMostLevels = 10; ///< of folders in each other, the first one included

} // namespace

FolderSource::FolderSource(const fs::path& folder, IsWanted isWantedFile, LibraryHost& host)
    : isWanted(std::move(isWantedFile)), files(host, 5), folders(host, 6)
{
    walk(folder, 1);
}

/// False once a list is full.
bool FolderSource::walk(const fs::path& folder, std::size_t level) // NOLINT(misc-no-recursion)
{
    if (level > kMostLevels || !isNewAt(level, folder))
        return true;
    if (!folders.add(folder))
        return false;
    for (const LibraryFiles::Name& name : readForeignFolder(folder)) {
        const fs::path inner = folder / name.text;
        if (!isFitName(name.text))
            continue;
        if (name.isFolder) {
            if (!walk(inner, level + 1))
                return false;
        } else if (isWanted(name.text) &&
                   (name.text != BankConfig::kFileName || !std::exchange(configFound, true))) {
            if (!files.add({inner.string()}))
                return false;
        }
    }
    return true;
}

/// False for a folder that was met at this level or above.
bool FolderSource::isNewAt(std::size_t level, const fs::path& folder)
{
    std::error_code error; // leaves no path, which nothing can be read from
    const auto [at, isNew] = levels.try_emplace(fs::canonical(folder, error), level);
    if (!isNew && at->second <= level)
        return false;
    at->second = level;
    return true;
}

bool FolderSource::copy(const ImportItem& item, const LibraryFiles& target, const PathText& to)
{
    return target.putCopy(item.path, to);
}

} // namespace zephra
