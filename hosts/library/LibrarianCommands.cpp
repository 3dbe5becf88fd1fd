// SPDX-License-Identifier: GPL-3.0-or-later
// The commands that change the library; Librarian.cpp finds what they name.
#include "librarian/Librarian.h"

#include "common/AsciiCase.h"
#include "common/WholeFile.h"
#include "controls/ControlTable.h"
#include "library/GeneticsEngine.h"
#include "library/NameRule.h"
#include "library/ProgramFile.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <system_error>

namespace zephra::librarian {

namespace {

constexpr const char* kNoSource = "there is no such file or folder";
constexpr const char* kNoImport = "this is no patch (.fxp), folder or ZIP archive (.zip)";
constexpr const char* kNotParents = "Genetics takes two or three different patches";
constexpr const char* kBadParent = "warning: this parent cannot be read and passes defaults on";
constexpr const char* kNotKept = "the list could not be written";
constexpr const char* kBankStays = "this bank keeps its name and its place";
constexpr const char* kCategoriesStay = "the instrument's own categories keep their names";

bool isFolder(const std::filesystem::path& path)
{
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

bool hasExtension(const std::filesystem::path& path, std::string_view extension)
{
    return equalNoCase(extensionOf(path.filename().string()), extension);
}

} // namespace

// --- Patches --------------------------------------------------------------------------------

Report Librarian::moveToBank(const Names& patches, const std::string& bank)
{
    const int row = bankRow(bank);
    if (row < 0)
        return {};
    if (row == library.columns().favouritesRow || row == library.columns().trashRow) {
        complain(bank, "this is a list; use favourite or trash");
        return {};
    }
    const std::string name = library.columns().banks[static_cast<std::size_t>(row)].name;
    return paths(library.movePatchesToBank(name, find(patches, library.entries())));
}

Report Librarian::moveToCategory(const Names& patches, const std::string& category)
{
    const int row = category.empty() ? -1 : categoryRow(category);
    if (!category.empty() && row < 0)
        return {};
    const std::string name =
        row < 0 ? "" : library.columns().categories[static_cast<std::size_t>(row)].name;
    return paths(library.movePatchesToCategory(name, find(patches, library.entries())));
}

Report Librarian::rename(const std::string& patch, const std::string& name)
{
    PatchLibrary::Entries renamed;
    const auto found = find({patch}, library.entries());
    if (!found.empty() && checkName(name, "patch", *this))
        if (const auto one = library.renamePatch(name, found.front(), true, true))
            renamed.push_back(*one);
    return paths(renamed);
}

Report Librarian::duplicate(const std::string& patch, const std::string& bank,
                            const std::string& category)
{
    PatchLibrary::Entries copies;
    const auto found = find({patch}, library.entries());
    if (!found.empty() && selectBank(bank) && selectCategory(category)) {
        const auto copy = library.duplicatePatch(found.front());
        require(copy.has_value(), patch, "it could not be copied");
        if (copy)
            copies.push_back(*copy);
    }
    return paths(copies);
}

bool Librarian::isPatchFile(const std::filesystem::path& source)
{
    return !isFolder(source) && hasExtension(source, kPatchExtension);
}

Report Librarian::importFrom(const std::filesystem::path& source, const std::string& bank,
                             const std::string& category)
{
    Report report;
    PathText made;
    std::error_code error;
    if (!std::filesystem::exists(source, error)) {
        complain(source.string(), error ? error.message().c_str() : kNoSource);
    } else if (isPatchFile(source)) {
        if (selectBank(bank) && selectCategory(category) && library.importPatch(source, made))
            return paths(PatchLibrary::Entries{{0, 0, made}});
    } else if (!isFolder(source) && !hasExtension(source, "zip")) {
        complain(source.string(), kNoImport);
    } else if (isFolder(source) ? library.importFolder(source, made)
                                : library.importZip(source, made)) {
        const std::string name(lastElement(made.view().substr(0, made.view().size() - 1)));
        report.json["bank"] = name;
        report.text = name + "\n";
    }
    return report;
}

Report Librarian::trash(const Names& patches)
{
    library.moveToTrash(find(patches, library.entries()));
    return {};
}

Report Librarian::restore(const Names& patches)
{
    library.restoreFromTrash(find(patches, library.trash()));
    return {};
}

Report Librarian::purge(const Names& patches)
{
    for (const PatchEntry& entry : find(patches, library.trash()))
        if (!library.deletePermanently(entry, false))
            complain(shownPath(entry), "it could not be deleted");
    return {};
}

Report Librarian::setFavourites(const Names& patches, bool on)
{
    // A favourite whose file has gone can be unmarked too.
    const auto isListed = [this](const std::string& name) {
        return search(name, library.favourites()) != nullptr;
    };
    Names listed, others;
    std::ranges::partition_copy(patches, std::back_inserter(listed), std::back_inserter(others),
                                [&](const std::string& name) { return !on && isListed(name); });
    bool all = library.setFavourites(find(listed, library.favourites()), on);
    all &= library.setFavourites(find(others, library.entries()), on);
    require(all, "favourites", kNotKept);
    return {};
}

Report Librarian::breed(const Names& patches, const BreedOptions& how)
{
    const PatchLibrary::Entries found = find(patches, library.entries());
    if (failed())
        return {};
    GeneticsState& state = library.genetics;
    for (const PatchEntry& entry : found)
        state.addParent(entry);
    if (state.parentCount != patches.size() || !state.canBreed()) {
        complain("breed", kNotParents);
        return {};
    }
    for (const PatchEntry& entry : found)
        if (readProgramFile(nativePath(entry.path)).fault != ProgramFile::Fault::None)
            std::cerr << "zephra-library: " << shownPath(entry) << ": " << kBadParent << '\n';

    state.mix = how.mix;
    PluginParameters child;
    GeneticsEngine().breed(
        child,
        [&](int id, float value) { child.setValue(id, static_cast<float>(snapped(id, value))); },
        *GeneticsEngine::loadParents(state), state, how.seed);

    PatchRecord& record = *child.getPreset(NoParameter);
    std::string shown = how.outFile;
    if (how.store) {
        PathText path;
        if (!library.createChildFile(path, false))
            return {};
        shown = shownPath(path);
        if (!store(record, nativePath(path))) {
            library.discardPatchFile(path);
            return {};
        }
    } else if (!store(record, shown)) {
        return {};
    }

    Report report;
    const std::string info(record.infoText());
    report.json = {{"patch", shown}, {"info", info}, {"seed", state.seed}};
    report.text = shown + "\n" + info + "\n" + std::to_string(state.seed) + "\n";
    return report;
}

bool Librarian::store(PatchRecord& child, const std::filesystem::path& file)
{
    child.setName(patchNameOf(file));
    const std::error_code error = replaceFile(file, programFileBytes(child, 0));
    if (error)
        complain(file.string(), error.message().c_str());
    return !error;
}

// --- Whole lists and folders ----------------------------------------------------------------

Report Librarian::restoreAll()
{
    library.restoreAll();
    return {};
}

Report Librarian::clearTrash()
{
    require(library.clearTrash(), "trash", "not every file could be deleted");
    return {};
}

Report Librarian::clearFavourites()
{
    require(library.clearFavourites(), "favourites", kNotKept);
    return {};
}

Report Librarian::createBank(const std::string& name)
{
    if (checkName(name, "bank", *this))
        require(library.createBank(name, true), name, "the folder could not be made");
    return {};
}

Report Librarian::createCategory(const std::string& name)
{
    if (checkName(name, "category", *this))
        require(library.createCategory(name, true), name, "the folder could not be made");
    return {};
}

Report Librarian::renameBank(const std::string& bank, const std::string& name)
{
    const PatchFolder* folder = folderOfRow(library.columns().banks, bankRow(bank), bank);
    if (folder && checkName(name, "bank", *this))
        require(library.renameFolder(name, *folder, true, true), bank, kBankStays);
    return {};
}

Report Librarian::renameCategory(const std::string& category, const std::string& name)
{
    const PatchFolder* folder =
        folderOfRow(library.columns().categories, categoryRow(category), category);
    if (folder && checkName(name, "category", *this))
        require(library.renameFolder(name, *folder, true, true), category, kCategoriesStay);
    return {};
}

Report Librarian::deleteBank(const std::string& bank)
{
    if (const PatchFolder* folder = folderOfRow(library.columns().banks, bankRow(bank), bank))
        require(library.deleteBank(*folder), bank, kBankStays);
    return {};
}

Report Librarian::deleteCategory(const std::string& category)
{
    if (const PatchFolder* folder =
            folderOfRow(library.columns().categories, categoryRow(category), category))
        require(library.deleteCategory(*folder), category, kNoFolder);
    return {};
}

} // namespace zephra::librarian
