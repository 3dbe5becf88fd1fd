// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/PluginParameters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <string>
#include <thread>

namespace zephra {
namespace {

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kInfinity = std::numeric_limits<float>::infinity();

TEST(PluginParameters, EveryPresetStartsAsTheInitPatch)
{
    PluginParameters parameters(3);
    for (int preset = 0; preset < 3; ++preset) {
        EXPECT_STREQ(parameters.getPreset(preset)->name.data(), "Init Patch");
        for (const int id : kStorageOrder) {
            EXPECT_EQ(parameters.getValue(id, 0, preset), parameters.defaultOf(id)) << id;
            EXPECT_FALSE(parameters.isLocked(id)) << id;
        }
    }
    parameters.setValue(volume, 0.9f);
    parameters.restoreSnapshot();
    EXPECT_EQ(parameters.getValue(volume), 0.5f);
}

TEST(PluginParameters, RecordsStandInStorageOrder)
{
    PluginParameters parameters;
    parameters.setValue(opts_osc_3_lo_sync, 1.0f);
    const ControlValues& params = parameters.getPreset(0)->params;
    EXPECT_EQ(params[0].id, modwheel);
    EXPECT_EQ(params[1].id, polyphony);
    EXPECT_EQ(params[87].id, opts_osc_3_lo_sync);
    EXPECT_EQ(params[87].value, 1.0f);
    EXPECT_EQ(parameters.locks()[1].id, polyphony);
}

TEST(PluginParameters, PresetsAndPagesAreAddressedOneByOne)
{
    PluginParameters parameters(2);
    parameters.setValue(volume, 0.1f, 0, 0);
    parameters.setValue(volume, 0.2f, NoParameter, 1);
    parameters.setValue(volume, 0.9f, 1); // no such page
    parameters.setValue(volume, 0.9f, 0, 2);
    parameters.setValue(volume, 0.9f, 0, -1);
    EXPECT_EQ(parameters.getValue(volume), 0.1f);
    EXPECT_EQ(parameters.getValue(volume, 0, 1), 0.2f);
    EXPECT_EQ(parameters.getValue(volume, 1), 0.0f);
    EXPECT_EQ(parameters.getValue(volume, 0, 2), 0.0f);

    parameters.currentPreset = 1;
    EXPECT_EQ(parameters.getValue(volume), 0.2f);
    EXPECT_EQ(parameters.getPreset(NoParameter), parameters.getPreset(1));
    parameters.loadDefaults();
    EXPECT_EQ(parameters.getValue(volume, 0, 0), 0.1f);
    EXPECT_EQ(parameters.getValue(volume, 0, 1), 0.5f);
}

TEST(PluginParameters, ControlsThatNoPatchStoresReadZeroAndTakeNothing)
{
    PluginParameters parameters;
    for (const int id : {int(pitch_wheel), int(panel_view), int(filter_input_volume), 0, -1, 154,
                         NoParameter, std::numeric_limits<int>::max()}) {
        parameters.setValue(id, 0.7f);
        parameters.setLocked(id, true);
        EXPECT_EQ(parameters.getValue(id), 0.0f) << id;
        EXPECT_EQ(parameters.defaultOf(id), 0.0f) << id;
        EXPECT_FALSE(parameters.isLocked(id)) << id;
    }
    for (const int id : kStorageOrder)
        EXPECT_EQ(parameters.getValue(id), parameters.defaultOf(id)) << id;
}

TEST(PluginParameters, ValuesAreKeptAsSent)
{
    PluginParameters parameters;
    for (const float value : {-4.0f, 0.3f, 1e30f, kInfinity}) {
        parameters.setValue(fx_active, value);
        EXPECT_EQ(parameters.getValue(fx_active), value);
    }
    parameters.setValue(fx_active, kNan);
    EXPECT_TRUE(std::isnan(parameters.getValue(fx_active)));
}

TEST(Locks, HoldThroughAPatchLoadButFollowEveryWrite)
{
    PluginParameters parameters;
    const auto lockValue = [&] {
        return parameters.locks()[static_cast<std::size_t>(storageRow(filter_cutoff))].value.get();
    };
    parameters.setValue(filter_cutoff, 0.8f);
    parameters.setValue(volume, 0.8f);
    parameters.setLocked(filter_cutoff, true);
    EXPECT_TRUE(parameters.isLocked(filter_cutoff));
    EXPECT_FALSE(parameters.isLocked(volume));
    EXPECT_EQ(lockValue(), 0.8f);

    parameters.loadDefaultsUnlocked();
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.8f);
    EXPECT_EQ(parameters.getValue(volume), 0.5f);
    EXPECT_EQ(lockValue(), 0.8f);

    parameters.setValue(filter_cutoff, 0.3f);
    EXPECT_EQ(lockValue(), 0.3f);
    parameters.loadDefaults(); // the whole panel back to its start, locks or not
    EXPECT_EQ(parameters.getValue(filter_cutoff), 0.5f);
    EXPECT_EQ(lockValue(), 0.5f);
    EXPECT_TRUE(parameters.isLocked(filter_cutoff));

