// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/FreshProcess.h"
#include "support/PluginPeers.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>

namespace zephra {
namespace {

using test::inFreshProcess;
using test::Plugin;

void append(std::vector<float>& sound, const Plugin::Stereo& block)
{
    sound.insert(sound.end(), block.left.begin(), block.left.end());
    sound.insert(sound.end(), block.right.begin(), block.right.end());
}

/// An event at a sample of the piece.
struct Timed {
    int time;
    int status, first, second;
};

/// A piece that moves much. Controllers stand where blocks of all sizes begin, since they act from
/// the start of their block; notes stand anywhere.
std::vector<Timed> piece()
{
    std::vector<Timed> events;
    for (int i = 0; i < 40; ++i) {
        const int key = 36 + (i * 7) % 48;
        events.push_back({(i * 1237) % 24000 + 131 * i, 0x90 + i % 16, key, 40 + i * 2});
        events.push_back({(i * 1237) % 24000 + 131 * i + 3001, 0x80, key, 0});
    }
    for (int i = 0; i < 8; ++i) {
        events.push_back({i * 4096, 0xe0 + i, i * 3, 64 + 7 * i});
        events.push_back({i * 4096, 0xb0, 1, 15 * i});
        events.push_back({i * 4096, 0xb0, 64, i % 3 == 1 ? 127 : 0});
        events.push_back({i * 4096, 0xd0, 10 * i, 0});
    }
    std::ranges::stable_sort(events, {}, &Timed::time);
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
        synth.setControlValue(polyphony, mode, false);
        synth.setControlValue(opts_revision, revision, false);
        synth.setControlValue(opts_osc_drift, 0.5f, false);
        synth.setControlValue(mixer_osc_2, 0.7f, false);
        synth.setControlValue(mixer_noise, 0.3f, false);
        synth.setControlValue(filter_resonance, 0.6f, false);
        synth.setControlValue(modulation_source_3, 6, false);
        synth.setControlValue(modulation_target_3, 1, false);
        synth.setControlValue(modwheel_amount, 0.5f, false);
        synth.setControlValue(fx_active, 1, false);
        synth.snapSmoothers();

        const std::vector<Timed> events = piece();
        std::vector<float> left, right;
        auto next = events.begin();
        for (int start = 0; start < 8 * 4096; start += blockSize) {
            std::vector<MidiEvent> block;
            for (; next != events.end() && next->time < start + blockSize; ++next)
                block.emplace_back(next->time - start, next->status, next->first, next->second);
            std::vector<const HostEvent*> pointers;
            for (const MidiEvent& event : block)
                pointers.push_back(&event);
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
            for (const int size : {128, 512, 4096})
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
    EXPECT_EQ(inBlocks({128}), inBlocks({64, 64}));
    EXPECT_NE(inBlocks({64}), inBlocks({32, 32})) << "smoothers step once a sub-block";
    EXPECT_NE(inBlocks({64}), inBlocks({0, 64})) << "an empty block is a sub-block too";
}

TEST(Process, LengthsAndBuffersThatAreNoneDoNoHarm)
{
    Plugin plugin;
    float left = 0.5f, right = 0.5f;
    float* outputs[2] = {&left, &right};
    plugin.synth->processReplacing(nullptr, outputs, 0);
    plugin.synth->processReplacing(nullptr, outputs, -64);
    plugin.synth->processReplacing(nullptr, outputs, std::numeric_limits<int>::min());
    EXPECT_EQ(left, 0.5f);
    EXPECT_EQ(right, 0.5f);
    plugin.synth->processReplacing(nullptr, nullptr, 512);
    plugin.synth->pauseAudio();
    plugin.synth->processReplacing(nullptr, nullptr, 512);
    plugin.synth->processReplacing(nullptr, outputs, -64);
    plugin.synth->resumeAudio();
    EXPECT_EQ(left, 0.5f);
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
    const struct {
        double told;
        bool valid;
        double used;
    } kCases[] = {{95.5, true, 95.5},     {95.5, false, 120},
                  {0, true, 120},         {-60, true, 120},
                  {kInfinity, true, 120}, {std::numeric_limits<double>::quiet_NaN(), true, 120}};
    Plugin plugin;
    for (const auto& test : kCases) {
        plugin.host.now = {test.told, test.valid ? 1u << 10 : ~(1u << 10)};
        plugin.run(64);
        EXPECT_EQ(plugin.synth->engine().performance.tempo, test.used) << test.told;
        EXPECT_EQ(plugin.host.asked, 1u << 10);
    }
    VstXSynth alone;
    Plugin::render(alone, 64);
    EXPECT_EQ(alone.engine().performance.tempo, 120.0);
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
    EXPECT_EQ(right, std::vector<float>(512, 0.25f));
    plugin.synth->resumeAudio();

    plugin.synth->process(nullptr, outputs, 512);
    EXPECT_NE(left, std::vector<float>(512, 0.5f));
    EXPECT_GT(test::peak(left), 0.01f) << "the note has waited";
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
    const struct {
        const char* what;
        MidiEvent event;
    } kCases[] = {{"note off", {300, 0x80, 60, 0}}, {"all notes off", {300, 0xb0, 123, 0}}};
    for (const auto& test : kCases) {
        Plugin plugin;
        plugin.synth->pauseAudio();
        plugin.send({{7, 0x90, 60, 127}});
        plugin.run(512);
        plugin.synth->resumeAudio();
        EXPECT_GT(test::peak(Plugin::render(*plugin.synth, 512).left), 0.001f) << "note on";
        EXPECT_FALSE(fallsAsleep(plugin));

        plugin.synth->pauseAudio();
        plugin.send({test.event});
        plugin.run(512);
        plugin.run(512);
        plugin.synth->resumeAudio();
        plugin.run(100); // shorter than the offset that the event came with
        EXPECT_TRUE(fallsAsleep(plugin)) << test.what;
    }
}

TEST(Pause, AController123ActsInItsOwnBlock)
{
    Plugin plugin;
    plugin.send({{0, 0x90, 60, 127}});
    plugin.run(512);
    plugin.send({{0, 0xb0, 123, 0}});
    EXPECT_TRUE(fallsAsleep(plugin));
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
        synth.setSampleRate(96000);
        synth.setBlockSize(256);
        EXPECT_EQ(Plugin::render(synth, 64).left, std::vector<float>(64, 0.0f));
    })
        .join();
    EXPECT_EQ(synth.sampleRate(), 96000.0);
    EXPECT_EQ(synth.engine().sampleRate(), 44100.0) << "still to come";
    EXPECT_EQ(synth.engine().rows.blockSize(), 1024);
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
            VstXSynth& synth = *plugin.synth;
            synth.startMidiLearn(polyphony);
            plugin.send({{0, 0xb0, 20, 127}});
            plugin.run(512);
            if (!learned)
                synth.setControlValue(polyphony, 2.0f, false);
            test::EventList list{{0, 0xb0, learned ? 20 : 3, 85},
                                 {0, 0x90, 48, 100},
                                 {0, 0x90, 55, 100},
                                 {0, 0x90, 64, 100}};
            synth.processEvents(list);
            std::vector<float> sound;
            append(sound, Plugin::render(synth, 1024));
            return sound;
        });
    };
    EXPECT_TRUE(chord(true) == chord(false));
}

