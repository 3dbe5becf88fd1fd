// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/ZipSource.h"

#include "common/AsciiCase.h"

#include <algorithm>

namespace zephra {

namespace {

/// Drops what makes a path absolute.
void makeRelative(std::string& path)
{
    if (path.size() >= 2 && path[1] == ':' && lowerAscii(path[0]) >= 'a' &&
        lowerAscii(path[0]) <= 'z')
        path.erase(0, 2);
    path.erase(0, std::min(path.find_first_not_of('/'), path.size()));
}

/// False for paths with "." or ".." in them.
bool leadsDown(std::string_view path)
{
    while (!path.empty()) {
        const std::string_view element = path.substr(0, path.find('/'));
        if (element == "." || element == "..")
            return false;
        path.remove_prefix(std::min(element.size() + 1, path.size()));
    }
    return true;
}

bool isFit(const ImportItem& item)
{
    return !holdsControlBytes(item.path) && leadsDown(item.path) && !item.path.starts_with('.') &&
           isFitName(item.name()) && (item.folder().empty() || isFitName(item.folder()));
}

} // namespace

ZipSource::ZipSource(const std::filesystem::path& archive) : reader(archive)
{
    for (std::size_t i = 0; i < reader.names().size(); ++i) {
        ImportItem item{reader.names()[i], i};
        std::ranges::replace(item.path, '\\', '/');
        makeRelative(item.path);
        if (isFit(item))
            fitItems.push_back(std::move(item));
    }
}

bool ZipSource::copy(const ImportItem& item, const LibraryFiles& target, const PathText& to)
{
    return reader.read(item.index, unpacked) && target.putText(to, unpacked);
}

} // namespace zephra
