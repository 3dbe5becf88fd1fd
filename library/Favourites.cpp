// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/Favourites.h"

#include <algorithm>
#include <map>
#include <system_error>

namespace zephra {

namespace {

constexpr std::size_t kLeastLine = 4, kMostLine = 511; ///< bytes
constexpr std::size_t kMostFileBytes = BoundedList<PatchEntry>::kMost * (kMostLine + 1);

/// True for a path that names something below the folder it starts from, and fits on a line.
bool canBeListed(std::string_view relPath)
{
    if (relPath.find_first_of("\r\n") != relPath.npos)
        return false;
    for (std::size_t end = 0; end != relPath.npos;) {
        end = relPath.find('\\');
        const std::string_view element = relPath.substr(0, end);
        if (element.empty() || element == "." || element == "..")
            return false;
        relPath.remove_prefix(end == relPath.npos ? 0 : end + 1);
    }
    return true;
}

std::string_view folderOf(std::string_view path)
{
    return path.substr(0, path.size() - lastElement(path).size());
}

} // namespace

void Favourites::read(const LibraryScan& scan, const FindPatch& findPatch)
{
    clear();
    lastSeen = files.identityOf(files.root() + kFileName);
    std::error_code error;
    const std::string text = files.readText(files.root() + kFileName, kMostFileBytes, error);
    isKnown = !error || error == std::errc::no_such_file_or_directory;
    if (error) {
        if (isKnown && files.createFile(files.root() + kFileName))
            lastSeen = files.identityOf(files.root() + kFileName);
        return;
    }

    std::map<std::string_view, std::uint32_t, NoCaseLess> folderIds;
    for (const PatchFolder& folder : scan.folders)
        folderIds.emplace(folder.path, folder.id);

    for (std::string_view rest = text; !rest.empty();) {
        const std::size_t end = rest.find('\n');
        std::string line(rest.substr(0, end));
        rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
        line.erase(line.find_last_not_of('\r') + 1);
        std::ranges::replace(line, '/', '\\');
        const PathText path = files.root() + line;
        if (line.size() < kLeastLine || line.size() > kMostLine || path.isCut() ||
            !canBeListed(line))
            continue;
        const auto folder = folderIds.find(folderOf(path));
        const PatchEntry gone{0, folder == folderIds.end() ? 0 : folder->second, path};
        const PatchEntry* const found = findPatch(path);
        if (!list.add(found ? *found : gone))
            break;
    }
    rebuild();
    if (fileText() != text)
        save();
}

std::string Favourites::fileText() const
{
    std::string text;
    for (const PatchEntry& entry : list) {
        text += text.empty() ? "" : "\n";
        text += files.belowRoot(entry.path);
    }
    return text;
}

bool Favourites::save()
{
    const bool saved = isKnown && files.replaceText(files.root() + kFileName, fileText());
    lastSeen = files.identityOf(files.root() + kFileName);
    return saved;
}

bool Favourites::changedElsewhere() const
{
    return files.identityOf(files.root() + kFileName) != lastSeen;
}

bool Favourites::add(const std::vector<PatchEntry>& entries)
{
    bool any = false;
    for (const PatchEntry& entry : entries) {
        if (!contains(entry.path) && canBeListed(files.belowRoot(entry.path)) &&
            !entry.path.isCut() && list.add(entry)) {
            known.insert(lowerAscii(entry.path.view()));
            any = true;
        }
    }
    rebuild();
    return any;
}

bool Favourites::remove(const std::vector<PatchEntry>& entries)
{
    std::unordered_set<std::string> gone;
    for (const PatchEntry& entry : entries)
        gone.insert(lowerAscii(entry.path.view()));
    const auto count = std::erase_if(list.all(), [&](const PatchEntry& entry) {
        return gone.contains(lowerAscii(entry.path.view()));
    });
    rebuild();
    return count > 0;
}

void Favourites::clear()
{
    list.clear();
    known.clear();
}

bool Favourites::repath(const PathText& from, const PathText& to)
{
    if (!contains(from))
        return false;
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): it may be that of an entry
    const PathText old = from;
    for (PatchEntry& entry : list.all())
        if (equalNoCase(entry.path, old))
            entry.path = to;
    rebuild();
    return true;
}

void Favourites::repathBelow(std::string_view from, std::string_view to)
{
    for (PatchEntry& entry : list.all()) {
        const std::string_view path = entry.path;
        if (!equalNoCase(path.substr(0, from.size()), from))
            continue;
        // A longer folder name may leave no room for the path: the favourite is then lost.
        entry.path = PathText(to) + path.substr(from.size());
    }
    std::erase_if(list.all(), [](const PatchEntry& entry) { return entry.path.isCut(); });
    rebuild();
}

void Favourites::rebuild()
{
    sortByName(list.all());
    known.clear();
    for (const PatchEntry& entry : list)
        known.insert(lowerAscii(entry.path.view()));
}

} // namespace zephra
