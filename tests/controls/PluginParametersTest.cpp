// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/PluginParameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <string>

namespace zephra {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(PluginParameters, PresetsStartAsTheInitPatchAndAreAddressedOneByOne)
{
    std::string reported;
    PluginParameters parameters(2, [&](const char* place, const char* text) {
        reported += std::string(place) + "|" + text;
    });
    EXPECT_STREQ(parameters.getPreset(1)->name.data(), "Init Patch");
    for (const int id : kStorageOrder)
        EXPECT_EQ(parameters.getValue(id, 0, 1), parameters.defaultOf(id)) << id;

    parameters.setValue(volume, 0.1f, 0, 0);
    parameters.setValue(volume, 0.2f, NoParameter, 1);
    parameters.setValue(volume, 0.9f, 1); // no such page
    parameters.currentPreset = 1;
    EXPECT_EQ(parameters.getValue(volume), 0.2f);
    parameters.loadDefaults();
    EXPECT_EQ(parameters.getValue(volume, 0, 0), 0.1f);
    EXPECT_EQ(parameters.getValue(volume, 0, 1), 0.5f);

    EXPECT_EQ(reported, "");
    EXPECT_EQ(parameters.getPreset(2), nullptr);
    EXPECT_EQ(reported, "PluginParameters::getPreset|Assertion failed");
    EXPECT_EQ(PluginParameters().getPreset(-1), nullptr); // nobody listens
    EXPECT_EQ(PluginParameters(-5).presetCount(), 1);
    EXPECT_EQ(PluginParameters(40000).presetCount(), 32767);
}

TEST(Locks, HoldThroughAPatchLoadButFollowEveryWrite)
{
    PluginParameters parameters;
    parameters.setValue(filter_cutoff, 0.8f);
    parameters.setValue(volume, 0.8f);
    parameters.setLocked(filter_cutoff, true);
    EXPECT_FALSE(parameters.isLocked(volume));
    parameters.loadDefaultsUnlocked();
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.8f);
    EXPECT_EQ(parameters.getValue(volume), 0.5f);

    parameters.setValue(filter_cutoff, 0.3f);
    parameters.loadDefaultsUnlocked();
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.3f);
    parameters.loadDefaults(); // the whole panel back to its start, locks or not
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.5f);
    EXPECT_TRUE(parameters.isLocked(filter_cutoff));
    for (const float wild : {kNan, -9999.0f, kInfinity}) { // does not open it
        parameters.setValue(filter_cutoff, wild);
        EXPECT_TRUE(parameters.isLocked(filter_cutoff)) << wild;
    }
    parameters.setLocked(filter_cutoff, false);
    parameters.setValue(filter_cutoff, 0.7f);
    EXPECT_FALSE(parameters.isLocked(filter_cutoff));
}

TEST(Snapshot, BringsBackAllStoredControls)
{
    PluginParameters parameters;
    float value = 0.0f;
    for (const int id : kStorageOrder)
        parameters.setValue(id, value += 0.01f);
    parameters.saveSnapshot();
    parameters.loadDefaults();
    parameters.restoreSnapshot();
    value = 0.0f;
    for (const int id : kStorageOrder)
        EXPECT_EQ(parameters.getValue(id), value += 0.01f) << id;
}

TEST(HostParameters, EachLeadsToItsControlAndBackAndOthersAreNone)
{
    const PluginParameters parameters;
    std::string name;
    for (int index = 0; index < kNumHostParameters; ++index) {
        EXPECT_EQ(parameters.indexOfControl(parameters.controlOfIndex(index)), index);
        EXPECT_EQ(parameters.defaultCcOfIndex(index), index == 0 ? 1 : 32767) << index;
        EXPECT_TRUE(parameters.nameOfIndex(index, name));
        EXPECT_LE(name.size(), 21u) << name; // hosts cut longer ones
    }
    parameters.nameOfIndex(55, name);
    EXPECT_EQ(name, "Opts Amt Saturation"); // Kept: songs show it so
    for (const int index : {-1, 75, NoParameter, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(parameters.controlOfIndex(index), NoParameter) << index;
        EXPECT_FALSE(parameters.nameOfIndex(index, name)) << index;
    }
    EXPECT_EQ(parameters.indexOfControl(polyphony), NoParameter);
}

TEST(PatchRecord, TextsAreCutBetweenCharactersAndShortOnesLeaveNoRest)
{
    const struct {
        std::string text, kept;
    } rows[] = {
        {"A name of more than thirty-one bytes", "A name of more than thirty-one "},
        {std::string(30, 'x') + "\xc3\xa4", std::string(30, 'x')},         // a two-byte letter
        {std::string(28, 'x') + "\xf0\x9f\x8e\xb9", std::string(28, 'x')}, // a four-byte sign
        {std::string(40, '\x80'), std::string(31, '\x80')},                // no UTF-8 at all
        {std::string("ends\0here", 9), "ends"},
    };
    PatchRecord record;
    for (const auto& row : rows) {
        record.setName(row.text);
        EXPECT_EQ(std::string(record.name.begin(), record.name.end()),
                  row.kept + std::string(32 - row.kept.size(), '\0'));
    }
    record.setInfoText(std::string(510, 'x') + "\xc3\xa4");
    EXPECT_EQ(record.infoText(), std::string(510, 'x'));
    record.setInfoText("short");
    EXPECT_EQ(std::ranges::count(record.info, '\0'), 560 - 5);
}

} // namespace
} // namespace zephra