    parameters.setLocked(filter_cutoff, false);
    EXPECT_EQ(lockValue(), -9999.0f);
    parameters.setValue(filter_cutoff, 0.7f);
    EXPECT_FALSE(parameters.isLocked(filter_cutoff));
}

TEST(Locks, AWildValueDoesNotOpenThem)
{
    PluginParameters parameters;
    parameters.setLocked(volume, true);
    for (const float wild : {kNan, -9999.0f, kInfinity, -kInfinity}) {
        parameters.setValue(volume, wild);
        EXPECT_TRUE(parameters.isLocked(volume)) << wild;
        parameters.setLocked(volume, true); // again, at that very value
        EXPECT_TRUE(parameters.isLocked(volume)) << wild;
    }
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

TEST(HostParameters, OutsideTheTableThereIsNone)
{
    const PluginParameters parameters;
    std::string name = "kept";
    for (const int index : {-1, 75, NoParameter, std::numeric_limits<int>::max()}) {
        EXPECT_EQ(parameters.controlOfIndex(index), NoParameter) << index;
        EXPECT_EQ(parameters.defaultCcOfIndex(index), 32767) << index;
        EXPECT_FALSE(parameters.nameOfIndex(index, name)) << index;
        EXPECT_EQ(name, "kept");
    }
    EXPECT_EQ(parameters.indexOfControl(polyphony), NoParameter);
    EXPECT_EQ(parameters.indexOfControl(volume, 1), NoParameter);
}

TEST(HostParameters, EachLeadsToItsControlAndBack)
{
    const PluginParameters parameters;
    for (int index = 0; index < kNumHostParameters; ++index) {
        EXPECT_EQ(parameters.indexOfControl(parameters.controlOfIndex(index)), index);
        EXPECT_EQ(parameters.defaultCcOfIndex(index), index == 0 ? 1 : 32767) << index;
        std::string name;
        EXPECT_TRUE(parameters.nameOfIndex(index, name));
        EXPECT_LE(name.size(), 21u) << name; // hosts cut longer ones
    }
    std::string name;
    parameters.nameOfIndex(55, name);
    EXPECT_EQ(name, "Opts Amt Saturation"); // Kept: songs show it so
}

TEST(GetPreset, ReportsAnIndexOutOfRangeAndGoesOn)
{
    std::string reported;
    PluginParameters parameters(2, [&](const char* place, const char* text) {
        reported += std::string(place) + "|" + text;
    });
    EXPECT_NE(parameters.getPreset(1), nullptr);
    EXPECT_EQ(reported, "");
    EXPECT_EQ(parameters.getPreset(2), nullptr);
    EXPECT_EQ(reported, "PluginParameters::getPreset|Assertion failed");
    EXPECT_EQ(PluginParameters().getPreset(-1), nullptr); // nobody listens
}

TEST(GetPreset, TheirNumberIsLimited)
{
    EXPECT_EQ(PluginParameters(-5).presetCount(), 1);
    EXPECT_EQ(PluginParameters(0).presetCount(), 1);
    EXPECT_EQ(PluginParameters(40000).presetCount(), 32767);
}

TEST(PatchRecord, TextsAreCutBetweenCharactersAndShortOnesLeaveNoRest)
{
    const struct {
        std::string text, kept;
    } rows[] = {
        {"A name of more than thirty-one bytes", "A name of more than thirty-one "},
        {std::string(30, 'x') + "\xc3\xa4", std::string(30, 'x')},         // a two-byte letter
        {std::string(28, 'x') + "\xf0\x9f\x8e\xb9", std::string(28, 'x')}, // a four-byte sign
        {std::string(27, 'x') + "\xf0\x9f\x8e\xb9", std::string(27, 'x') + "\xf0\x9f\x8e\xb9"},
        {std::string(40, '\x80'), std::string(31, '\x80')}, // no UTF-8 at all
        {std::string("ends\0here", 9), "ends"},
        {"Bell", "Bell"},
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
    EXPECT_EQ(record.infoText(), "short");
    EXPECT_EQ(std::ranges::count(record.info, '\0'), 560 - 5);
}

// For the thread sanitizer: host, editor and audio thread move one control at a time.
TEST(PluginParameters, TwoThreadsMayMoveOneControl)
{
    PluginParameters parameters;
    parameters.setLocked(volume, true);
    std::thread other([&] {
        for (int i = 0; i < 1000; ++i)
            parameters.setValue(volume, 0.25f);
    });
    for (int i = 0; i < 1000; ++i) {
        parameters.setValue(volume, 0.75f);
        const float seen = parameters.getValue(volume);
        EXPECT_TRUE(seen == 0.25f || seen == 0.75f) << seen;
    }
    other.join();
}

} // namespace
} // namespace zephra
