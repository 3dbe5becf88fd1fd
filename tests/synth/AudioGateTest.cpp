// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/AudioGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace zephra {
namespace {

TEST(AudioGate, ABlockRunsUnlessSomebodyHoldsThePause)
{
    AudioGate gate;
    ASSERT_TRUE(gate.enterProcessing());
    gate.leaveProcessing();

    gate.pauseAudio();
    EXPECT_FALSE(gate.enterProcessing());
    gate.pauseAudio();
    EXPECT_TRUE(gate.tryPauseAudio());
    gate.resumeAudio();
    gate.resumeAudio();
    EXPECT_FALSE(gate.enterProcessing()) << "one of three pauses is left";
    gate.resumeAudio();
    EXPECT_TRUE(gate.enterProcessing());
    gate.leaveProcessing();
}

TEST(AudioGate, TryingNeverWaitsForAnotherWriter)
{
    AudioGate gate;
    gate.pauseAudio();
    std::thread([&gate] { EXPECT_FALSE(gate.tryPauseAudio()); }).join();
    gate.resumeAudio();
    std::thread([&gate] {
        EXPECT_TRUE(gate.tryPauseAudio());
        gate.resumeAudio();
    }).join();
}

TEST(AudioGate, WaitingForIdleOutlastsTheRunningBlock)
{
    AudioGate gate;
    ASSERT_TRUE(gate.enterProcessing());
    std::atomic<bool> blockDone{false};
    std::thread waiter([&] {
        gate.waitForAudioIdle();
        EXPECT_TRUE(blockDone);
    });
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield();
    blockDone = true;
    gate.leaveProcessing();
    waiter.join();
    EXPECT_TRUE(gate.enterProcessing());
}

// One audio thread that never rests and three writers share a plain counter: a lost increment, or
// a data race under the thread sanitizer, shows that two were in at once.
TEST(AudioGate, RenderingAndWritingNeverOverlap)
{
    AudioGate gate;
    long touched = 0; // plain on purpose
    std::atomic<bool> stop{false};
    long rendered = 0;
    std::thread audio([&] {
        while (!stop) {
            if (!gate.enterProcessing())
                continue;
            ++touched;
            ++rendered;
            gate.leaveProcessing();
        }
    });

    constexpr int kWriters = 3, kRounds = 40;
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w) {
        writers.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                const AudioGate::Pause outer(gate);
                const AudioGate::Pause inner(gate);
                ++touched;
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    stop = true;
    audio.join();
    EXPECT_EQ(touched, rendered + kWriters * kRounds);
}

} // namespace
} // namespace zephra
