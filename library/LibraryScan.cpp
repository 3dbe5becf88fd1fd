// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryScan.h"

#include "common/AsciiCase.h"
#include "common/Utf8.h"

#include <algorithm>
#include <string>

namespace zephra {

namespace {

constexpr std::size_t kMostNameCharacters = 127;
constexpr int kDeepestFolder = 1; // banks are level 0, categories level 1

/// Two banks whose names differ in case only are left as they are.
void fixSpelling(const LibraryFiles& files, std::string_view bank)
{
    for (const LibraryFiles::Name& name : files.readFolder(files.root()))
        if (name.isFolder && name.text != bank && equalNoCase(name.text, bank))
            files.rename(files.root() + name.text, files.root() + bank);
}

} // namespace

bool isListedName(std::string_view name)
{
    return !name.empty() && !name.starts_with('.') && codePoints(name) <= kMostNameCharacters;
}

std::string displayFormOf(std::string_view name)
{
    constexpr std::string_view kInCapitals = "SFX";
    if (equalNoCase(name, kInCapitals))
        return std::string(kInCapitals);
    std::string form = lowerAscii(name);
    if (!form.empty())
        form.front() = upperAscii(form.front());
    return form;
}

void sortByName(std::vector<PatchEntry>& entries)
{
    std::ranges::stable_sort(entries, [](const PatchEntry& a, const PatchEntry& b) {
        return compareNoCase(a.name(), b.name()) < 0;
    });
    for (std::size_t i = 0; i < entries.size(); ++i)
        entries[i].id = static_cast<std::uint32_t>(i);
}

void LibraryScan::read(const LibraryFiles& files)
{
    entries.clear();
    trash.clear();
    folders.clear();
    fixSpelling(files, kUserBank);
    fixSpelling(files, kGeneticsBankName);
    walk(files, files.root(), 0, 0);
    sortByName(entries.all());
    sortByName(trash.all());
}

void LibraryScan::walk(const LibraryFiles& files, const PathText& path, std::uint32_t holder,
                       int level) // NOLINT(misc-no-recursion): three levels
{
    for (const LibraryFiles::Name& name : files.readFolder(path)) {
        const PathText inner = path + name.text;
        if (!isListedName(name.text) || inner.isCut())
            continue;
        const std::string_view extension = extensionOf(name.text);
        if (name.isFolder) {
            if (level <= kDeepestFolder)
                addFolder(files, inner, holder, level);
        } else if (equalNoCase(extension, kPatchExtension)) {
            if (entries.add({0, holder, inner}) && holder > 0)
                ++folders.all()[holder - 1].patchCount;
        } else if (equalNoCase(extension, kTrashExtension)) {
            trash.add({0, holder, inner});
        }
    }
}

void LibraryScan::addFolder(const LibraryFiles& files, const PathText& path, std::uint32_t holder,
                            int level) // NOLINT(misc-no-recursion): as walk
{
    const std::string_view name = lastElement(path);
    const PathText withBackslash = path + "\\";
    const auto id = static_cast<std::uint32_t>(folders.size() + 1);
    if (!withBackslash.isCut() &&
        folders.add({id, holder, 0, PathText(files.belowRoot(path)), std::string(name),
                     displayFormOf(name), withBackslash}))
        walk(files, withBackslash, id, level + 1);
}

} // namespace zephra
