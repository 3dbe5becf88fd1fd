// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/AsciiCase.h"
#include "library/BankConfig.h"
#include "library/LibraryMessages.h"
#include "library/PatchLibrary.h"

#include <algorithm>
#include <utility>

namespace zephra {

namespace {

constexpr int kMostCopies = 100;

std::string withExtension(std::string_view name, std::string_view extension)
{
    return std::string(name) + "." + std::string(extension);
}

PathText replaceExtension(const PatchEntry& entry, std::string_view extension)
{
    return PathText(withExtension(withoutExtension(entry.path), extension));
}

PathText folderOf(const PatchEntry& entry)
{
    const std::string_view path = entry.path;
    return PathText(path.substr(0, path.size() - entry.fileName().size()));
}

} // namespace

/// Always false.
bool PatchLibrary::refuse(bool report, std::string_view text)
{
    if (report)
        host.showMessage(kMessageTitle, text);
    return false;
}

// --- Folders --------------------------------------------------------------------------------

/// The user's and the Genetics bank are made at need. An empty name is the root.
PathText PatchLibrary::bankPath(std::string_view bankName)
{
    if (bankName.empty())
        return root();
    PathText path = root() + bankName + "\\";
    if (bankName == kUserBank || bankName == kGeneticsBankName)
        files.makeFolder(path);
    return path;
}

/// The category's folder in a bank under the spelling that it has there, or a new one.
PathText PatchLibrary::folderFor(std::string_view bankName, std::string_view categoryName)
{
    PathText bank = bankPath(bankName);
    if (categoryName.empty())
        return bank;
    const PatchFolder* bankFolder = folderByPath(bank);
    const std::uint32_t bankId = bankFolder ? bankFolder->id : 0;
    const bool isScanned = bankFolder || bankName.empty();
    for (const PatchFolder& folder : scan.folders)
        if (isScanned && folder.parent == bankId && equalNoCase(folder.name, categoryName))
            return folder.path;
    PathText path = bank + categoryName + "\\";
    files.makeFolder(path);
    return path;
}

/// Empty unless a bank is selected that can hold files.
std::string PatchLibrary::selectedBankName() const
{
    if (filter.bankRow < 0 || isFavouritesSelected() || isTrashSelected())
        return {};
    return rows.banks.at(static_cast<std::size_t>(filter.bankRow)).name;
}

std::optional<std::string> PatchLibrary::onlyCategorySelected() const
{
    const auto& selected = filter.categorySelected;
    if (std::ranges::count(selected, true) != 1)
        return std::nullopt;
    return rows.categories
        .at(static_cast<std::size_t>(std::ranges::find(selected, true) - selected.begin()))
        .name;
}

bool PatchLibrary::isKept(const PatchFolder& folder) const
{
    return folder.parent == 0 && (folder.name == kUserBank || folder.name == kGeneticsBankName);
}

/// A folder in the root that is called like a category joins it, and others are out of sight.
bool PatchLibrary::canBeBank(std::string_view name) const
{
    return !LibraryColumns::isHiddenName(name) && rows.categoryRowNamed(name) < 0;
}

bool PatchLibrary::isCategory(const PatchFolder& folder) const
{
    return folder.parent != 0 || rows.categoryRowOf(folder.id) >= 0;
}

bool PatchLibrary::isSameCategory(const PatchFolder& a, const PatchFolder& b) const
{
    return isCategory(a) && isCategory(b) && equalNoCase(a.name, b.name);
}

// --- Moving ---------------------------------------------------------------------------------

bool PatchLibrary::movePatchFile(const PathText& oldPath, const PathText& newPath, bool report,
                                 bool rescan)
{
    // NOLINTNEXTLINE(performance-unnecessary-copy-initialization): they may be those of favourites
    const PathText from = oldPath, to = newPath;
    if (!files.rename(from, to))
        return refuse(report, kMoveBlocked);
    if (changeFavourites().repath(from, to))
        favouriteList.save();
    if (rescan)
        reload(false);
    return true;
}

PatchLibrary::Moved PatchLibrary::movedTo(const PatchEntry& entry, const PathText& newPath,
                                          bool report, bool rescan)
{
    PatchEntry moved = entry;
    if (!movePatchFile(moved.path, newPath, report, rescan))
        return std::nullopt;
    const PatchEntry* found = rescan ? findByPath(newPath) : nullptr;
    if (found)
        return *found;
    moved.path = newPath;
    if (rescan)
        moved.folderId = 0; // it is out of sight
    return moved;
}

PatchLibrary::Moved PatchLibrary::movePatchToBank(std::string_view bankName,
                                                  const PatchEntry& entry, bool report, bool rescan)
{
    if (LibraryColumns::isHiddenName(bankName)) {
        refuse(report, kMoveBlocked);
        return std::nullopt;
    }
    const PathText folder = folderFor(bankName, categoryNameOf(entry));
    return movedTo(entry, folder + withExtension(entry.name(), kPatchExtension), report, rescan);
}

PatchLibrary::Moved PatchLibrary::movePatchToCategory(std::string_view categoryName,
                                                      const PatchEntry& entry, bool report,
                                                      bool rescan)
{
    if (LibraryColumns::isHiddenName(categoryName)) {
        refuse(report, kMoveBlocked);
        return std::nullopt;
    }
    std::string bank = bankNameOf(entry);
    if (bank == kGeneticsBankName)
        bank = kUserBank;
    const PathText folder = folderFor(bank, categoryName);
    return movedTo(entry, folder + withExtension(entry.name(), kPatchExtension), report, rescan);
}

PatchLibrary::Moved PatchLibrary::renamePatch(std::string_view newName, const PatchEntry& entry,
                                              bool report, bool rescan)
{
    return movedTo(entry, folderOf(entry) + withExtension(newName, kPatchExtension), report,
                   rescan);
}

bool PatchLibrary::renameFolder(std::string_view newName, const PatchFolder& folder, bool report,
                                bool rescan)
{
    if (isKept(folder))
        return false;
    bool done = false;
    if (isCategory(folder)) {
        if (builtInListInForce())
            return false;
        const auto isNew = [&](const PatchFolder& other) {
            return equalNoCase(other.name, newName);
        };
        if (LibraryColumns::isHiddenName(newName) || std::ranges::any_of(scan.folders, isNew))
            return refuse(report, kFolderExists);
        done = renameCategory(newName, std::string(folder.name), report);
    } else {
        const PathText newPath = root() + newName + "\\";
        if (!canBeBank(newName) || !files.rename(folder.path, newPath))
            return refuse(report, kBankExists);
        changeFavourites().repathBelow(folder.path, newPath);
        done = true;
    }
    favouriteList.save();
    if (rescan)
        reload(false);
    return done;
}

bool PatchLibrary::renameCategory(std::string_view newName, std::string_view oldName, bool report)
{
    bool all = true;
    for (const PatchFolder& folder : scan.folders) {
        if (!isCategory(folder) || !equalNoCase(folder.name, oldName))
            continue;
        const PatchFolder* bank = scan.folder(folder.parent);
        const PathText newPath = (bank ? bank->path : root()) + newName + "\\";
        if (files.rename(folder.path, newPath))
            changeFavourites().repathBelow(folder.path, newPath);
        else
            all = false;
    }
    return all || refuse(report, kFolderExists);
}

// --- Trash ----------------------------------------------------------------------------------

bool PatchLibrary::moveToTrash(const PatchEntry& entry, bool rescan)
{
    const PatchEntry trashed = entry;
    if (!equalNoCase(extensionOf(entry.path), kPatchExtension) ||
        !files.rename(entry.path, replaceExtension(entry, kTrashExtension)))
        return false;
    if (changeFavourites().remove({trashed}))
        favouriteList.save();
    if (rescan)
        reload(false);
    return true;
}

bool PatchLibrary::restoreFromTrash(const PatchEntry& entry, bool rescan)
{
    if (!equalNoCase(extensionOf(entry.path), kTrashExtension) ||
        !files.rename(entry.path, replaceExtension(entry, kPatchExtension)))
        return false;
    if (rescan)
        reload(false);
    return true;
}

bool PatchLibrary::deletePermanently(const PatchEntry& entry, bool rescan)
{
    if (!equalNoCase(extensionOf(entry.path), kTrashExtension) || !files.removeFile(entry.path))
        return false;
    if (rescan)
        reload(false);
    return true;
}

bool PatchLibrary::restoreAll()
{
    reload(false);
    return restoreFromTrash(scan.trash.all());
}

bool PatchLibrary::clearTrash()
{
    reload(false);
    bool all = true;
    for (const PatchEntry& entry : scan.trash)
        all &= deletePermanently(entry, false);
    reload(false);
    return all;
}

// --- Deleting folders -----------------------------------------------------------------------

bool PatchLibrary::deleteBank(const PatchFolder& bank)
{
    // Another program may have put patches in since the last scan.
    const PathText path = bank.path;
    reload(false);
    const PatchFolder* found = folderByPath(path);
    if (!found || found->parent != 0 || isCategory(*found) || isKept(*found))
        return false;
    if (const int count = countPatches(*found, false); count > 0)
        return refuse(true, kBankHoldsPatches + std::to_string(count));
    if (const int count = countPatches(*found, true); count > 0)
        return refuse(true, kBankHoldsTrash + std::to_string(count));
    const bool removed = files.removeFolder(path, isPatchFile);
    reload(false);
    return removed || refuse(true, kBankNotRemoved);
}

bool PatchLibrary::deleteCategory(const PatchFolder& category)
{
    const PathText path = category.path;
    reload(false);
    const PatchFolder* found = folderByPath(path);
    if (!found || !isCategory(*found))
        return false;
    if (const int count = countCategoryPatches(*found, false); count > 0)
        return refuse(true, kFolderHoldsPatches + std::to_string(count));
    if (const int count = countCategoryPatches(*found, true); count > 0)
        return refuse(true, kFolderHoldsTrash + std::to_string(count));
    bool all = true;
    for (const PatchFolder& folder : scan.folders)
        if (isSameCategory(folder, *found))
            all &= files.removeFolder(folder.path, isPatchFile);
    reload(false);
    return all || refuse(true, kFolderNotRemoved);
}

// --- Making ---------------------------------------------------------------------------------

bool PatchLibrary::createBank(std::string_view name, bool rescan)
{
    const bool made = canBeBank(name) && files.makeFolder(root() + name);
    // Kept: the copy lies beside the new folder, its name glued to the folder's.
    const PathText ofUser = root() + kUserBank + "\\" + BankConfig::kFileName;
    if (made && files.fileExists(ofUser))
        files.copyFile(nativePath(ofUser), root() + name + BankConfig::kFileName);
    if (rescan)
        reload(false);
    return made;
}

bool PatchLibrary::createCategory(std::string_view name, bool rescan)
{
    const bool made =
        !LibraryColumns::isHiddenName(name) && files.makeFolder(bankPath(kUserBank) + name);
    if (rescan)
        reload(false);
    return made;
}

bool PatchLibrary::createPatchFile(std::string_view name, PathText& outPath, bool rescan)
{
    const std::string bank = selectedBankName();
    const PathText folder = folderFor(bank.empty() ? std::string_view(kUserBank) : bank,
                                      onlyCategorySelected().value_or(""));
    outPath = folder + withExtension(name, kPatchExtension);
    return createNewFile(outPath, rescan);
}

bool PatchLibrary::createNewFile(const PathText& path, bool rescan)
{
    if (!files.createFile(path))
        return refuse(true, kMoveBlocked);
    if (rescan)
        reload(false);
    return true;
}

PatchLibrary::Moved PatchLibrary::duplicatePatch(const PatchEntry& entry, bool rescan)
{
    Moved copy = copyPatch(nativePath(entry.path), entry);
    if (!copy || !rescan)
        return copy;
    reload(false);
    const PatchEntry* found = findByPath(copy->path);
    return found ? *found : copy;
}

/// `entry` tells the name, and the place where nothing is selected. A copy that fails leaves no
/// folder behind that was made for it.
PatchLibrary::Moved PatchLibrary::copyPatch(const std::filesystem::path& source,
                                            const PatchEntry& entry)
{
    PatchEntry copy = entry;
    std::string bank = selectedBankName();
    if (bank.empty())
        bank = bankNameOf(entry);
    if (bank.empty())
        bank = kUserBank;
    const std::string category =
        bank == kGeneticsBankName ? "" : onlyCategorySelected().value_or(categoryNameOf(entry));
    const PathText folder = folderFor(bank, category);

    const PatchNameParts name = splitAuthors(entry.name());
    copy.path = folder + withExtension(name.base + name.authors, kPatchExtension);
    for (int number = 1; files.isTaken(copy.path); ++number) {
        if (number > kMostCopies)
            return std::nullopt;
        copy.path = folder + withExtension(name.base + " " + std::to_string(number) + name.authors,
                                           kPatchExtension);
    }
    if (isListedName(copy.fileName()) && files.copyFile(source, copy.path))
        return copy;
    for (const PathText& made : {folder, root() + bank + "\\"})
        if (!folderByPath(made))
            files.removeEmptyFolder(made);
    return std::nullopt;
}

} // namespace zephra
