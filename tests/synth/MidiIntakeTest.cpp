// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/PluginPeers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace zephra {
namespace {

using test::MemorySettings;
using test::Plugin;

/// The notes that wait in the engine's queue.
std::vector<NoteEvent> notesOf(const Plugin& plugin)
{
    const NoteQueue& queue = plugin.synth->engine().noteQueue;
    return {queue.begin(), queue.end()};
}

TEST(MidiNotes, KeepTheirSampleVelocityAndChannel)
{
    Plugin plugin;
    plugin.synth->setBlockSize(512);
    plugin.send({{5000, 0x90, 62, 1}, // after the block
                 {17, 0x93, 60, 100},
                 {17, 0x8f, 60, 33},
                 {9, 0x90, 61, 0},   // on at velocity 0 is off
                 {-40, 0x90, 62, 1}, // before the block
                 {1, 0x90, 0xbc, 0xff}});
    const auto note = [](int key, int velocity, int offset, int on, int channel) {
        const float part = static_cast<float>(velocity) / 127.0f;
        return testing::FieldsAre(key, part, offset, on, channel);
    };
    EXPECT_THAT(notesOf(plugin),
                testing::ElementsAre(note(62, 1, 0, 1, 0), note(60, 127, 1, 1, 0),
                                     note(61, 0, 9, 0, 0), note(60, 100, 17, 1, 3),
                                     note(60, 33, 17, 0, 15), note(62, 1, 511, 1, 0)));
}

TEST(HostileEvents, ArePassedOver)
{
    Plugin plugin;
    const MidiEvent note(0, 0x90, 60, 100);
    MidiEvent foreign = note, shortened = note, longer = note;
    foreign.type = 6;
    shortened.byteSize = 8;
    longer.byteSize = 32; // some hosts count the whole event
    const HostEvent* mixed[] = {nullptr, &foreign, &shortened, &longer, nullptr, &note};
    for (const HostEvents& list :
         {HostEvents{6, mixed}, HostEvents{-1, mixed}, HostEvents{4097, mixed},
          HostEvents{6, nullptr}, HostEvents{std::numeric_limits<std::int32_t>::max(), mixed}})
        plugin.synth->processEvents(&list);
    plugin.synth->processEvents(nullptr);
    EXPECT_EQ(notesOf(plugin).size(), 2u);

    for (int status = 0; status < 256; ++status)
        plugin.send({{0, status, 255, 255}});
    plugin.run(64);
}

TEST(MidiControllers, ReachTheEngineByChannelAndWheelsFollowTheirEventsThroughTheBlock)
{
    Plugin plugin;
    plugin.synth->setBlockSize(512);
    plugin.synth->setControlValue(modulation_source_1, 5, false); // Timbre
    plugin.send({{0, 0xb2, 2, 10},
                 {0, 0xb3, 4, 20},
                 {0, 0xb4, 11, 30},
                 {0, 0xb5, 74, 40},
                 {0, 0xd6, 50},
                 {0, 0xb0, 64, 64},
                 {0, 0xe0, 0, 0},
                 {0, 0xb0, 1, 0},
                 {300, 0xb7, 1, 127},
                 {300, 0xe0, 0, 64}});
    EXPECT_EQ(plugin.synth->getControlValue(modwheel), 1.0f);
    EXPECT_EQ(plugin.editor->posts.at(2), std::pair(int(modwheel), 1.0f));
    const Performance& now = plugin.synth->engine().performance;
    for (const float passed : {0.0f, 1.0f}) { // the first row; the next block, by the last values
        plugin.run(64);
        EXPECT_EQ(now.modWheelNow, passed);
        EXPECT_EQ(now.pitchBendNow[0], passed - 1.0f);
        EXPECT_FLOAT_EQ(now.breath[2], 10.0f / 127.0f);
        EXPECT_FLOAT_EQ(now.foot[3], 20.0f / 127.0f);
        EXPECT_FLOAT_EQ(now.expression[4], 30.0f / 127.0f);
        EXPECT_FLOAT_EQ(now.timbre[5], 40.0f / 127.0f);
        EXPECT_FLOAT_EQ(now.aftertouch[6], 50.0f / 127.0f);
        EXPECT_EQ(now.pedalUp, passed == 1.0f);
        plugin.send({{0, 0xb0, 64, 63}});
    }
    EXPECT_EQ(plugin.synth->midiActivity().seen, 1);
}

TEST(PitchBend, FourteenBitsCoverMinusOneToOne)
{
    for (const auto& [low, high, bend] :
         {std::tuple(0, 0, -1.0f), {127, 127, 0.99987793f}, {1, 64, 1.0f / 8192.0f}}) {
        Plugin plugin;
        plugin.send({{0, 0xe9, low, high}});
        plugin.run(64);
        const auto& bends = plugin.synth->engine().performance.pitchBendNow;
        EXPECT_FLOAT_EQ(bends[9], bend);
        EXPECT_EQ(bends[8], 0.0f);
        EXPECT_EQ(plugin.editor->posts, (std::vector{std::pair(+pitch_wheel, 0.5f + bend / 2)}));
    }
}

TEST(MidiLearn, TheEventThatCompletesItMovesTheControlOnItsScale)
{
    constexpr struct {
        int id, cc, data;
        float stored;
        int timbreSource = 0; ///< modulation source that is the timbre
    } kCases[] = {
        {osc_1_waveform, 20, 64, 3},
        {osc_1_active, 20, 63, 0},
        {polyphony, 20, 126, 2},
        {volume, 74, 127, 1},
        // the map has them, but never sees them: they have a meaning of their own
        {volume, 11, 127, 0.5f},
        {volume, 32, 127, 0.5f},
        {volume, 123, 127, 0.5f},
        {volume, 74, 127, 0.5f, modulation_source_1},
        {volume, 74, 127, 0.5f, modulation_source_3},
    };
    for (const auto& test : kCases) {
        Plugin plugin;
        plugin.synth->setControlValue(test.timbreSource, 5, false);
        plugin.synth->startMidiLearn(test.id);
        plugin.send({{0, 0xb0, 0, 99}, {0, 0xb0, test.cc, test.data}});
        EXPECT_EQ(plugin.synth->ccOfControl(test.id), test.cc);
        EXPECT_EQ(plugin.synth->getControlValue(test.id), test.stored) << test.id << test.cc;
        plugin.synth->setControlValue(test.timbreSource, 6, false);
        plugin.synth->forgetMidi(test.id);
        plugin.send({{0, 0xb0, test.cc, 127 - test.data}});
        EXPECT_EQ(plugin.synth->getControlValue(test.id), test.stored) << "forgotten";
    }
}

TEST(MidiMap, BindsOneControllerALearnAndForgetsAllOfAControl)
{
    MidiMap map;
    const auto learn = [&map](int id, int cc) {
        map.startMidiLearn(id);
        map.learn(cc);
    };
    EXPECT_EQ(map.controlOfCc(1), modwheel) << "from the start";
    for (const int id : {-2, -1, kNumControls, +pitch_wheel, NoParameter})
        learn(id, 23); // cannot be bound
    EXPECT_EQ(map.controlOfCc(23), MidiMap::kNoControl);
    learn(volume, 21);
    map.learn(22);
    EXPECT_EQ(map.controlOfCc(22), MidiMap::kNoControl) << "one controller a learn";
    learn(volume, 20);
    EXPECT_EQ(map.ccOfControl(volume), 21) << "of several controllers the higher number shows";
    map.startMidiLearn(filter_cutoff);
    map.forgetMidi(volume);
    for (const int cc : {20, 21})
        EXPECT_EQ(map.controlOfCc(cc), MidiMap::kNoControl);
    EXPECT_EQ(map.ccOfControl(volume), 21) << "overlaid, never cleared";
    map.learn(20);
    EXPECT_EQ(map.controlOfCc(20), filter_cutoff) << "the waiting learn has outlived it";
}

TEST(MidiMap, IsKeptForTheNextInstanceAs128LittleEndianWords)
{
    MemorySettings settings;
    VstXSynth({&settings, nullptr, nullptr, {}});
    EXPECT_EQ(settings.writes, 0) << "nothing learned, nothing written";
    {
        VstXSynth first({&settings, nullptr, nullptr, {}});
        first.startMidiLearn(opts_osc_3_lo_sync); // 153 = 0x99
        test::EventList list{{0, 0xb0, 127, 1}};
        first.processEvents(list);
    }
    auto& bytes = settings.values.at("DataCC");
    ASSERT_EQ(bytes.size(), 256u);
    for (std::size_t i = 0; i < 256; i += 2) {
        const int word = i == 2 ? 0x0062 : i == 254 ? 0x0099 : 0x7fff;
        EXPECT_EQ(bytes[i] | bytes[i + 1] << 8, word) << "byte " << i;
    }
    EXPECT_EQ(VstXSynth({&settings, nullptr, nullptr, {}}).ccOfControl(opts_osc_3_lo_sync), 127);

    for (const std::size_t size : {0u, 255u, 257u}) { // not of this instrument
        bytes.assign(size, 0);
        EXPECT_EQ(VstXSynth({&settings, nullptr, nullptr, {}}).ccOfControl(modwheel), 1) << size;
    }
    // Every controller is bound to the panel switch, to ids without a control, to none.
    for (const int id : {0, +panel_view, 154, +pitch_wheel, 9999, 32767, 65535}) {
        bytes.clear();
        for (int i = 0; i < 256; ++i)
            bytes.push_back(static_cast<std::uint8_t>(i % 2 ? id >> 8 : id));
        VstXSynth synth({&settings, nullptr, nullptr, {}});
        for (int cc = 0; cc < 128; ++cc) {
            test::EventList list{{0, 0xb0, cc, 127}};
            synth.processEvents(list);
        }
        Plugin::render(synth, 64);
        EXPECT_EQ(synth.engine().performance.pitchBendNow[0], 0.0f) << id;
    }
}

} // namespace
} // namespace zephra
