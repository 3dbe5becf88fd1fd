// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/AsciiCase.h"
#include "library/BankConfig.h"
#include "library/FolderSource.h"
#include "library/LibraryMessages.h"
#include "library/PatchLibrary.h"
#include "library/ZipSource.h"

#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <system_error>

namespace zephra {

namespace fs = std::filesystem;

namespace {

constexpr int kMostNumbers = 32;

bool hasExtension(std::string_view fileName, std::string_view extension)
{
    return equalNoCase(extensionOf(fileName), extension);
}

bool isPatch(const ImportItem& item) { return hasExtension(item.name(), kPatchExtension); }

std::string numbered(std::string_view name, int number)
{
    return std::string(name) + (number > 0 ? " (" + std::to_string(number) + ")" : "");
}

/// A folder directly in a tree that does not exist yet, with a backslash at the end; empty: none.
template <class Fits>
PathText freeFolder(const LibraryFiles& files, std::string_view name, Fits isFit)
{
    for (int number = 0; number <= kMostNumbers; ++number) {
        const PathText path = files.root() + numbered(name, number);
        if (isFit(lastElement(path)) && !files.isTaken(path))
            return path + "\\";
    }
    return PathText();
}

/// By the folders that patches come from, the places in a new bank that they go to: its own level
/// for those of the source's name, else a category under the spelling in which it came first. What
/// the library keeps out of sight gets a number that no other folder has.
std::map<std::string_view, PathText, NoCaseLess>
categoriesOf(const ImportSource& source, std::string_view sourceName, const PathText& bank)
{
    std::map<std::string_view, PathText, NoCaseLess> places;
    for (const ImportItem& item : source.items())
        if (const std::string_view name = item.folder(); isPatch(item))
            places.try_emplace(
                name, name.empty() || equalNoCase(name, sourceName) ? bank : bank + name + "\\");
    for (auto& [name, place] : places) {
        if (place == bank || !LibraryColumns::isHiddenName(name))
            continue;
        int number = 1;
        while (places.contains(numbered(name, number)))
            ++number;
        place = bank + numbered(name, number) + "\\";
    }
    return places;
}

} // namespace

bool PatchLibrary::makeBankName(std::string_view sourceName, PathText& outBankPath)
{
    if (!isFitName(sourceName))
        return refuse(true, kNoBankName);
    outBankPath = freeFolder(files, sourceName, [this](std::string_view name) {
        return isListedName(name) && canBeBank(name);
    });
    return !outBankPath.empty() || refuse(true, kBankNotMade);
}

void PatchLibrary::registerCompanionType(const fs::path& companionRoot, std::string_view extension,
                                         std::string_view note)
{
    companionTypes.push_back({companionRoot, std::string(extension), std::string(note)});
}

bool PatchLibrary::importPatch(const fs::path& source, PathText& outPath)
{
    const std::string name = source.filename().string();
    const Moved copy = isFitName(name) && hasExtension(name, kPatchExtension)
                           ? copyPatch(source, {0, 0, PathText(name)})
                           : std::nullopt;
    if (!copy)
        return refuse(true, kFileNotImported);
    outPath = copy->path;
    reload(false);
    return true;
}

bool PatchLibrary::importFolder(const fs::path& source, PathText& outBankPath)
{
    fs::path folder = source.has_filename() ? source : source.parent_path(); // a slash at the end
    if (folder.filename() == "." || folder.filename() == "..") {
        std::error_code error; // leaves no path and so no name
        folder = fs::canonical(folder, error);
    }
    const std::string name = folder.filename().string();
    PathText bank;
    if (!makeBankName(name, bank))
        return false;
    const auto isWanted = [this](std::string_view file) {
        return hasExtension(file, kPatchExtension) || file == BankConfig::kFileName ||
               std::ranges::any_of(companionTypes, [&](const CompanionType& type) {
                   return hasExtension(file, type.extension);
               });
    };
    FolderSource tree(folder, isWanted, host);
    return importItems(tree, name, bank, true, outBankPath);
}

bool PatchLibrary::importZip(const fs::path& source, PathText& outBankPath)
{
    const std::string fileName = source.filename().string();
    const std::string name(withoutExtension(fileName));
    PathText bank;
    if (!makeBankName(name, bank))
        return false;
    ZipSource archive(source);
    if (!archive.isOpen())
        return refuse(true, kArchiveNotOpened);
    return importItems(archive, name, bank, false, outBankPath);
}

/// With `reportFaults` it is told if some patches could not be copied. If none could, there is no
/// bank.
bool PatchLibrary::importItems(ImportSource& source, std::string_view sourceName,
                               const PathText& bank, bool reportFaults, PathText& outBankPath)
{
    if (std::ranges::none_of(source.items(), isPatch))
        return refuse(true, kNothingToImport);
    if (!files.makeNewFolder(bank))
        return refuse(true, kBankNotMade);
    const Copied copied = copyItems(source, sourceName, bank);
    if (copied.patches == 0) {
        files.removeFolder(bank, isPatchFile);
        return refuse(true, kFileNotImported);
    }
    copyCompanions(source, bank);
    reload(true);
    const auto found = std::ranges::find_if(scan.folders, [&](const PatchFolder& folder) {
        return equalNoCase(folder.path, bank); // "user" is "User" by now
    });
    outBankPath = found == scan.folders.end() ? bank : found->path;
    if (copied.faults > 0 && reportFaults)
        refuse(true, kFileNotImported);
    return true;
}

/// Patches and the bank's description. The bank is new, so nothing lies in it but what comes here.
PatchLibrary::Copied PatchLibrary::copyItems(ImportSource& source, std::string_view sourceName,
                                             const PathText& bank)
{
    const LibraryFiles::Batch batch(files);
    const auto categories = categoriesOf(source, sourceName, bank);
    std::set<PathText, NoCaseLess> paths; // under the spelling in which they came first
    Copied copied;
    std::size_t done = 0;
    for (const ImportItem& item : source.items()) {
        host.showProgress(++done, source.items().size());
        if (!isPatch(item) && item.name() != BankConfig::kFileName)
            continue;
        const PathText& folder = isPatch(item) ? categories.find(item.folder())->second : bank;
        files.makeFolder(folder);
        PathText path = folder + item.name();
        if (!path.isCut()) // else it may look like another
            path = *paths.insert(path).first;
        const bool isCopied = source.copy(item, files, path);
        if (isPatch(item))
            ++(isCopied ? copied.patches : copied.faults);
    }
    files.flush();
    return copied;
}

void PatchLibrary::copyCompanions(ImportSource& source, const PathText& bank)
{
    const std::string_view bankName = lastElement(bank.view().substr(0, bank.view().size() - 1));
    for (const CompanionType& type : companionTypes) {
        const auto isCompanion = [&](const ImportItem& item) {
            return hasExtension(item.name(), type.extension);
        };
        if (std::ranges::none_of(source.items(), isCompanion))
            continue;
        const LibraryFiles companions(type.root);
        const PathText folder =
            freeFolder(companions, bankName, [](std::string_view) { return true; });
        if (!companions.makeNewFolder(folder))
            continue;
        for (const ImportItem& item : source.items())
            if (isCompanion(item))
                source.copy(item, companions, folder + item.name());
        companions.flush();
        // A folder that is still empty goes again.
        if (!companions.removeEmptyFolder(folder) && !type.note.empty())
            host.showMessage(kInfoTitle, type.note);
    }
}

} // namespace zephra
