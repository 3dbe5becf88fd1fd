// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/GeneticsBank.h"
#include "library/GeneticsSelection.h"
#include "library/PatchLibrary.h"

#include <ctime>

namespace zephra {

void PatchLibrary::takeParentsFromSelection()
{
    genetics.clear();
    std::vector<std::size_t> selected;
    for (std::size_t row = 0; row < view.patchSelected.size(); ++row)
        if (view.patchSelected[row])
            selected.push_back(row);
    const auto current =
        view.currentRow < 0 ? std::nullopt : std::optional<std::size_t>(view.currentRow);
    for (const std::size_t row : geneticsParentRows(selected, current, view.rows.size())) {
        view.select(static_cast<int>(row), true);
        genetics.addParent(*view.rows[row]);
    }
}

void PatchLibrary::selectRandomPair()
{
    if (view.rows.size() < 2)
        return;
    view.clearSelection();
    view.currentRow = -1;
    for (const std::size_t row : randomParentRows(random, view.rows.size()))
        view.select(static_cast<int>(row), true);
}

void PatchLibrary::runGenetics(bool resetSelection, bool randomParents, float mix,
                               const std::function<void(GeneticsState&)>& breedChild)
{
    if (randomParents)
        selectRandomPair();
    if (resetSelection)
        takeParentsFromSelection();
    if (!genetics.canBreed())
        return;
    GeneticsState bred = genetics; // breeding may lead back here, to a list that changes
    bred.mix = mix;
    breedChild(bred);
    genetics = bred;
}

bool PatchLibrary::createChildFile(PathText& outPath, bool rescan)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    outPath = bankPath(kGeneticsBankName) + geneticsFileName(local, genetics.seed);
    return createNewFile(outPath, rescan);
}

} // namespace zephra
