// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/AudioGate.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace zephra {
namespace {

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

} // namespace
} // namespace zephra
