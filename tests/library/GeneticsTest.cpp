// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "library/GeneticsBank.h"
#include "library/GeneticsEngine.h"
#include "library/GeneticsScoreNet.h"
#include "library/GeneticsSelection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

namespace zephra {
namespace {

constexpr int kRows = kNumStoredControls;

int idOfRow(int row) { return kStorageOrder[static_cast<std::size_t>(row)]; }

/// A child and its parents away from any plug-in.
struct Nursery {
    Nursery(int parentCount, float (*valueOf)(int row, int parent)) : parents(parentCount)
    {
        constexpr const char* kNames[] = {"First", "Second \u00e4", "Third"};
        state.parentCount = static_cast<std::size_t>(parentCount);
        for (int parent = 0; parent < parentCount; ++parent) {
            parents.getPreset(parent)->setName(kNames[parent]);
            for (int row = 0; row < kRows; ++row)
                parents.setValue(idOfRow(row), valueOf(row, parent), NoParameter, parent);
        }
    }

    void breed(std::uint32_t seed, float mix)
    {
        state.mix = mix;
        engine.breed(
            child, [this](int id, float value) { child.setValue(id, value); }, parents, state,
            seed);
    }

    PluginParameters parents, child;
    GeneticsState state;
    GeneticsEngine engine;
};

/// On the grid of every control and, where that has room, another for each parent.
float tableValue(int row, int parent)
{
    const ControlInfo& control = *findControl(idOfRow(row));
    if (control.kind == ControlKind::Continuous)
        return static_cast<float>(4 * row + parent + 1) / 512.0f;
    return static_cast<float>((row + parent) % (static_cast<int>(control.scale) + 1));
}

float parentItself(int, int parent) { return static_cast<float>(parent); }

template <class... Args> std::string printed(const char* format, Args... args)
{
    char text[100];
    std::snprintf(text, sizeof text, format, args...);
    return text;
}

std::string printedValues(const PluginParameters& patches, int preset)
{
    std::string text;
    for (int row = 0; row < kRows; ++row)
        text += printed("%d=%.9g", idOfRow(row),
                        static_cast<double>(patches.getValue(idOfRow(row), NoParameter, preset))) +
                (row % 8 == 7 ? "\n" : " ");
    return text;
}

std::string childrenOfOurs()
{
    constexpr struct {
        std::uint32_t seed;
        float mix;
        int parents;
    } kCases[] = {
        {343, 0.0f, 2},   {0x1f3a, 0.5f, 2}, {0x1f3a, 0.5f, 3}, {40000, 0.3f, 2},
        {12345, 0.7f, 3}, {368, 1.0f, 2},    {65535, 1.0f, 3},  {0xffffffff, 0.49f, 3},
        {141, 1.0f, 3},   {581, 0.5f, 2},
    };

    std::string text;
    const Nursery family(3, tableValue);
    for (int parent = 0; parent < 3; ++parent)
        text += "parent " + std::string(family.parents.getPreset(parent)->nameText()) + "\n" +
                printedValues(family.parents, parent);
    for (const auto& [seed, mix, parents] : kCases) {
        Nursery bred(parents, tableValue);
        bred.breed(seed, mix);
        const PatchRecord& record = *bred.child.getPreset(0);
        EXPECT_EQ(record.nameText(), "Genetics");
        text += printed("\nseed %x, mix %g, %d parents\n", seed, static_cast<double>(mix), parents);
        text += printed("last seed %x\ninfo ", bred.state.seed);
        text += std::string(record.infoText()) + "\ngenes ";
        for (const int gene : bred.state.genes)
            text += std::to_string(gene);
        text += '\n';
        text += printedValues(bred.child, 0);
    }
    text += "\n";
    for (int k = 0; k < 4; ++k) {
        GeneticsScoreNet::Inputs inputs{};
        for (int i = 0; i < static_cast<int>(inputs.size()); ++i)
            inputs[static_cast<std::size_t>(i)] = ((37 * i + 11 * k) % 65) / 64.0;
        text += printed("score %d %.17g\n", k, GeneticsScoreNet::score(inputs));
    }
    return text;
}

TEST(Genetics, BreedsWhatAnIndependentScriptBreeds)
{
    std::ifstream file(ZEPHRA_GENETICS_TABLE, std::ios::binary);
    std::stringstream theirs;
    theirs << file.rdbuf();
    EXPECT_EQ(childrenOfOurs(), theirs.str());
}

TEST(Genetics, MixDecidesHowMuchComesFromTheFirstParent)
{
    constexpr struct {
        int parents;
        float mix;
        double shares[3];
    } kCases[] = {
        {2, 0.0f, {1.0, 0.0}},   {3, 0.0f, {1.0, 0.0, 0.0}},
        {2, 0.5f, {0.75, 0.25}}, {3, 0.5f, {2.0 / 3, 1.0 / 6, 1.0 / 6}},
        {2, 1.0f, {0.5, 0.5}},   {3, 1.0f, {1.0 / 3, 1.0 / 3, 1.0 / 3}},
    };
    constexpr int kSeeds = 1000;
    for (const auto& [parents, mix, shares] : kCases) {
        Nursery bred(parents, parentItself);
        int counts[3] = {};
        for (int seed = 0; seed < kSeeds; ++seed) {
            bred.breed(static_cast<std::uint32_t>(seed), mix);
            for (const int id : kStorageOrder)
                ++counts[static_cast<int>(bred.child.getValue(id))];
        }
        for (int parent = 0; parent < parents; ++parent) {
            const double share = counts[parent] / (static_cast<double>(kSeeds) * kRows);
            EXPECT_NEAR(share, shares[parent], mix == 0.0f ? 1e-4 : 0.01)
                << "parent " << parent + 1 << " of " << parents << ", mix " << mix;
            RecordProperty(
                printed("parent%dOf%dAtMix%g", parent + 1, parents, static_cast<double>(mix)),
                printed("%.6f", share));
        }
    }
}

PatchEntry entryAt(const std::string& path)
{
    PatchEntry entry;
    entry.path = path;
    return entry;
}

TEST(Genetics, OneParentHasNoChildren)
{
    Nursery bred(1, parentItself);
    bred.breed(7, 0.5f);
    EXPECT_EQ(bred.state.seed, 0u);
    EXPECT_EQ(bred.child.getPreset(0)->nameText(), PluginParameters().getPreset(0)->nameText());
}

TEST(GeneticsState, TakesEachFileOnceAndForgetsTheOldestOfFour)
{
    GeneticsState state;
    const auto paths = [&] {
        std::string text;
        for (std::size_t parent = 0; parent < state.parentCount; ++parent)
            text += std::string(state.parents[parent].path.view()) + " ";
        return text;
    };
    constexpr struct {
        const char* path;
        bool added;
        const char* parents;
    } kSteps[] = {
        {"X\\a", true, "X\\a "},     {"X\\a", false, "X\\a "},        {"Y\\a", true, "X\\a Y\\a "},
        {"b", true, "X\\a Y\\a b "}, {"Y\\a", false, "X\\a Y\\a b "}, {"c", true, "Y\\a b c "},
        {"X\\a", true, "b c X\\a "},
    };
    for (const auto& step : kSteps) {
        EXPECT_EQ(state.addParent(entryAt(step.path)), step.added) << step.parents;
        EXPECT_EQ(paths(), step.parents);
    }

    state.mix = 0.25f;
    state.seed = 77;
    state.genes[3] = 2;
    state.clear();
    EXPECT_EQ(paths(), "");
    EXPECT_EQ(state.parents[0].path, "");
    EXPECT_EQ(state.genes[3], 0);
    EXPECT_EQ(state.mix, 0.25f);
    EXPECT_EQ(state.seed, 77u);
}

TEST(GeneticsSelection, FewerThanTwoRowsBecomeNeighbours)
{
    using Rows = std::vector<std::size_t>;
    const struct {
        Rows selected;
        std::optional<std::size_t> current;
        std::size_t rowCount;
        Rows parents;
    } kCases[] = {
        {{1, 4, 7, 8}, 0, 9, {1, 4, 7, 8}},
        {{3}, 7, 9, {3, 4}},
        {{8}, 0, 9, {7, 8}},
        {{}, 5, 9, {5, 6}},
        {{}, 8, 9, {7, 8}},
        {{}, {}, 9, {0, 1}},
        {{0}, {}, 1, {0}},
        {{}, 0, 1, {}},
        {{}, {}, 0, {}},
    };
    for (const auto& [selected, current, rowCount, parents] : kCases)
        EXPECT_EQ(geneticsParentRows(selected, current, rowCount), parents);
}

TEST(GeneticsSelection, DrawsTwoDifferentRowsFromTheWholeList)
{
    GeneticsRng rng(3);
    EXPECT_EQ(randomParentRows(rng, 2), (std::array<std::size_t, 2>{0, 1}));
    int seen[3] = {};
    for (int i = 0; i < 300; ++i) {
        const auto [first, second] = randomParentRows(rng, 3);
        ASSERT_NE(first, second);
        ++seen[first];
        ++seen[second];
    }
    for (const int count : seen)
        EXPECT_NEAR(count, 200, 40);
}

TEST(GeneticsBank, NamesChildrenByTimeAndSeed)
{
    std::tm time{};
    time.tm_year = 105;
    time.tm_mon = 0;
    time.tm_mday = 9;
    time.tm_hour = 23;
    time.tm_min = 4;
    time.tm_sec = 5;
    EXPECT_EQ(geneticsFileName(time, 0xab3), "050109-230405-AB3.fxp");
    time.tm_year = 126;
    time.tm_mon = 11;
    EXPECT_EQ(geneticsFileName(time, 0), "261209-230405-0.fxp");
}

TEST(GeneticsScoreNet, SeesTheHostParametersButTheLateOnes)
{
    PluginParameters patch;
    for (const int id : kStorageOrder)
        patch.setValue(id, static_cast<float>(id));
    const auto inputs = GeneticsScoreNet::inputsOf(patch);
    for (std::size_t index = 0; index < inputs.size(); ++index) {
        const int id = patch.controlOfIndex(static_cast<int>(index));
        EXPECT_EQ(inputs[index], id > 102 && (id < 106 || id > 133) ? 0 : id);
    }
}

} // namespace
} // namespace zephra