TEST(Pause, PolyphonyRebuildsVoicesOnlyWhenItsStepChanges)
{
    Plugin plugin;
    const auto level = [&plugin] {
        plugin.run(4096);
        return test::peak(Plugin::render(*plugin.synth, 4096).left);
    };
    plugin.send({{0, 0x90, 60, 127}});
    ASSERT_GT(level(), 0.01f);
    plugin.synth->setControlValue(polyphony, 3.0f, false);
    plugin.synth->setControlSilently(polyphony, 3.4f);
    EXPECT_GT(level(), 0.01f);
    plugin.synth->applyAllControls();
    EXPECT_GT(level(), 0.01f) << "sent again, but the mode is the same";
    plugin.synth->pauseAudio();
    std::thread([&] { // would never end if a repeated step had to wait
        plugin.synth->setControlValue(polyphony, 3.0f, false);
    })
        .join();
    plugin.synth->resumeAudio();
    plugin.synth->setControlValue(polyphony, 2.0f, false);
    EXPECT_LT(level(), 1e-3f);
}

TEST(WildValues, NeverReachTheSound)
{
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    for (const float wild :
         {std::numeric_limits<float>::quiet_NaN(), kInfinity, -kInfinity, 1e30f, -1e30f}) {
        Plugin plugin;
        VstXSynth& synth = *plugin.synth;
        plugin.send({{0, 0x90, 60, 127}, {0, 0x90, 67, 127}});
        plugin.run(512);
        for (int index = 0; index < kNumHostParameters; ++index)
            synth.setParameter(index, wild);
        for (int id = 0; id < 210; ++id) {
            synth.setControlValue(id, wild, true);
            synth.setControlInternal(id, wild);
            EXPECT_LT(synth.formatControl(id).size(), 512u);
        }
        plugin.send({{0, 0x90, 48, 127}, {0, 0xe0, 127, 127}});
        for (int i = 0; i < 20; ++i) {
            const auto sound = Plugin::render(synth, 512);
            for (std::size_t n = 0; n < sound.left.size(); ++n) {
                ASSERT_LT(std::abs(sound.left[n]), 100.0f) << wild << ", block " << i;
                ASSERT_LT(std::abs(sound.right[n]), 100.0f) << wild << ", block " << i;
            }
        }
        synth.parameters().loadDefaults();
        synth.applyCurrentPatch();
        plugin.send({{0, 0x90, 48, 127}});
        plugin.run(2048);
        const float after = test::peak(Plugin::render(synth, 2048).left);
        EXPECT_GT(after, 0.01f) << "and leave nothing behind after " << wild;
        EXPECT_LT(after, 10.0f);
    }
}

