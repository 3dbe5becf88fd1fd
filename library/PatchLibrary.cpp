// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchLibrary.h"

#include "common/Utf8.h"
#include "library/BankConfig.h"

#include <algorithm>
#include <iterator>
#include <system_error>
#include <utility>

namespace zephra {

namespace {

constexpr std::size_t kMostAuthorNameBytes = 63;

/// `lowerSearch` is in small letters.
bool passesSearch(std::string_view name, std::string_view lowerSearch)
{
    if (codePoints(lowerSearch) == 1)
        return equalNoCase(name.substr(0, lowerSearch.size()), lowerSearch);
    return containsNoCase(name, lowerSearch);
}

/// No folder of another name would be found again. An empty one stands for the bank's own level.
bool canBeCategory(const std::string& name)
{
    constexpr std::string_view kNotInNames("\\/\n\r\0", 5);
    return name.empty() || (isListedName(name) && !LibraryColumns::isHiddenName(name) &&
                            name.find_first_of(kNotInNames) == name.npos);
}

} // namespace

const std::vector<std::string> PatchLibrary::kBuiltInCategories = {"Bass", "Chords", "Lead",
                                                                   "Poly", "SFX",    "Vintage"};

PatchLibrary::PatchLibrary(const std::filesystem::path& soundbankRoot, LibraryHost& libraryHost,
                           LibraryFiles::Access access, std::vector<std::string> builtInCategories)
    : host(libraryHost), configuredCategories(std::move(builtInCategories)),
      files(soundbankRoot, access), scan(host), favouriteList(files, host)
{
    reload(true);
}

// --- Scan -----------------------------------------------------------------------------------

void PatchLibrary::reload(bool rescanAuthors)
{
    view = PatchView();
    entriesByPath.clear(); // looks into the entries
    scan.read(files);
    for (const PatchEntry& entry : scan.entries)
        entriesByPath.try_emplace(entry.path, entry.id);
    readFavourites();
    if (rescanAuthors)
        readBankConfigs();
    rows.build(scan.folders, configuredCategories, additionalCategories);
    const std::string author = authorOfFilter();
    meetAuthors();
    const auto sameAuthor = metAuthors.find(author);
    filter.authorRow = sameAuthor == metAuthors.end()
                           ? -1
                           : static_cast<int>(std::distance(metAuthors.begin(), sameAuthor));
    filter.bankRow = -1;
    filter.categorySelected.assign(rows.categories.size(), false);
}

void PatchLibrary::readFavourites()
{
    favouriteList.read(scan, [this](std::string_view path) { return findByPath(path); });
}

void PatchLibrary::readBankConfigs()
{
    authors.clear();
    additionalCategories.clear();
    const auto isBank = [&](const PatchFolder& folder) {
        return folder.parent == 0 && !LibraryColumns::isHiddenName(folder.name) &&
               std::ranges::none_of(configuredCategories, [&](const std::string& category) {
                   return equalNoCase(category, folder.name);
               });
    };
    for (const PatchFolder& folder : scan.folders) {
        if (!isBank(folder))
            continue;
        std::error_code error;
        const BankConfig config = readBankConfig(
            files.readText(folder.path + BankConfig::kFileName, BankConfig::kMostBytes, error));
        for (const auto& [code, name] : config.authors)
            authors.try_emplace(code, name);
        std::ranges::copy_if(config.categories, std::back_inserter(additionalCategories),
                             canBeCategory);
    }
}

void PatchLibrary::meetAuthors()
{
    metAuthors.clear();
    for (const PatchEntry& entry : scan.entries) {
        for (const std::string& code : authorCodesOf(entry)) {
            const auto row = authors.find(code);
            if (row != authors.end())
                metAuthors.insert(*row);
            else
                metAuthors.try_emplace(std::string(kUnknownAuthor), kUnknownAuthor);
        }
    }
}

// --- Look-up --------------------------------------------------------------------------------

const PatchEntry* PatchLibrary::findByPath(std::string_view path) const
{
    const auto found = entriesByPath.find(path);
    if (found == entriesByPath.end())
        return nullptr;
    const PatchEntry& first = scan.entries.at(found->second);
    if (first.path == path)
        return &first;
    const auto exact = std::ranges::find(scan.entries, path,
                                         [](const PatchEntry& entry) { return entry.path.view(); });
    return exact == scan.entries.end() ? &first : &*exact;
}

const PatchFolder* PatchLibrary::folderByPath(std::string_view path) const
{
    const auto found = std::ranges::find(
        scan.folders, path, [](const PatchFolder& folder) { return folder.path.view(); });
    return found == scan.folders.end() ? nullptr : &*found;
}

int PatchLibrary::countPatches(const PatchFolder& bank, bool inTrash) const
{
    return static_cast<int>(
        std::ranges::count_if(inTrash ? scan.trash : scan.entries, [&](const PatchEntry& entry) {
            const PatchFolder* holder = scan.folder(entry.folderId);
            return holder && (holder->id == bank.id || holder->parent == bank.id);
        }));
}

int PatchLibrary::countCategoryPatches(const PatchFolder& category, bool inTrash) const
{
    return static_cast<int>(
        std::ranges::count_if(inTrash ? scan.trash : scan.entries, [&](const PatchEntry& entry) {
            const PatchFolder* holder = scan.folder(entry.folderId);
            return holder && (isSameCategory(*holder, category) ||
                              (holder->parent != 0 &&
                               isSameCategory(*scan.folder(holder->parent), category)));
        }));
}

std::string PatchLibrary::bankNameOf(const PatchEntry& entry) const
{
    const PatchFolder* holder = scan.folder(entry.folderId);
    if (!holder)
        return {};
    if (holder->parent != 0)
        return scan.folder(holder->parent)->name;
    return rows.categoryRowOf(holder->id) >= 0 ? std::string() : holder->name;
}

std::string PatchLibrary::categoryNameOf(const PatchEntry& entry) const
{
    const int row = rows.categoryRowOf(entry.folderId);
    return row < 0 ? std::string() : rows.categories[static_cast<std::size_t>(row)].displayName;
}

std::vector<std::string> PatchLibrary::authorCodesOf(const PatchEntry& entry) const
{
    return zephra::authorCodesOf(entry.name());
}

std::vector<std::string> PatchLibrary::authorNamesOf(const PatchEntry& entry) const
{
    std::vector<std::string> names;
    for (const std::string& code : authorCodesOf(entry))
        if (const auto row = authors.find(code); row != authors.end())
            names.emplace_back(utf8Prefix(row->second, kMostAuthorNameBytes));
    return names;
}

// --- View -----------------------------------------------------------------------------------

void PatchLibrary::buildView(std::string_view currentPath)
{
    const std::size_t sizeBefore = view.rows.size();
    viewShowsFavourites = isFavouritesSelected();
    view.rows.clear();
    view.categoryCounts.assign(rows.categories.size(), 0);
    const auto& source = isTrashSelected()        ? scan.trash
                         : isFavouritesSelected() ? favouriteList.entries()
                                                  : scan.entries;
    if (isTrashSelected()) {
        for (const PatchEntry& entry : source)
            view.rows.push_back(&entry);
    } else {
        const std::string search = lowerAscii(filter.searchText);
        anyCategorySelected = std::ranges::count(filter.categorySelected, true) > 0;
        for (std::size_t i = 0; i < source.size(); ++i)
            showIfPassing(source.at(isGeneticsSelected() ? source.size() - 1 - i : i), search);
    }

    if (view.rows.empty() || view.rows.size() != sizeBefore)
        view.clearSelection();
    const auto current = std::ranges::find_if(
        view.rows, [&](const PatchEntry* entry) { return entry->path == currentPath; });
    view.currentRow =
        current == view.rows.end() ? -1 : static_cast<int>(current - view.rows.begin());
}

void PatchLibrary::showIfPassing(const PatchEntry& entry, std::string_view search)
{
    if (!passesSearch(entry.name(), search) || !passesAuthor(entry))
        return;
    if (const int row = rows.categoryRowOf(entry.folderId); row >= 0)
        ++view.categoryCounts[static_cast<std::size_t>(row)];
    if (passesBank(entry) && passesCategory(entry))
        view.rows.push_back(&entry);
}

bool PatchLibrary::passesBank(const PatchEntry& entry) const
{
    const int row = rows.bankRowOf(entry.folderId);
    if (rows.isHidden(entry.folderId) || (row == rows.geneticsRow && !isGeneticsSelected()))
        return false;
    return filter.bankRow < 0 || isFavouritesSelected() || row == filter.bankRow;
}

bool PatchLibrary::passesCategory(const PatchEntry& entry) const
{
    const int row = rows.categoryRowOf(entry.folderId);
    if (filter.uncategorizedOnly)
        return row < 0;
    const auto index = static_cast<std::size_t>(row);
    return !anyCategorySelected ||
           (row >= 0 && index < filter.categorySelected.size() && filter.categorySelected[index]);
}

/// A code of `authorsMet`, or empty: all.
std::string PatchLibrary::authorOfFilter() const
{
    return filter.authorRow < 0 || filter.authorRow >= static_cast<int>(metAuthors.size())
               ? std::string()
               : std::next(metAuthors.begin(), filter.authorRow)->first;
}

bool PatchLibrary::passesAuthor(const PatchEntry& entry) const
{
    const std::string wanted = authorOfFilter();
    if (wanted.empty())
        return true;
    return std::ranges::any_of(authorCodesOf(entry), [&](const std::string& code) {
        return code == wanted || (wanted == kUnknownAuthor && !authors.contains(code));
    });
}

const PatchEntry* PatchLibrary::stepPatch(int delta)
{
    const int row = view.stepRow(delta);
    if (row < 0)
        return nullptr;
    view.currentRow = row;
    if (view.selectedCount >= 2)
        view.lastSelected = row;
    return view.rows[static_cast<std::size_t>(row)];
}

} // namespace zephra
