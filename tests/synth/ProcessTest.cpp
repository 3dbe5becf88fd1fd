// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <thread>

namespace zephra {
namespace {

using test::inFreshProcess;
using test::Plugin;

/// A piece that moves much. Controllers stand where blocks of all sizes begin, since they act from
/// the start of their block; notes stand anywhere.
std::vector<MidiEvent> piece()
{
    std::vector<MidiEvent> events;
    for (int i = 0; i < 40; ++i) {
        const int key = 36 + (i * 7) % 48;
        const int start = (i * 1237) % 24000 + 131 * i;
        events.emplace_back(start, 0x90 + i % 16, key, 40 + i * 2);
        events.emplace_back(start + 3001, 0x80, key, 0);
    }
    for (int i = 0; i < 8; ++i) {
        events.emplace_back(i * 4096, 0xe0 + i, i * 3, 64 + 7 * i);
        events.emplace_back(i * 4096, 0xb0, 1, 15 * i);
        events.emplace_back(i * 4096, 0xb0, 64, i % 3 == 1 ? 127 : 0);
        events.emplace_back(i * 4096, 0xd0, 10 * i, 0);
    }
    std::ranges::stable_sort(events, {}, &MidiEvent::deltaFrames);
    return events;
}

/// Left channel of the piece, then the right one.
std::vector<float> playPiece(int blockSize, float mode, float revision)
{
    return inFreshProcess([=] {
        Plugin plugin;
        VstXSynth& synth = *plugin.synth;
        synth.setSampleRate(48000);
        synth.setBlockSize(blockSize);
        constexpr std::pair<int, float> kPatch[] = {
            {opts_osc_drift, 0.5f},   {mixer_osc_2, 0.7f},      {mixer_noise, 0.3f},
            {filter_resonance, 0.6f}, {modulation_source_3, 6}, {modulation_target_3, 1},
            {modwheel_amount, 0.5f},  {fx_active, 1},
        };
        for (const auto& [id, value] : kPatch)
            synth.setControlValue(id, value, false);
        synth.setControlValue(polyphony, mode, false);
        synth.setControlValue(opts_revision, revision, false);
        synth.snapSmoothers();

        std::vector<MidiEvent> events = piece();
        std::vector<float> left, right;
        auto next = events.begin();
        for (int start = 0; start < 8 * 4096; start += blockSize) {
            std::vector<const HostEvent*> pointers;
            for (; next != events.end() && next->deltaFrames < start + blockSize; ++next) {
                next->deltaFrames -= start;
                pointers.push_back(&*next);
            }
            const HostEvents list{static_cast<std::int32_t>(pointers.size()), pointers.data()};
            synth.processEvents(&list);
            const Plugin::Stereo sound = Plugin::render(synth, blockSize);
            left.insert(left.end(), sound.left.begin(), sound.left.end());
            right.insert(right.end(), sound.right.begin(), sound.right.end());
        }
        left.insert(left.end(), right.begin(), right.end());
        return left;
    });
}

TEST(Process, TheHostsBlockSizeIsNotHeard)
{
    for (const float mode : {0.0f, 1.0f, 2.0f, 3.0f}) {
        for (const float revision : {0.0f, 1.0f}) {
            const auto reference = playPiece(64, mode, revision);
            EXPECT_GT(test::peak(reference), 0.01f);
            for (const int size : {128, 4096})
                EXPECT_TRUE(playPiece(size, mode, revision) == reference)
                    << "blocks of " << size << " in mode " << mode << ", revision " << revision;
        }
    }
}

/// The sound of a note while the cutoff moves, in host blocks of these lengths.
std::vector<float> inBlocks(std::initializer_list<int> lengths)
{
    return inFreshProcess([&] {
        Plugin plugin;
        plugin.send({{0, 0x90, 60, 100}});
        plugin.run(256);
        plugin.synth->setControlValue(filter_cutoff, 0.9f, false);
        std::vector<float> sound;
        for (const int length : lengths) {
            const auto block = Plugin::render(*plugin.synth, length).left;
            sound.insert(sound.end(), block.begin(), block.end());
        }
        return sound;
    });
}

TEST(Process, ABlockFallsIntoSubBlocksOf64)
{
    EXPECT_EQ(inBlocks({65, 128}), inBlocks({64, 1, 64, 64}));
    EXPECT_NE(inBlocks({64}), inBlocks({32, 32})) << "smoothers step once a sub-block";
    EXPECT_NE(inBlocks({64}), inBlocks({0, 64})) << "an empty block is a sub-block too";
}

TEST(Process, LengthsAndBuffersThatAreNoneDoNoHarm)
{
    Plugin plugin;
    float left = 0.5f, right = 0.5f;
    float* outputs[2] = {&left, &right};
    for (const int frames : {0, -64, std::numeric_limits<int>::min()})
        plugin.synth->processReplacing(nullptr, outputs, frames);
    plugin.synth->processReplacing(nullptr, nullptr, 512);
    plugin.synth->pauseAudio();
    plugin.synth->processReplacing(nullptr, nullptr, 512);
    plugin.synth->processReplacing(nullptr, outputs, -64);
    plugin.synth->resumeAudio();
    EXPECT_EQ(left, 0.5f);
    EXPECT_EQ(right, 0.5f);
}

TEST(Process, LeavesTheHostsDenormalsAlone)
{
    Plugin plugin;
    plugin.run(64);
    volatile float tiny = std::numeric_limits<float>::min();
    EXPECT_GT(tiny * 0.5f, 0.0f);
}

TEST(Tempo, NonsenseCountsAs120)
{
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    constexpr struct {
        double told;
        bool valid;
        double used;
    } kCases[] = {{95.5, true, 95.5}, {95.5, false, 120},     {0, true, 120},
                  {-60, true, 120},   {kInfinity, true, 120}, {NAN, true, 120}};
    Plugin plugin;
    for (const auto& test : kCases) {
        plugin.host.now = {test.told, test.valid ? 1u << 10 : ~(1u << 10)};
        plugin.run(64);
        EXPECT_EQ(plugin.synth->engine().performance.tempo, test.used) << test.told;
    }
    EXPECT_EQ(plugin.host.asked, 1u << 10);
}

TEST(Pause, ReplacesBySilenceOrLeavesTheOutputs)
{
    Plugin plugin;
    plugin.send({{0, 0x90, 60, 127}});
    plugin.run(2048);
    plugin.synth->pauseAudio();
    const auto silent = Plugin::render(*plugin.synth, 512);
    EXPECT_EQ(silent.left, std::vector<float>(512, 0.0f));
    EXPECT_EQ(silent.right, std::vector<float>(512, 0.0f));

    std::vector<float> left(512, 0.5f), right(512, 0.25f);
    float* outputs[2] = {left.data(), right.data()};
    plugin.synth->process(nullptr, outputs, 512);
    EXPECT_EQ(left, std::vector<float>(512, 0.5f));
    plugin.synth->resumeAudio();
    plugin.synth->process(nullptr, outputs, 512);
    EXPECT_NE(left, std::vector<float>(512, 0.5f)) << "the note has waited";
    EXPECT_GT(test::peak(right), 0.01f);
}

/// Silence for long enough that the engine falls asleep.
bool fallsAsleep(Plugin& plugin)
{
    for (int i = 0; i < 40; ++i)
        plugin.run(4096);
    return plugin.synth->engine().asleep();
}

TEST(Pause, NoNoteAndNoRequestOfARefusedBlockIsLost)
{
    for (const MidiEvent& off : {MidiEvent(300, 0x80, 60, 0), MidiEvent(300, 0xb0, 123, 0)}) {
        Plugin plugin;
        plugin.synth->pauseAudio();
        plugin.send({{7, 0x90, 60, 127}});
        plugin.run(512);
        plugin.synth->resumeAudio();
        EXPECT_GT(test::peak(Plugin::render(*plugin.synth, 512).left), 0.001f) << "note on";
        EXPECT_FALSE(fallsAsleep(plugin));

        plugin.synth->pauseAudio();
        plugin.send({off});
        plugin.run(512);
        plugin.run(512);
        plugin.synth->resumeAudio();
        plugin.run(100); // shorter than the offset that the event came with
        EXPECT_TRUE(fallsAsleep(plugin));
    }
}

TEST(Pause, TheAudioThreadNeverWaitsForAWriter)
{
    Plugin plugin;
    VstXSynth& synth = *plugin.synth;
    synth.startMidiLearn(polyphony);
    plugin.send({{0, 0xb0, 20, 127}});

    synth.pauseAudio();
    std::thread([&] { // would never end if it waited
        plugin.send({{0, 0xb0, 20, 0}});
        EXPECT_EQ(synth.getControlValue(polyphony), 0.0f);
        synth.setControlValue(polyphony, 0.0f, false); // a repeated step
        synth.setSampleRate(96000);
        synth.setBlockSize(256);
        EXPECT_EQ(Plugin::render(synth, 64).left, std::vector<float>(64, 0.0f));
    })
        .join();
    EXPECT_EQ(synth.engine().sampleRate(), 44100.0) << "still to come";
    synth.resumeAudio();
    plugin.run(64);
    EXPECT_EQ(synth.engine().sampleRate(), 96000.0);
    EXPECT_EQ(synth.engine().rows.blockSize(), 256);
}

// Poly-4 plays four notes of a chord, Mono one: what a learned controller does to the very block
// that it precedes is what the panel does ahead of that block.
TEST(Pause, LearnedPolyphonyActsInItsOwnBlock)
{
    const auto chord = [](bool learned) {
        return inFreshProcess([=] {
            Plugin plugin;
            plugin.synth->startMidiLearn(polyphony);
            plugin.send({{0, 0xb0, 20, 127}});
            plugin.run(512);
            if (!learned)
                plugin.synth->setControlValue(polyphony, 2.0f, false);
            plugin.send({{0, 0xb0, learned ? 20 : 3, 85},
                         {0, 0x90, 48, 100},
                         {0, 0x90, 55, 100},
                         {0, 0x90, 64, 100}});
            return Plugin::render(*plugin.synth, 1024).left;
        });
    };
    EXPECT_TRUE(chord(true) == chord(false));
}

TEST(WildValues, NeverReachTheSoundAndLeaveNothingBehind)
{
    for (const float wild : {NAN, INFINITY, -INFINITY, 1e30f}) {
        Plugin plugin;
        VstXSynth& synth = *plugin.synth;
        plugin.send({{0, 0x90, 60, 127}});
        plugin.run(512);
        for (int id = 0; id < 210; ++id) {
            synth.setParameter(id, wild);
            synth.setControlValue(id, wild, true);
            synth.setControlInternal(id, wild);
            EXPECT_LT(synth.formatControl(id).size(), 512u);
        }
        plugin.send({{0, 0x90, 48, 127}, {0, 0xe0, 127, 127}});
        for (const float x : Plugin::render(synth, 10240).left)
            ASSERT_LT(std::abs(x), 100.0f) << wild;
        synth.parameters().loadDefaults();
        synth.applyCurrentPatch();
        plugin.send({{0, 0x90, 48, 127}});
        plugin.run(2048);
        const float after = test::peak(Plugin::render(synth, 2048).left);
        EXPECT_TRUE(after > 0.01f && after < 10.0f) << after << " after " << wild;
    }
}

} // namespace
} // namespace zephra
