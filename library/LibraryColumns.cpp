// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/LibraryColumns.h"

#include <algorithm>

namespace zephra {

namespace {

constexpr const char* kFavourites = "Favourites";
constexpr const char* kTrash = "Trash";
constexpr const char* kHiddenFolders[] = {"All Patches", "Init Patch", kFavourites, kTrash};

int addRow(std::vector<PatchGroup>& column, std::string_view name)
{
    column.push_back({std::string(name), displayFormOf(name), {}});
    return static_cast<int>(column.size()) - 1;
}

void addFolder(PatchGroup& group, const PatchFolder& folder)
{
    if (group.folders.size() < PatchGroup::kMostFolders)
        group.folders.push_back(folder.id);
}

} // namespace

bool LibraryColumns::isHiddenName(std::string_view name)
{
    return std::ranges::any_of(kHiddenFolders,
                               [&](const char* hidden) { return equalNoCase(name, hidden); });
}

void LibraryColumns::build(const BoundedList<PatchFolder>& folders,
                           const std::vector<std::string>& configured,
                           const std::vector<std::string>& additional)
{
    *this = LibraryColumns();
    favouritesRow = addRow(banks, kFavourites);
    geneticsRow = addRow(banks, kGeneticsBankName);
    userRow = addRow(banks, kUserBank);
    for (const auto* names : {&configured, &additional})
        for (const std::string& name : *names)
            addCategory(name);

    places.resize(folders.size() + 1);
    for (const PatchFolder& folder : folders)
        place(folder);
    for (const PatchFolder& folder : folders) {
        FolderPlace& found = places[folder.id];
        if (folder.parent == 0 || found.hidden || found.categoryRow >= 0)
            continue;
        addCategory(folder.name);
        found.categoryRow = categoryRowNamed(folder.name);
        addFolder(categories[static_cast<std::size_t>(found.categoryRow)], folder);
    }
    trashRow = addRow(banks, kTrash);
}

void LibraryColumns::addCategory(std::string_view name)
{
    if (categoryRows.try_emplace(std::string(name), static_cast<int>(categories.size())).second)
        addRow(categories, name);
}

/// Into the row of its category, if there is one yet, or a bank into one of its own.
void LibraryColumns::place(const PatchFolder& folder)
{
    FolderPlace& found = places[folder.id];
    const FolderPlace& bank = places[folder.parent]; // a bank comes ahead of its categories
    found.bankRow = bank.bankRow;
    found.hidden = bank.hidden || isHiddenName(folder.name);
    if (found.hidden)
        return;
    const int ownRow = folder.parent != 0                 ? -1
                       : folder.name == kGeneticsBankName ? geneticsRow
                       : folder.name == kUserBank         ? userRow
                                                          : -1;
    found.categoryRow = ownRow < 0 ? categoryRowNamed(folder.name) : -1;
    if (found.categoryRow >= 0) {
        addFolder(categories[static_cast<std::size_t>(found.categoryRow)], folder);
    } else if (folder.parent == 0) {
        found.bankRow = ownRow < 0 ? addRow(banks, folder.name) : ownRow;
        addFolder(banks[static_cast<std::size_t>(found.bankRow)], folder);
    }
}

int LibraryColumns::bankRowNamed(std::string_view name) const
{
    const auto row = std::ranges::find(banks, name, &PatchGroup::name);
    return row == banks.end() ? -1 : static_cast<int>(row - banks.begin());
}

int LibraryColumns::categoryRowNamed(std::string_view name) const
{
    const auto row = categoryRows.find(name);
    return row == categoryRows.end() ? -1 : row->second;
}

} // namespace zephra
