// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/PluginParameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace zephra {
namespace {

TEST(PluginParameters, PresetsStartAsTheInitPatchAndAreAddressedOneByOne)
{
    std::string reported;
    PluginParameters parameters(2, [&](const char* place, const char* text) {
        reported += std::string(place) + "|" + text;
    });
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
}

TEST(PluginParameters, PresetNamesAreCutBetweenCharactersAndShortOnesLeaveNoRest)
{
    PatchRecord record;
    for (const auto& [text, kept] :
         {std::pair("A name of more than thirty-one bytes", "A name of more than thirty-one "),
          {"A name of twenty-eight byte \xf0\x9f\x8e\xb9", "A name of twenty-eight byte "},
          {"short", "short"}}) {
        record.setName(text);
        EXPECT_STREQ(record.name.data(), kept);
    }
    EXPECT_EQ(std::ranges::count(record.name, '\0'), 32 - 5);
}

TEST(Locks, HoldThroughAPatchLoadButFollowEveryWrite)
{
    PluginParameters parameters;
    parameters.setValue(volume, 0.8f);
    parameters.setLocked(filter_cutoff, true);
    for (const float cutoff : {0.8f, 0.3f}) {
        parameters.setValue(filter_cutoff, cutoff);
        parameters.loadDefaultsUnlocked();
        EXPECT_EQ(parameters.getValue(filter_cutoff), cutoff);
        EXPECT_EQ(parameters.getValue(volume), 0.5f);
    }
    parameters.loadDefaults(); // the whole panel back to its start, locks or not
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.5f);
    EXPECT_TRUE(parameters.isLocked(filter_cutoff));
    for (const float wild : {NAN, -9999.0f, INFINITY}) { // does not open it
        parameters.setValue(filter_cutoff, wild);
        EXPECT_TRUE(parameters.isLocked(filter_cutoff)) << wild;
    }
    parameters.setLocked(filter_cutoff, false);
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

} // namespace
} // namespace zephra
