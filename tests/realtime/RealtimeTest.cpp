// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchChunk.h"
#include "realtime/BusyHost.h"
#include "realtime/RealtimeWatch.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <mutex>
#include <thread>
#include <vector>

namespace zephra {
namespace {

constexpr std::array kModes = {0, 1, 2, 3}; // Unison, Poly-4, Mono, Poly-8

/// Every control in turn, from one end to the other, while notes sound: by id or as host parameter,
/// then by a controller that it has just learnt.
void moveEveryControl(BusyHost& host, Offences& seen)
{
    VstXSynth& plugin = host.plugin;
    for (const ControlInfo& control : kControls) {
        if (control.id >= kNumControls)
            continue; // the pitch wheel, which is moved by bends alone
        const float before = plugin.getControlValue(control.id);
        plugin.startMidiLearn(control.id);
        for (int step = 0; step <= 5; ++step) {
            const float normalised = static_cast<float>(step % 3) / 2.0f;
            const RealtimeWatch watch(seen);
            if (step >= 3) {
                host.add(17, 0xb0, BusyHost::kLearntCc, std::min(64 * (step - 3), 127));
            } else if (control.isAutomatable()) {
                plugin.setParameter(control.hostIndex, normalised);
                plugin.setParameterAutomated(control.hostIndex, 1.0f - normalised);
            } else {
                plugin.setControlValue(control.id, normalised * control.scale, true);
                plugin.setControlSilently(control.id, (1.0f - normalised) * control.scale);
            }
            host.add(0, 0x90, 36 + 7 * step, 100);
            host.play(64);
            ASSERT_TRUE(host.soundIsSane(64)) << control.name;
        }
        if (control.isStored()) {
            EXPECT_EQ(plugin.getControlValue(control.id), control.scale) << control.name;
        }
        plugin.setControlSilently(control.id, before);
    }
}

class RealtimeTest : public testing::Test {
protected:
    /// Sanitizers take what they need: the scripts run for them, but prove nothing here.
    void TearDown() override
    {
        EXPECT_EQ(seen.count(), 0) << seen;
        if (const char* reason = RealtimeWatch::blindness())
            GTEST_SKIP() << reason;
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

TEST_F(RealtimeTest, EveryControlIsMovedInEveryModeAndRevision)
{
    BusyHost host(1);
    host.plugin.setBlockSize(64);
    for (const int mode : kModes) {
        for (const float revision : {0.0f, 1.0f}) {
            host.plugin.setControlValue(polyphony, static_cast<float>(mode), false);
            host.plugin.setControlValue(opts_revision, revision, false);
            host.plugin.setControlValue(fx_active, 1.0f - revision, false);
            moveEveryControl(host, seen);
        }
    }
}

TEST_F(RealtimeTest, BlocksFullOfEventsAtEveryRateAndBlockSize)
{
    BusyHost host(2);
    VstXSynth& plugin = host.plugin;
    for (const double rate : {44100.0, 48000.0, 96000.0, 192000.0}) {
        plugin.setSampleRate(rate);
        for (const int frames : {1, 63, 64, 65, 511, 4096}) {
            plugin.setBlockSize(frames);
            for (int round = 0; round < 8; ++round) {
                // The controller moves the mode in every other round, any control in the rest.
                const std::size_t any = static_cast<std::size_t>(host.below(kControls.size()));
                plugin.startMidiLearn(round % 2 ? kControls[any].id : polyphony);
                plugin.setControlSilently(opts_revision, static_cast<float>(round / 2 % 2));
                plugin.setControlSilently(fx_active, static_cast<float>(round / 4 % 2));
                host.add(0, 0xb0, BusyHost::kLearntCc, host.below(128));
                for (int block = 0; block < (frames > 1000 ? 1 : 8); ++block) {
                    host.addAnyEvents(frames);
                    const RealtimeWatch watch(seen);
                    host.moveAnyParameter(); // as hosts do on the audio thread
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
    const auto play = [&](int event, int blocks) {
        for (int block = 0; block < blocks; ++block) {
            const RealtimeWatch watch(seen);
            if (event && block == 0)
                host.add(5, event, 60, 100);
            host.play(511);
        }
    };
    for (const int mode : kModes) {
        plugin.setControlSilently(polyphony, static_cast<float>(mode));
        plugin.setControlSilently(fx_active, 1.0f);
        play(0x90, 50);
        play(0x80, 100);
        plugin.setControlSilently(fx_active, 0.0f);
        play(0, 250);
        EXPECT_TRUE(plugin.engine().asleep());
        EXPECT_FALSE(plugin.engine().effectsRunning());
        play(0x90, 50);
        EXPECT_FALSE(plugin.engine().asleep());
    }
}

TEST_F(RealtimeTest, PatchesOfAllModesAreLoadedOverSoundingNotes)
{
    BusyHost host(4);
    VstXSynth& plugin = host.plugin;
    plugin.setBlockSize(256);
    std::vector<std::vector<std::uint8_t>> chunks;
    for (const int mode : kModes) {
        plugin.setControlSilently(polyphony, static_cast<float>(mode));
        plugin.setControlSilently(fx_active, static_cast<float>(mode % 2));
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
    for (int block = 0; block < 500 || loaded < 20; ++block) {
        host.add(3, 0x90, 36 + block % 48, 100);
        const RealtimeWatch watch(seen);
        host.play(256);
    }
    playing = false;
    loader.join();
    EXPECT_TRUE(host.soundIsSane(256));
}

} // namespace
} // namespace zephra
