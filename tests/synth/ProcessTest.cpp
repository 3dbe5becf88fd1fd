// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "support/PluginPeers.h"
#include "synth/AudioGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <thread>
#include <vector>

namespace zephra {
namespace {

using test::Plugin;

// The moment at which both sides raise their flags is short: many tries, each side staying inside
// for a while. What they touch is plain on purpose: the thread sanitizer looks for the rest.
TEST(AudioGate, RenderingAndWritingNeverOverlap)
{
    AudioGate gate;
    constexpr int kWriters = 3, kRounds = 60;
    long touched = 0;
    std::atomic<int> working{kWriters};
    std::atomic<long> rendered{0};
    const auto stay = [&touched](int turns) {
        const long own = ++touched;
        for (int i = 0; i < turns; ++i)
            EXPECT_EQ(*static_cast<volatile long*>(&touched), own);
    };
    std::thread audio([&] {
        while (working > 0) {
            if (!gate.enterProcessing())
                continue;
            stay(30);
            ++rendered;
            gate.leaveProcessing();
        }
    });
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w) {
        writers.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                for (const long before = rendered; rendered == before;)
                    std::this_thread::yield();
                const AudioGate::Pause outer(gate);
                {
                    const AudioGate::Pause inner(gate);
                }
                EXPECT_FALSE(gate.enterProcessing()) << "one of two pauses is left";
                stay(300);
            }
            --working;
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    audio.join();
    EXPECT_EQ(touched, rendered + kWriters * kRounds);
}

TEST(Tempo, NonsenseCountsAs120)
{
    Plugin plugin;
    for (const double told : {95.5, 0.0, -60.0, HUGE_VAL, double(NAN)}) {
        for (const bool valid : {true, false}) {
            plugin.host.now = {told, valid ? 1u << 10 : ~(1u << 10)};
            plugin.run(64);
            const double used = plugin.synth->engine().performance.tempo;
            EXPECT_EQ(used, told == 95.5 && valid ? 95.5 : 120.0) << told;
        }
    }
    EXPECT_EQ(plugin.host.asked, 1u << 10);
}

TEST(Pause, ReplacesBySilenceOrLeavesTheOutputs)
{
    Plugin plugin;
    plugin.send({{0, 0x90, 60, 127}});
    plugin.run(2048);
    float left = 0.0f, right = 0.0f;
    float* outputs[2] = {&left, &right};
    for (const bool paused : {true, false}) {
        if (paused)
            plugin.synth->pauseAudio();
        left = right = 0.5f;
        plugin.synth->process(nullptr, outputs, 1);
        EXPECT_EQ(left == 0.5f && right == 0.5f, paused);
        const Plugin::Stereo replaced = Plugin::render(*plugin.synth, 512);
        EXPECT_EQ(replaced.left == std::vector<float>(512), paused);
        EXPECT_EQ(replaced.right == std::vector<float>(512), paused);
        plugin.synth->processReplacing(nullptr, nullptr, 512);
        plugin.synth->processReplacing(nullptr, outputs, -1);
        plugin.synth->resumeAudio();
    }
}

TEST(Pause, NoNoteAndNoRequestOfARefusedBlockIsLost)
{
    for (const MidiEvent& off : {MidiEvent(300, 0x80, 60, 0), MidiEvent(300, 0xb0, 123, 0)}) {
        Plugin plugin;
        plugin.synth->pauseAudio();
        plugin.send({{7, 0x90, 60, 127}});
        plugin.run(512);
        plugin.synth->resumeAudio();
        EXPECT_FALSE(plugin.fallsAsleep()) << "note on";

        plugin.synth->pauseAudio();
        plugin.send({off});
        plugin.run(512);
        plugin.run(512);
        plugin.synth->resumeAudio();
        plugin.run(100); // shorter than the offset that the event came with
        EXPECT_TRUE(plugin.fallsAsleep());
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

} // namespace
} // namespace zephra
