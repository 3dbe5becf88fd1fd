// SPDX-License-Identifier: GPL-3.0-or-later
// Favourites, and commands on many patches.
#include "common/AsciiCase.h"
#include "library/LibraryMessages.h"
#include "library/PatchLibrary.h"

#include <algorithm>

namespace zephra {

// --- Favourites -----------------------------------------------------------------------------

/// As the file has them now, since another instrument may have changed it. A view of them is
/// emptied first.
Favourites& PatchLibrary::changeFavourites()
{
    if (viewShowsFavourites)
        view = PatchView();
    if (favouriteList.changedElsewhere())
        readFavourites();
    return favouriteList;
}

bool PatchLibrary::markFavourites(const Entries& entries, bool on)
{
    Entries patches = entries;
    const bool allPatches = std::erase_if(patches, [](const PatchEntry& entry) {
                                return !equalNoCase(extensionOf(entry.path), kPatchExtension);
                            }) == 0;
    Favourites& list = changeFavourites();
    const bool changed = on ? list.add(patches) : list.remove(patches);
    return (!changed || list.save()) && allPatches;
}

bool PatchLibrary::setFavourite(const PatchEntry& entry, bool on, bool rescan)
{
    const bool done = markFavourites({entry}, on);
    if (rescan)
        readFavourites();
    return done;
}

bool PatchLibrary::clearFavourites()
{
    changeFavourites().clear();
    const bool saved = favouriteList.save();
    readFavourites();
    return saved;
}

// --- Batches --------------------------------------------------------------------------------

bool PatchLibrary::moveToTrash(const Entries& entries)
{
    const LibraryFiles::Batch batch(files);
    const Entries copies(entries.begin(), entries.end()); // they may be a list that changes
    bool all = true;
    std::size_t done = 0;
    for (const PatchEntry& entry : copies) {
        host.showProgress(++done, copies.size());
        if (equalNoCase(extensionOf(entry.path), kTrashExtension))
            deletePermanently(entry, false);
        else
            all &= moveToTrash(entry, false);
    }
    reload(false);
    return all || refuse(true, kTrashBlocked);
}

bool PatchLibrary::restoreFromTrash(const Entries& entries)
{
    const LibraryFiles::Batch batch(files);
    bool all = true;
    std::size_t done = 0;
    for (const PatchEntry& entry : entries) {
        host.showProgress(++done, entries.size());
        all &= restoreFromTrash(entry, false);
    }
    reload(false);
    return all || refuse(true, kRestoreBlocked);
}

template <class Move>
PatchLibrary::Entries PatchLibrary::moveEach(const Entries& entries, Move move)
{
    const LibraryFiles::Batch batch(files);
    const Entries copies(entries.begin(), entries.end()); // they may be a list that changes
    Entries moved;
    std::size_t done = 0;
    for (const PatchEntry& entry : copies) {
        host.showProgress(++done, copies.size());
        if (const Moved one = move(entry))
            moved.push_back(*one);
    }
    reload(false);
    if (moved.size() < copies.size())
        refuse(true, kMoveBlocked);
    return moved;
}

PatchLibrary::Entries PatchLibrary::movePatchesToBank(std::string_view bankName,
                                                      const Entries& entries)
{
    return moveEach(entries, [&](const PatchEntry& entry) {
        return movePatchToBank(bankName, entry, false, false);
    });
}

PatchLibrary::Entries PatchLibrary::movePatchesToCategory(std::string_view categoryName,
                                                          const Entries& entries)
{
    return moveEach(entries, [&](const PatchEntry& entry) {
        return movePatchToCategory(categoryName, entry, false, false);
    });
}

bool PatchLibrary::setFavourites(const Entries& entries, bool on)
{
    const bool all = markFavourites(entries, on);
    readFavourites();
    return all;
}

} // namespace zephra
