// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/AsciiCase.h"
#include "common/WholeFile.h"
#include "library/BankConfig.h"
#include "library/FolderSource.h"
#include "library/LibraryMessages.h"
#include "library/PatchLibrary.h"
#include "library/ZipSource.h"

#include <algorithm>
#include <map>
#include <system_error>

namespace zephra {

namespace fs = std::filesystem;

namespace {

constexpr int kMostNumbers = 32;

bool hasExtension(const ImportItem& item, std::string_view extension)
{
    return equalNoCase(extensionOf(item.name()), extension);
}

bool isPatch(const ImportItem& item) { return hasExtension(item, kPatchExtension); }

/// A folder directly in a tree that does not exist yet, with a backslash at the end; empty: none.
PathText freeFolder(const LibraryFiles& files, std::string_view name)
{
    for (int number = 0; number <= kMostNumbers; ++number) {
        std::string numbered(name);
        if (number > 0)
            numbered += " (" + std::to_string(number) + ")";
        const PathText path = files.root() + numbered;
        if (isListedName(numbered) && !LibraryColumns::isHiddenName(numbered) &&
            !files.isTaken(path))
            return path + "\\";
    }
    return PathText();
}

/// Paths under the spelling in which they came first.
class Spellings {
public:
    const PathText& of(const PathText& path)
    {
        return paths.try_emplace(std::string(path), path).first->second;
    }

private:
    std::map<std::string, PathText, NoCaseLess> paths;
};

} // namespace

bool PatchLibrary::makeBankName(std::string_view sourceName, PathText& outBankPath)
{
    if (!isListedName(sourceName) || sourceName.find('\\') != sourceName.npos)
        return refuse(true, kNoBankName);
    outBankPath = freeFolder(files, sourceName);
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
    const bool isReadable = isListedName(name) && equalNoCase(extensionOf(name), kPatchExtension) &&
                            !RegularFile(source).error(); // before folders are made for it
    const Moved copy = isReadable ? copyPatch(source, {0, 0, PathText(name)}) : std::nullopt;
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
    if (!makeBankName(name, outBankPath))
        return false;
    FolderSource tree(folder, nativePath(root()), host);
    return importItems(tree, name, outBankPath, true);
}

bool PatchLibrary::importZip(const fs::path& source, PathText& outBankPath)
{
    const std::string fileName = source.filename().string();
    const std::string name(withoutExtension(fileName));
    if (!makeBankName(name, outBankPath))
        return false;
    ZipSource archive(source);
    if (!archive.isOpen())
        return refuse(true, kArchiveNotOpened);
    return importItems(archive, name, outBankPath, false);
}

/// With `reportFaults` it is told if some files could not be copied. If no patch could, there is no
/// bank.
bool PatchLibrary::importItems(ImportSource& source, std::string_view sourceName,
                               const PathText& bank, bool reportFaults)
{
    if (std::ranges::none_of(source.items(), isPatch))
        return refuse(true, kNothingToImport);
    if (!files.makeNewFolder(bank))
        return refuse(true, kBankNotMade);
    const Copied copied = copyItems(source, sourceName, bank);
    if (copied.patches == 0) {
        files.removeFolder(bank);
        return refuse(true, kFileNotImported);
    }
    copyCompanions(source, bank);
    reload(true);
    if (copied.faults > 0 && reportFaults)
        refuse(true, kFileNotImported);
    return true;
}

/// Patches and the bank's description. The bank is new, so nothing lies in it but what comes here.
PatchLibrary::Copied PatchLibrary::copyItems(ImportSource& source, std::string_view sourceName,
                                             const PathText& bank)
{
    const LibraryFiles::Batch batch(files);
    Spellings spellings;
    Copied copied;
    const std::size_t count = source.items().size();
    for (std::size_t i = 0; i < count; ++i) {
        const ImportItem& item = source.items()[i];
        const std::string_view category = item.folder();
        if (!isPatch(item) && item.name() != BankConfig::kFileName)
            continue;
        PathText folder = bank;
        // Patches in a folder that is kept out of sight shall not share its fate.
        if (isPatch(item) && !category.empty() && !equalNoCase(category, sourceName) &&
            !LibraryColumns::isHiddenName(category)) {
            folder = spellings.of(bank + category + "\\");
            files.makeFolder(folder);
        }
        if (!source.copy(item, files, spellings.of(folder + item.name())))
            ++copied.faults;
        else if (isPatch(item))
            ++copied.patches;
        host.showProgress(i + 1, count);
    }
    files.flush();
    return copied;
}

void PatchLibrary::copyCompanions(ImportSource& source, const PathText& bank)
{
    const std::string_view bankName = lastElement(bank.view().substr(0, bank.view().size() - 1));
    for (const CompanionType& type : companionTypes) {
        const auto isCompanion = [&](const ImportItem& item) {
            return hasExtension(item, type.extension);
        };
        if (std::ranges::none_of(source.items(), isCompanion))
            continue;
        const LibraryFiles companions(type.root);
        const PathText folder = freeFolder(companions, bankName);
        if (!companions.makeNewFolder(folder))
            continue;
        for (const ImportItem& item : source.items())
            if (isCompanion(item))
                source.copy(item, companions, folder + item.name());
        companions.flush();
        if (!type.note.empty())
            host.showMessage(kInfoTitle, type.note);
    }
}

} // namespace zephra
