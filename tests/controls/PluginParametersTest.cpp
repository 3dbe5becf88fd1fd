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
    parameters.setValue(volume, 0.1f, 0, 0);
    parameters.setValue(volume, 0.9f, 1); // no such page
    parameters.currentPreset = 1;
    const auto isInitPatch = [&] {
        return std::ranges::all_of(kStorageOrder, [&](int id) {
            return parameters.getValue(id) == parameters.defaultOf(id);
        });
    };
    EXPECT_TRUE(isInitPatch());
    for (const int id : kStorageOrder)
        parameters.setValue(id, 0.01f * static_cast<float>(id));
    parameters.saveSnapshot();
    parameters.loadDefaults();
    EXPECT_TRUE(isInitPatch());
    parameters.restoreSnapshot();
    for (const int id : kStorageOrder)
        EXPECT_EQ(parameters.getValue(id, NoParameter, 1), 0.01f * static_cast<float>(id)) << id;
    EXPECT_EQ(parameters.getValue(volume, 0, 0), 0.1f);

    EXPECT_EQ(reported, "");
    EXPECT_EQ(parameters.getPreset(2), nullptr);
    EXPECT_EQ(reported, "PluginParameters::getPreset|Assertion failed");
    EXPECT_EQ(PluginParameters(-5).getPreset(1), nullptr); // nobody listens
}

TEST(PluginParameters, PresetNamesAreCutBetweenCharactersAndLeaveNoRest)
{
    PatchRecord record;
    for (const auto& [text, kept] :
         {std::pair("A name of more than thirty-one bytes", "A name of more than thirty-one "),
          {"A name of twenty-eight byte \xf0\x9f\x8e\xb9", "A name of twenty-eight byte "},
          {"short", "short"}}) {
        record.setName(text);
        EXPECT_STREQ(record.name.data(), kept);
    }
    EXPECT_EQ(record.name[8], '\0');
}

TEST(Locks, HoldThroughAPatchLoadButFollowEveryWrite)
{
    PluginParameters parameters;
    parameters.setLocked(filter_cutoff, true);
    for (const float cutoff : {0.8f, 0.3f}) {
        parameters.setValue(volume, 0.8f);
        parameters.setValue(filter_cutoff, cutoff);
        parameters.loadDefaultsUnlocked();
        EXPECT_EQ(parameters.getValue(filter_cutoff), cutoff);
        EXPECT_EQ(parameters.getValue(volume), 0.5f);
    }
    parameters.loadDefaults(); // the whole panel back to its start, locks or not
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.5f);
    for (const float wild : {NAN, -9999.0f, INFINITY}) { // does not open it
        parameters.setValue(filter_cutoff, wild);
        EXPECT_TRUE(parameters.isLocked(filter_cutoff)) << wild;
    }
    parameters.setLocked(filter_cutoff, false);
    EXPECT_FALSE(parameters.isLocked(filter_cutoff));
}

} // namespace
} // namespace zephra
