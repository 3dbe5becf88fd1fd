// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/MidiMap.h"

#include "support/PluginPeers.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::MemorySettings;

void learn(MidiMap& map, int id, int cc)
{
    map.startMidiLearn(id);
    map.learn(cc);
}

TEST(MidiMap, StartsWithTheModulationWheelAlone)
{
    const MidiMap map;
    for (int cc = 0; cc < 128; ++cc)
        EXPECT_EQ(map.controlOfCc(cc), cc == 1 ? modwheel : MidiMap::kNoControl) << cc;
    for (int id = 0; id < kNumControls; ++id)
        EXPECT_EQ(map.ccOfControl(id), id == modwheel ? 1 : MidiMap::kNoCc) << id;
    EXPECT_EQ(map.ccOfControl(-1), MidiMap::kNoCc);
    EXPECT_EQ(map.ccOfControl(pitch_wheel), MidiMap::kNoCc);
}

TEST(MidiMap, BindsTheNextControllerButNotZero)
{
    MidiMap map;
    map.startMidiLearn(filter_cutoff);
    map.learn(0);
    EXPECT_EQ(map.ccOfControl(filter_cutoff), MidiMap::kNoCc);
    map.learn(20);
    map.learn(21);
    EXPECT_EQ(map.controlOfCc(20), filter_cutoff);
    EXPECT_EQ(map.controlOfCc(21), MidiMap::kNoControl) << "one controller a learn";
    EXPECT_EQ(map.ccOfControl(filter_cutoff), 20);

    map.startMidiLearn(volume);
    map.startMidiLearn(-1);
    map.learn(22);
    EXPECT_EQ(map.controlOfCc(22), MidiMap::kNoControl) << "given up";
    for (const int id : {-2, kNumControls, +pitch_wheel, NoParameter}) {
        learn(map, id, 23);
        EXPECT_EQ(map.controlOfCc(23), MidiMap::kNoControl) << "cannot be bound: " << id;
    }
}

TEST(MidiMap, SeveralControllersDriveOneControlAndTheHigherNumberShows)
{
    MidiMap map;
    learn(map, modwheel, 30);
    learn(map, modwheel, 7);
    EXPECT_EQ(map.controlOfCc(1), modwheel);
    EXPECT_EQ(map.controlOfCc(7), modwheel);
    EXPECT_EQ(map.controlOfCc(30), modwheel);
    EXPECT_EQ(map.ccOfControl(modwheel), 30);
}

TEST(MidiMap, ForgettingFreesAllControllersOfAControlButItsNumberStillShows)
{
    MidiMap map;
    learn(map, volume, 20);
    learn(map, volume, 21);
    map.startMidiLearn(filter_cutoff);
    map.forgetMidi(volume);
    EXPECT_EQ(map.controlOfCc(20), MidiMap::kNoControl);
    EXPECT_EQ(map.controlOfCc(21), MidiMap::kNoControl);
    EXPECT_EQ(map.ccOfControl(volume), 21) << "overlaid, never cleared";
    map.learn(20);
    EXPECT_EQ(map.controlOfCc(20), filter_cutoff) << "the waiting learn has outlived it";
}

TEST(MidiMap, IsStoredAs128LittleEndianWords)
{
    MemorySettings settings;
    {
        MidiMap map;
        map.saveIfChanged(settings);
        EXPECT_EQ(settings.writes, 0) << "nothing learned, nothing written";
        learn(map, opts_osc_3_lo_sync, 127); // 153 = 0x99
        map.saveIfChanged(settings);
    }
    const auto& bytes = settings.values.at("DataCC");
    ASSERT_EQ(bytes.size(), 256u);
    for (std::size_t i = 0; i < 256; i += 2) {
        const int word = i == 2 ? 0x0062 : i == 254 ? 0x0099 : 0x7fff;
        EXPECT_EQ(bytes[i], word & 0xff) << "byte " << i;
        EXPECT_EQ(bytes[i + 1], word >> 8) << "byte " << i + 1;
    }

    MidiMap other;
    other.load(settings);
    EXPECT_EQ(other.controlOfCc(127), opts_osc_3_lo_sync);
    EXPECT_EQ(other.ccOfControl(opts_osc_3_lo_sync), 127);
}

TEST(MidiMap, AStoredMapReplacesTheDefaultWhole)
{
    MemorySettings settings;
    settings.values["DataCC"].assign(256, 0xff);
    MidiMap map;
    map.load(settings);
    EXPECT_EQ(map.controlOfCc(1), 0xffff);
    EXPECT_EQ(map.ccOfControl(modwheel), 1) << "overlaid, never cleared";
}

TEST(MidiMap, AValueOfAnotherSizeLeavesTheDefault)
{
    for (const std::size_t size : {0u, 1u, 255u, 257u, 512u}) {
        MemorySettings settings;
        settings.values["DataCC"].assign(size, 0);
        MidiMap map;
        map.load(settings);
        EXPECT_EQ(map.controlOfCc(1), modwheel) << size;
        EXPECT_EQ(map.controlOfCc(0), MidiMap::kNoControl) << size;
    }
}

} // namespace
} // namespace zephra
