// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/GeneticsEngine.h"

#include "controls/ControlTable.h"
#include "library/GeneticsScoreNet.h"
#include "library/LibraryFiles.h"
#include "library/ProgramFile.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>
#include <string>

namespace zephra {

namespace {

constexpr int kPasses = 3;
constexpr std::uint32_t kLargestDraw = 65535;
constexpr const char* kChildName = "Genetics";

/// A row of the modulation matrix makes sense as a whole only, so it comes from one parent.
struct MatrixRow {
    int source, amount, target; // ControlId
};
constexpr std::array kMatrix = {
    MatrixRow{modulation_source_1, velocity_amount, modulation_target_1},
    MatrixRow{modulation_source_2, aftertouch_amount, modulation_target_2},
    MatrixRow{modulation_source_3, modwheel_amount, modulation_target_3},
};

constexpr bool storesSourceFirst(const MatrixRow& row)
{
    const auto at = [](int id) { return std::ranges::find(kStorageOrder, id); };
    return at(row.source) < at(row.amount) && at(row.source) < at(row.target);
}
static_assert(std::ranges::all_of(kMatrix, storesSourceFirst), "the source decides for the row");

/// "Lead|Bass", and of two parents the seed besides: "Lead|Bass|1f3a".
std::string infoText(const PluginParameters& parents, int parentCount, std::uint32_t seed)
{
    std::string text;
    for (int parent = 0; parent < parentCount; ++parent) {
        if (parent > 0)
            text += '|';
        text += parents.getPreset(parent)->nameText();
    }
    if (parentCount == 2) {
        std::array<char, 12> digits{};
        std::snprintf(digits.data(), digits.size(), "|%x", static_cast<unsigned>(seed));
        text += digits.data();
    }
    return text;
}

} // namespace

std::unique_ptr<PluginParameters> GeneticsEngine::loadParents(const GeneticsState& state)
{
    auto parents = std::make_unique<PluginParameters>(static_cast<int>(state.parentCount));
    for (int preset = 0; preset < static_cast<int>(state.parentCount); ++preset) {
        const PatchEntry& parent = state.parents[static_cast<std::size_t>(preset)];
        const auto file = readPatchFileForBreeding(nativePath(parent.path));
        if (!file)
            continue;
        parents->getPreset(preset)->setName(file->getPreset(0)->nameText());
        for (const int id : kStorageOrder)
            parents->setValue(id, file->getValue(id), NoParameter, preset);
    }
    return parents;
}

void GeneticsEngine::breed(PluginParameters& child, const SetControl& setControl,
                           const PluginParameters& parents, GeneticsState& state,
                           std::uint32_t seed)
{
    if (!state.canBreed() || parents.presetCount() < static_cast<int>(state.parentCount))
        return;
    // Every pass breeds anew over the one before: as long as nobody compares their scores, the
    // last one wins.
    for (int pass = 0; pass < kPasses; ++pass) {
        state.seed = seed++;
        runPass(child, setControl, parents, state);
    }
}

void GeneticsEngine::runPass(PluginParameters& child, const SetControl& setControl,
                             const PluginParameters& parents, GeneticsState& state)
{
    const int parentCount = static_cast<int>(state.parentCount);
    const double threshold = (1.0 - state.mix) * kLargestDraw; // a draw below it means parent 1

    rng.seed(state.seed);
    for (std::int32_t& gene : state.genes)
        gene = static_cast<std::int32_t>(rng.next() % state.parentCount);

    if (PatchRecord* record = child.getPreset(NoParameter)) {
        record->setInfoText(infoText(parents, parentCount, state.seed));
        record->setName(kChildName);
    }

    std::array<int, kMatrix.size()> parentOfRow{};
    for (const int id : kStorageOrder) {
        int parent = pickParent(parentCount);
        if (threshold > rng.next())
            parent = 0;
        for (std::size_t row = 0; row < kMatrix.size(); ++row) {
            if (id == kMatrix[row].source)
                parentOfRow[row] = parent;
            if (id == kMatrix[row].amount || id == kMatrix[row].target)
                parent = parentOfRow[row];
        }
        setControl(id, parents.getValue(id, NoParameter, parent));
    }

    // Kept: nobody looks at the score yet. It is meant to choose among the passes.
    [[maybe_unused]] const double score =
        GeneticsScoreNet::score(GeneticsScoreNet::inputsOf(child));

    // Kept: a draw that is thrown away, part of the sequence that a seed stands for.
    constexpr double kFarFromParent1 = 0.49;
    if (state.mix > kFarFromParent1)
        pickParent(parentCount);
}

/// All parents alike; the very largest draw would lead beyond the last of them.
int GeneticsEngine::pickParent(int parentCount) noexcept
{
    const auto parent =
        static_cast<int>(rng.next() * static_cast<std::uint32_t>(parentCount) / kLargestDraw);
    return std::min(parent, parentCount - 1);
}

} // namespace zephra
