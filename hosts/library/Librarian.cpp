// SPDX-License-Identifier: GPL-3.0-or-later
#include "librarian/Librarian.h"

#include "common/AsciiCase.h"
#include "controls/ControlTable.h"
#include "controls/ControlText.h"
#include "library/ProgramFile.h"

#include <algorithm>
#include <cstdio>
#include <iostream>
#include <iterator>
#include <system_error>
#include <unordered_set>

namespace zephra::librarian {

using Json = nlohmann::ordered_json;

namespace {

constexpr const char* kNoPatch = "there is no such patch";
constexpr const char* kNotInTrash = "there is no such file in the trash; its name ends in .bin";
constexpr const char* kNoBank = "there is no such bank";
constexpr const char* kNoCategory = "there is no such category";

std::string slashes(std::string_view path)
{
    std::string turned(path);
    std::ranges::replace(turned, '\\', '/');
    return turned;
}

/// A line of a table: a number and a name.
std::string countLine(std::size_t count, const std::string& name)
{
    std::string number = std::to_string(count);
    return number.insert(0, std::max<std::size_t>(8, number.size()) - number.size(), ' ') + "  " +
           name + "\n";
}

template <class Texts> std::string joined(const Texts& texts)
{
    std::string line;
    for (const std::string& text : texts)
        line += (line.empty() ? "" : ", ") + text;
    return line;
}

} // namespace

Librarian::Librarian(const std::filesystem::path& soundbankRoot, LibraryFiles::Access access)
    : library(soundbankRoot, *this, access)
{
}

// --- Faults ---------------------------------------------------------------------------------

void Librarian::showMessage(std::string_view, std::string_view text)
{
    ++faults;
    progress.reset();
    std::cerr << text << '\n';
}

void Librarian::showProgress(std::size_t done, std::size_t whole)
{
    if (!progress)
        progress.emplace(static_cast<std::int64_t>(whole), false);
    progress->show(static_cast<std::int64_t>(done));
    if (done >= whole)
        progress.reset();
}

void Librarian::complain(const std::string& name, const char* what)
{
    ++faults;
    std::cerr << "zephra-library: " << name << ": " << what << '\n';
}

/// For refusals that the instrument makes in silence.
void Librarian::require(bool done, const std::string& name, const char* otherwise)
{
    if (!done && !failed())
        complain(name, otherwise);
}

// --- Names of the command line --------------------------------------------------------------

std::string Librarian::shownPath(std::string_view path) const
{
    return slashes(path.substr(library.root().view().size()));
}

std::string Librarian::shownPath(const PatchEntry& entry) const { return shownPath(entry.path); }

Report Librarian::paths(const PatchLibrary::Entries& entries) const
{
    Report report;
    Json& list = report.json["patches"] = Json::array();
    for (const PatchEntry& entry : entries) {
        list.push_back(shownPath(entry));
        report.text += shownPath(entry) + "\n";
    }
    return report;
}

const PatchEntry* Librarian::search(const std::string& patch,
                                    const BoundedList<PatchEntry>& list) const
{
    std::string path(library.root());
    path += patch;
    std::ranges::replace(path, '/', '\\');
    if (&list == &library.entries())
        return library.findByPath(path);
    const auto find = [&](auto isMeant) {
        const auto at = std::ranges::find_if(list, isMeant);
        return at == list.end() ? nullptr : &*at;
    };
    const PatchEntry* const exact =
        find([&](const PatchEntry& held) { return held.path == std::string_view(path); });
    return exact ? exact
                 : find([&](const PatchEntry& held) { return equalNoCase(held.path, path); });
}

PatchLibrary::Entries Librarian::find(const Names& patches, const BoundedList<PatchEntry>& list)
{
    PatchLibrary::Entries found;
    std::unordered_set<const PatchEntry*> named; // some perhaps twice
    for (const std::string& name : patches) {
        const PatchEntry* entry = search(name, list);
        if (entry && named.insert(entry).second)
            found.push_back(*entry);
        if (!entry)
            complain(name, &list == &library.trash() ? kNotInTrash : kNoPatch);
    }
    return found;
}

/// The bank of that very name, else one that differs in case; -1 and a complaint if there is none.
int Librarian::bankRow(const std::string& bank)
{
    const auto& banks = library.columns().banks;
    if (const int exact = library.columns().bankRowNamed(bank); exact >= 0)
        return exact;
    const auto row = std::ranges::find_if(
        banks, [&](const PatchGroup& group) { return equalNoCase(group.name, bank); });
    if (row == banks.end())
        complain(bank, kNoBank);
    return row == banks.end() ? -1 : static_cast<int>(row - banks.begin());
}

int Librarian::categoryRow(const std::string& category)
{
    const int row = library.columns().categoryRowNamed(category);
    if (row < 0)
        complain(category, kNoCategory);
    return row;
}

bool Librarian::selectBank(const std::string& bank)
{
    if (!bank.empty())
        library.filter.bankRow = bankRow(bank);
    return bank.empty() || library.filter.bankRow >= 0;
}

bool Librarian::selectCategory(const std::string& category)
{
    const int row = category.empty() ? -1 : categoryRow(category);
    if (row >= 0)
        library.filter.categorySelected[static_cast<std::size_t>(row)] = true;
    return category.empty() || row >= 0;
}

const PatchFolder* Librarian::folderOfRow(const std::vector<PatchGroup>& column, int row,
                                          const std::string& name)
{
    if (row < 0)
        return nullptr;
    const auto& folders = column[static_cast<std::size_t>(row)].folders;
    if (folders.empty()) {
        complain(name, kNoFolder);
        return nullptr;
    }
    return &library.folders().at(folders.front() - 1);
}

// --- Looking --------------------------------------------------------------------------------

Report Librarian::tree()
{
    const LibraryColumns& columns = library.columns();
    std::vector<std::size_t> inBank(columns.banks.size()), inCategory(columns.categories.size());
    for (const PatchEntry& entry : library.entries()) {
        if (columns.isHidden(entry.folderId))
            continue;
        if (const int row = columns.bankRowOf(entry.folderId); row >= 0)
            ++inBank[static_cast<std::size_t>(row)];
        if (const int row = columns.categoryRowOf(entry.folderId); row >= 0)
            ++inCategory[static_cast<std::size_t>(row)];
    }
    inBank[static_cast<std::size_t>(columns.favouritesRow)] = library.favourites().size();
    inBank[static_cast<std::size_t>(columns.trashRow)] = library.trash().size();

    Report report;
    report.text = "Banks\n";
    for (std::size_t i = 0; i < inBank.size(); ++i) {
        report.text += countLine(inBank[i], columns.banks[i].name);
        report.json["banks"].push_back({{"name", columns.banks[i].name}, {"patches", inBank[i]}});
    }
    report.text += "\nCategories\n";
    for (std::size_t i = 0; i < inCategory.size(); ++i) {
        report.text += countLine(inCategory[i], columns.categories[i].displayName);
        report.json["categories"].push_back(
            {{"name", columns.categories[i].displayName}, {"patches", inCategory[i]}});
    }
    return report;
}

Report Librarian::list(const ListFilter& wanted)
{
    PatchFilter& filter = library.filter;
    bool known = selectBank(wanted.bank);
    for (const std::string& category : wanted.categories)
        known &= selectCategory(category);
    if (!wanted.author.empty()) {
        const auto row = library.authorsMet().find(wanted.author);
        if (row == library.authorsMet().end()) {
            complain(wanted.author, "no patch has this author code");
            known = false;
        } else {
            filter.authorRow = static_cast<int>(std::distance(library.authorsMet().begin(), row));
        }
    }
    if (!known)
        return {};
    filter.uncategorizedOnly = wanted.uncategorized;
    filter.searchText = wanted.search;
    if (wanted.favourites)
        filter.bankRow = library.columns().favouritesRow;
    if (wanted.trash)
        filter.bankRow = library.columns().trashRow;
    library.buildView({});
    PatchLibrary::Entries shown;
    for (const PatchEntry* entry : library.view.rows)
        shown.push_back(*entry);
    return paths(shown);
}

Report Librarian::show(const std::string& patch)
{
    const auto found = find({patch}, library.entries());
    if (found.empty())
        return {};
    const PatchEntry& entry = found.front();
    const auto file = readProgramFile(nativePath(entry.path));
    const auto parameters = readPatchFileForBreeding(nativePath(entry.path));
    if (!parameters) {
        complain(patch, file.why.c_str());
        return {};
    }

    const auto codes = library.authorCodesOf(entry);
    const auto names = library.authorNamesOf(entry);
    Report report;
    Json& json = report.json;
    json["name"] = entry.name();
    json["bank"] = library.bankNameOf(entry);
    json["category"] = library.categoryNameOf(entry);
    json["authorCodes"] = codes;
    json["authors"] = names;
    json["info"] = parameters->getPreset(NoParameter)->infoText();
    json["favourite"] = library.isFavourite(entry);

    report.text = "Name       " + std::string(entry.name()) + "\nBank       " +
                  library.bankNameOf(entry) + "\nCategory   " + library.categoryNameOf(entry) +
                  "\nAuthors    " + joined(codes) + (names.empty() ? "" : ": ") + joined(names) +
                  "\nFavourite  " + (library.isFavourite(entry) ? "yes" : "no") + "\nInfo       " +
                  std::string(parameters->getPreset(NoParameter)->infoText()) + "\n\n";

    const TextContext context{parameters->getValue(osc_3_range),
                              parameters->getValue(opts_osc_3_lo_sync)};
    Json& controls = json["controls"] = Json::object();
    for (const ControlInfo& control : kControls) {
        if (!control.isStored())
            continue;
        const float value = parameters->getValue(control.id);
        const std::string text = controlText(control.id, value, context);
        controls[control.name] = {{"value", value}, {"text", text}};
        char line[160];
        std::snprintf(line, sizeof line, "%-29s %-12.6g %s\n", control.name,
                      static_cast<double>(value), text.c_str());
        report.text += line;
    }
    return report;
}

} // namespace zephra::librarian
