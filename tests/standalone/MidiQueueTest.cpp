// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/MidiQueue.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace zephra::standalone {
namespace {

TEST(MidiQueue, AFullQueueTellsOfItsLossOnce)
{
    MidiQueue queue;
    for (std::size_t i = 0; i < MidiQueue::kLength; ++i)
        ASSERT_TRUE(queue.push({}));
    EXPECT_FALSE(queue.push({}));
    EXPECT_TRUE(queue.takeLoss());
    EXPECT_FALSE(queue.takeLoss());
    queue.pop();
    EXPECT_TRUE(queue.push({}));
}

TEST(MidiQueue, ManyThreadsLoseNothingAndKeepEachOnesOrder)
{
    constexpr int kThreads = 4, kEach = 20000;
    MidiQueue queue;
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t)
        threads.emplace_back([&queue, t] {
            for (int i = 0; i < kEach; ++i) {
                const auto byte = [](int x) { return static_cast<std::uint8_t>(x); };
                while (!queue.push({{}, {byte(t), byte(i >> 8), byte(i)}}))
                    std::this_thread::yield();
            }
        });
    int next[kThreads] = {};
    for (int taken = 0; taken < kThreads * kEach;) {
        if (const ArrivedMessage* front = queue.front()) {
            const MidiMessage& message = front->message;
            EXPECT_EQ(message.data1 << 8 | message.data2, next[message.status]++);
            queue.pop();
            ++taken;
        } else {
            std::this_thread::yield();
        }
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(queue.front(), nullptr);
}

} // namespace
} // namespace zephra::standalone
