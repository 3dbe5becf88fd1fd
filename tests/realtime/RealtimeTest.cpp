// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"
#include "realtime/BusyHost.h"
#include "realtime/RealtimeWatch.h"
#include "standalone/LiveInstrument.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>

namespace zephra {
namespace {

class RealtimeTest : public testing::Test {
protected:
    /// Sanitizers take what they need: the scripts run for them, but prove nothing here.
    void TearDown() override
    {
        EXPECT_EQ(seen.count(), 0) << seen;
        if (const char* reason = RealtimeWatch::blindness())
            GTEST_SKIP() << reason;
    }
    /// Blocks of 511 samples, the first with the event.
    void play(BusyHost& host, int event, int blocks)
    {
        host.add(5, event, 60, 100);
        for (int block = 0; block < blocks; ++block) {
            const RealtimeWatch watch(seen);
            host.play(511);
        }
    }

    Offences seen;
};

TEST_F(RealtimeTest, TheWatchSeesWhatItShallAndOnlyInItsScope)
{
    if (RealtimeWatch::blindness())
        return;
    Offences some;
    std::mutex mutex;
    char* volatile memory = nullptr; // volatile: no compiler leaves the allocation away
    const auto offend = [&] {
        memory = new char[64];
        delete[] memory;
        const std::lock_guard lock(mutex);
        return ::write(-1, "x", 1);
    };
    {
        const RealtimeWatch watch(some);
        offend();
    }
    offend();
    EXPECT_EQ(some.allocations, 2);
    EXPECT_EQ(some.locks, 1);
    EXPECT_EQ(some.systemCalls, 1);
}

TEST_F(RealtimeTest, EveryControlMovesFromEndToEndInEveryModeWhileNotesSound)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    BusyHost host(1);
    VstXSynth& plugin = host.plugin;
    plugin.setBlockSize(64);
    for (const float mode : {0.0f, 1.0f, 2.0f, 3.0f, 3.0f}) {
        plugin.setControlValue(polyphony, mode, false);
        plugin.setControlValue(opts_revision, mode < 2.0f, false);
        plugin.setControlValue(fx_active, mode > 0.0f, false);
        for (const ControlInfo& control : kControls) {
            const float before = plugin.getControlValue(control.id);
            plugin.startMidiLearn(control.id);
            for (const float value : {kNan, 0.0f, 0.5f, 1.0f}) {
                const RealtimeWatch watch(seen);
                host.add(0, 0xb0, BusyHost::kLearntCc, value > 0.0f ? 127 : 0);
                host.add(17, 0x90, 36 + host.below(60), 100);
                host.play(64);
                ASSERT_TRUE(host.soundIsSane(64)) << control.name;
                plugin.setParameterAutomated(control.hostIndex, 1.0f - value);
                plugin.setParameter(control.hostIndex, value);
                plugin.setControlSilently(control.id, (1.0f - value) * control.scale);
                plugin.setControlInternal(control.id, value);
                plugin.setControlValue(control.id, value * control.scale, true);
            }
            if (control.isStored()) {
                EXPECT_EQ(plugin.getControlValue(control.id), control.scale) << control.name;
            }
            plugin.setControlSilently(control.id, before);
            plugin.setControlInternal(pitch_wheel, 0.5f);
        }
    }
}

TEST_F(RealtimeTest, BlocksFullOfEventsAtEveryRateAndBlockSize)
{
    BusyHost host(2);
    VstXSynth& plugin = host.plugin;
    for (const double rate : {44100.0, 96000.0, 192000.0}) {
        plugin.setSampleRate(rate);
        for (const int frames : {1, 63, 64, 65, 511, 4096}) {
            plugin.setBlockSize(frames);
            for (int round = 0; round < 8; ++round) {
                // The controller moves the mode in every other round, any control in the rest.
                plugin.startMidiLearn(round % 2 ? host.any(kControls).id : polyphony);
                plugin.setControlSilently(opts_revision, static_cast<float>(round / 2 % 2));
                plugin.setControlSilently(fx_active, static_cast<float>(round / 4 % 2));
                for (int block = 0; block < (frames > 1000 ? 1 : 8); ++block) {
                    host.addAnyEvents(frames);
                    const RealtimeWatch watch(seen); // parameters too, as hosts do
                    plugin.setParameter(host.below(kNumHostParameters), host.normalised());
                    host.play(frames);
                    ASSERT_TRUE(host.soundIsSane(frames));
                }
            }
        }
    }
}

TEST_F(RealtimeTest, FallingAsleepStoppingTheEffectsAndWakingUp)
{
    BusyHost host(3);
    VstXSynth& plugin = host.plugin;
    plugin.setControlSilently(fx_rev_dry_wet, 0.5f);
    for (const float mode : {0.0f, 1.0f, 2.0f, 3.0f}) {
        plugin.setControlSilently(polyphony, mode);
        plugin.setControlSilently(fx_active, 1.0f);
        play(host, 0x90, 50);
        play(host, 0x80, 100);
        plugin.setControlSilently(fx_active, 0.0f);
        play(host, 0xa0, 250);
        EXPECT_TRUE(plugin.engine().asleep());
        EXPECT_FALSE(plugin.engine().effectsRunning());
        play(host, 0x90, 50);
        EXPECT_FALSE(plugin.engine().asleep());
    }
}

TEST_F(RealtimeTest, PatchesOfAllModesAreLoadedOverSoundingNotes)
{
    BusyHost host(4);
    VstXSynth& plugin = host.plugin;
    std::vector<std::vector<std::uint8_t>> chunks;
    for (const float mode : {0.0f, 1.0f, 2.0f, 3.0f}) {
        plugin.setControlSilently(polyphony, mode);
        plugin.setControlSilently(fx_active, mode > 1.0f);
        chunks.push_back(writeChunk(*plugin.parameters().getPreset(0), 0));
    }
    std::atomic<int> loaded{0};
    std::atomic<bool> playing{true};
    std::thread loader([&] {
        while (playing) {
            const auto& chunk = chunks[static_cast<std::size_t>(loaded++) % chunks.size()];
            plugin.setChunk(chunk.data(), static_cast<int>(chunk.size()), true);
            std::this_thread::yield();
        }
    });
    for (int block = 0; block < 250 || loaded < 20; ++block)
        play(host, 0x90, 1);
    playing = false;
    loader.join();
    EXPECT_TRUE(host.soundIsSane(511));
}

TEST_F(RealtimeTest, TheStandaloneProgramPlaysASongAndAKeyboard)
{
    constexpr int kBlock = 256;
    standalone::LiveInstrument instrument{VstXSynthOptions{}};
    instrument.prepare(48000.0, kBlock);
    Song song;
    song.tempos = {{0.01, 90.0}};
    song.messages.assign(2000, {0.02, {0xb0, 1, 64}}); // more at once than one call takes
    song.messages.push_back({0.05, {0x90, 60, 100}});
    song.messages.push_back({0.1, {0x80, 60, 0}});
    instrument.play(song);

    std::array<float, kBlock> left{}, right{};
    for (int block = 0; block < 400; ++block) {
        const auto now = standalone::Clock::now();
        for (int i = 0; i < (block == 100 ? 5000 : 3); ++i) // too many once
            instrument.midi().push({now, {0x90, static_cast<std::uint8_t>(i + 40), 100}});
        const RealtimeWatch watch(seen);
        instrument.render(left.data(), right.data(), kBlock, now);
    }
    EXPECT_GT(instrument.takePeak(), 0.01f);
}

} // namespace
} // namespace zephra
