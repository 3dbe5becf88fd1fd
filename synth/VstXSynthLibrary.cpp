// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Utf8.h"
#include "library/LibraryPlaces.h"
#include "library/PatchLibrary.h"
#include "synth/VstXSynth.h"

#include <algorithm>

namespace zephra {

namespace {

/// Number of the patch for a start without that one: the first without a category.
std::size_t firstUncategorized(const PatchLibrary& library)
{
    const auto& entries = library.entries();
    const auto found = std::ranges::find_if(
        entries, [&](const PatchEntry& entry) { return library.categoryNameOf(entry).empty(); });
    return found == entries.end() ? 0 : found->id;
}

} // namespace

void VstXSynth::openLibrary(const VstXSynthOptions& options)
{
    if (options.soundbankRoot.empty())
        return;
    if (options.libraryAccess == LibraryFiles::Access::ReadWrite)
        prepareSoundbankRoot(options.soundbankRoot, options.factoryBanks);
    ownLibrary =
        std::make_unique<PatchLibrary>(options.soundbankRoot, messages, options.libraryAccess);
    const PatchEntry* first = ownLibrary->findByPath(ownLibrary->root() + kFirstPatch);
    if (!first && !ownLibrary->entries().empty())
        first = &ownLibrary->entries().at(firstUncategorized(*ownLibrary));
    if (!first)
        return;
    currentBank = ownLibrary->bankNameOf(*first);
    loadEntry(*first);
}

void VstXSynth::loadEntry(const PatchEntry& entry)
{
    programIndex = static_cast<int>(entry.id);
    loadPatchFile(nativePath(entry.path).string(), PatchFileMode::LoadProgram, true);
}

const PatchEntry* VstXSynth::currentEntry() const
{
    return ownLibrary && !currentPatchPath.empty()
               ? ownLibrary->findByPath(libraryPath(currentPatchPath))
               : nullptr;
}

bool VstXSynth::storeNewPatch(std::string_view name)
{
    PathText path;
    return ownLibrary && ownLibrary->createPatchFile(name, path, false) && storeAs(path);
}

bool VstXSynth::storeChild()
{
    PathText path;
    return ownLibrary && ownLibrary->createChildFile(path, false) && storeAs(path);
}

/// Over an empty file, which goes again if the patch cannot be written.
bool VstXSynth::storeAs(const PathText& newFile)
{
    const bool stored = !savePatchFile(nativePath(newFile).string());
    if (!stored)
        ownLibrary->discardPatchFile(newFile);
    ownLibrary->reload(false);
    return stored;
}

// --- Programs -------------------------------------------------------------------------------

int VstXSynth::getProgram() const
{
    if (!ownLibrary || programListHidden)
        return 0;
    const PatchEntry* current = currentEntry();
    return current ? static_cast<int>(current->id) : programIndex;
}

/// A host that sees one program only re-selects what plays already.
void VstXSynth::setProgram(int program)
{
    if (ownLibrary && !programListHidden && program >= 0 &&
        static_cast<std::size_t>(program) < ownLibrary->entries().size())
        loadEntry(ownLibrary->entries().at(static_cast<std::size_t>(program)));
}

bool VstXSynth::getProgramNameIndexed(int program, char* text) const
{
    if (ownLibrary && !programListHidden) {
        const auto& entries = ownLibrary->entries();
        if (program < 0 || static_cast<std::size_t>(program) >= entries.size())
            return false;
        const auto name = entries.at(static_cast<std::size_t>(program)).name();
        copyText(text, utf8Prefix(name, kMaxProgramName), kMaxProgramName);
        return true;
    }
    if (program != 0)
        return false;
    getProgramName(text);
    return true;
}

void VstXSynth::serviceRequests()
{
    const ProgramRequest::Wanted wanted = programRequest.take();
    if (!ownLibrary)
        return;
    selectBank(wanted.bank);
    if (const PatchEntry* entry = entryOfBank(wanted.program))
        loadEntry(*entry);
    selectBank(wanted.nextBank);
}

/// Banks for MIDI are the rows of the browser but the first and the last: favourites and trash.
void VstXSynth::selectBank(int number)
{
    const auto& banks = ownLibrary->columns().banks;
    if (number >= 0 && number < static_cast<int>(banks.size()) - 2)
        currentBank = banks[static_cast<std::size_t>(number) + 1].name;
}

const PatchEntry* VstXSynth::entryOfBank(int program) const
{
    const LibraryColumns& columns = ownLibrary->columns();
    const int named = columns.bankRowNamed(currentBank);
    const int row = named >= 0 ? named : columns.favouritesRow + 1;
    for (const PatchEntry& entry : ownLibrary->entries()) {
        const bool counts =
            columns.bankRowOf(entry.folderId) == row && !columns.isHidden(entry.folderId);
        if (counts && program-- == 0)
            return &entry;
    }
    return nullptr;
}

} // namespace zephra
