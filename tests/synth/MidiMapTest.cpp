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
    for (int id = -1; id < kNumControls; ++id)
        EXPECT_EQ(map.ccOfControl(id), id == modwheel ? 1 : MidiMap::kNoCc) << id;
}

TEST(MidiMap, BindsOneControllerALearnAndForgetsAllOfAControl)
{
    MidiMap map;
    for (const int id : {-2, -1, kNumControls, +pitch_wheel, NoParameter})
        learn(map, id, 23); // cannot be bound
    EXPECT_EQ(map.controlOfCc(23), MidiMap::kNoControl);
    learn(map, volume, 21);
    map.learn(22);
    EXPECT_EQ(map.controlOfCc(22), MidiMap::kNoControl) << "one controller a learn";
    learn(map, volume, 20);
    EXPECT_EQ(map.ccOfControl(volume), 21) << "of several controllers the higher number shows";
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
    MidiMap map;
    map.saveIfChanged(settings);
    EXPECT_EQ(settings.writes, 0) << "nothing learned, nothing written";
    learn(map, opts_osc_3_lo_sync, 127); // 153 = 0x99
    map.saveIfChanged(settings);
    const auto& bytes = settings.values.at("DataCC");
    ASSERT_EQ(bytes.size(), 256u);
    for (std::size_t i = 0; i < 256; i += 2) {
        const int word = i == 2 ? 0x0062 : i == 254 ? 0x0099 : 0x7fff;
        EXPECT_EQ(bytes[i] | bytes[i + 1] << 8, word) << "byte " << i;
    }
    MidiMap other;
    other.load(settings);
    EXPECT_EQ(other.controlOfCc(127), opts_osc_3_lo_sync);
}

TEST(MidiMap, AValueOfAnotherSizeLeavesTheDefault)
{
    for (const std::size_t size : {0u, 255u, 257u, 512u}) {
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
