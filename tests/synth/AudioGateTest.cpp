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

/// Stays where it is for some nanoseconds a turn, counting what it sees.
int look(const std::atomic<int>& others, int turns)
{
    int seen = 0;
    for (int i = 0; i < turns; ++i)
        seen += others.load(std::memory_order_relaxed);
    return seen;
}

// The moment at which both sides raise their flags is short: many tries, each side staying inside
// for a while and looking out for the other.
TEST(AudioGate, RenderingAndWritingNeverOverlap)
{
    AudioGate gate;
    long touched = 0; // plain on purpose, for the thread sanitizer
    std::atomic<int> audioInside{0}, writerInside{0};
    std::atomic<bool> stop{false};
    std::atomic<long> rendered{0};
    long met = 0;
    std::thread audio([&] {
        while (!stop) {
            if (!gate.enterProcessing())
                continue;
            audioInside.store(1, std::memory_order_relaxed);
            ++touched;
            ++rendered;
            met += look(writerInside, 30);
            audioInside.store(0, std::memory_order_relaxed);
            gate.leaveProcessing();
        }
    });

    constexpr int kRounds = 200;
    long writerMet = 0;
    for (int i = 0; i < kRounds; ++i) {
        for (const long before = rendered; rendered == before;)
            std::this_thread::yield();
        look(audioInside, i % 64); // comes at another moment each time
        const AudioGate::Pause pause(gate);
        writerInside.store(1, std::memory_order_relaxed);
        ++touched;
        writerMet += look(audioInside, 300);
        writerInside.store(0, std::memory_order_relaxed);
    }
    stop = true;
    audio.join();
    EXPECT_EQ(met + writerMet, 0);
    EXPECT_EQ(touched, rendered + kRounds);
}

TEST(AudioGate, WritersExcludeEachOther)
{
    AudioGate gate;
    constexpr int kWriters = 3, kRounds = 30;
    int touched = 0; // plain on purpose
    std::atomic<int> inside{0};
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w) {
        writers.emplace_back([&] {
            for (int i = 0; i < kRounds; ++i) {
                const AudioGate::Pause outer(gate);
                const AudioGate::Pause inner(gate);
                EXPECT_EQ(inside.fetch_add(1), 0);
                ++touched;
                std::this_thread::yield();
                inside.fetch_sub(1);
            }
        });
    }
    for (std::thread& writer : writers)
        writer.join();
    EXPECT_EQ(touched, kWriters * kRounds);
}

} // namespace
} // namespace zephra
