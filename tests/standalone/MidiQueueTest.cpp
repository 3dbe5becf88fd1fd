// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/MidiQueue.h"

#include <gtest/gtest.h>

#include <array>
#include <thread>
#include <vector>

namespace zephra::standalone::test {
namespace {

TEST(MidiQueue, KeepsTheOrderAcrossManyRounds)
{
    MidiQueue queue;
    std::size_t sent = 0, taken = 0;
    for (std::size_t round = 0; round < 10; ++round) {
        for (int i = 0; i < 700; ++i, ++sent)
            ASSERT_TRUE(queue.push({{}, {0x90, static_cast<std::uint8_t>(sent % 128), 1}}));
        for (; queue.front(); queue.pop(), ++taken)
            ASSERT_EQ(queue.front()->message.data1, taken % 128);
        ASSERT_EQ(taken, sent);
    }
    EXPECT_FALSE(queue.takeLoss());
}

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
                const MidiMessage message{static_cast<std::uint8_t>(t),
                                          static_cast<std::uint8_t>(i >> 8),
                                          static_cast<std::uint8_t>(i)};
                while (!queue.push({{}, message}))
                    std::this_thread::yield();
            }
        });
    std::array<int, kThreads> next{};
    for (int taken = 0; taken < kThreads * kEach;) {
        const ArrivedMessage* front = queue.front();
        if (!front) {
            std::this_thread::yield();
            continue;
        }
        const MidiMessage message = front->message;
        queue.pop();
        ++taken;
        EXPECT_EQ(message.data1 << 8 | message.data2, next[message.status]++);
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(queue.front(), nullptr);
}

} // namespace
} // namespace zephra::standalone::test