// Everything a user interface does while the audio runs. The thread sanitizer finds what this
// test cannot see.
TEST(Threads, TheUserInterfaceWorksWhileTheAudioRuns)
{
    Plugin plugin;
    plugin.editor->open = false; // it keeps its list without a guard
    VstXSynth& synth = *plugin.synth;
    std::atomic<bool> stop{false};
    std::thread audio([&] {
        for (int i = 0; !stop; ++i) {
            plugin.send({{i % 64, 0x90, 36 + i % 48, 100},
                         {10, 0x80, 36 + (i + 40) % 48, 0},
                         {20, 0xe0 + i % 16, 0, i % 128},
                         {30, 0xb0, 1 + i % 123, i % 128},
                         {40, 0xd0, i % 128, 0}});
            const auto sound = Plugin::render(synth, 200);
            for (const float x : sound.left)
                ASSERT_TRUE(std::isfinite(x));
        }
    });
    std::thread second([&] {
        for (int i = 0; !stop; ++i) {
            synth.setParameter(i % kNumHostParameters, static_cast<float>(i % 11) / 10.0f);
            synth.formatParameter(i % kNumHostParameters, 0.5f);
            std::this_thread::yield();
        }
    });
    for (int i = 0; i < 30; ++i) {
        synth.startMidiLearn(i % 4 == 0 ? polyphony : filter_cutoff);
        synth.setControlValue(polyphony, static_cast<float>(i % 4), true);
        synth.setControlValue(modulation_source_1, static_cast<float>(i % 7), true);
        synth.setControlInternal(pitch_wheel, 0.25f);
        synth.applyCurrentPatch();
        synth.forgetMidi(polyphony);
        if (i % 10 == 0)
            synth.setSampleRate(i % 20 == 0 ? 48000 : 44100);
    }
    stop = true;
    audio.join();
    second.join();
}

} // namespace
} // namespace zephra
