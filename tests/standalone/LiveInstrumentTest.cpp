// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/LiveInstrument.h"
#include "standalone/BlockClock.h"
#include "standalone/MidiQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
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

constexpr double kRate = 48000.0;

Clock::time_point at(double seconds)
{
    return Clock::time_point(
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds)));
}

TEST(BlockClock, MessagesKeepTheirTimingHoweverBlocksAreAskedFor)
{
    const struct {
        const char* what;
        int frames;
        double cardRate, lateness; ///< Hz; of a block
        double spread;             ///< of the latencies of all messages, in samples
    } rows[] = {
        {"a steady stream", 256, kRate, 0.0, 1.01},
        {"late blocks: taken as they come, messages would be off by 205", 512, kRate, 0.4, 30.0},
        {"a sound card that runs fast", 256, kRate * 1.0002, 0.0, 2.5},
        {"and one that runs slow", 256, kRate / 1.0002, 0.0, 40.0},
    };
    for (const auto& row : rows) {
        BlockClock clock;
        clock.setRate(kRate);
        std::mt19937 random(1);
        std::uniform_real_distribution<double> lateness(0.0, row.lateness + 1e-9);
        double next = 1.5, least = 1e9, most = -1e9;
        for (int block = 0; block < 20000; ++block) {
            const double asked = 1.0 + (block + lateness(random)) * row.frames / row.cardRate;
            clock.startBlock(at(asked), row.frames);
            for (; next <= asked; next += 0.0073) { // only what has come in by now
                const int sample = clock.sampleOf(at(next));
                if (sample >= row.frames)
                    break;
                const double latency = block * row.frames + sample - (next - 1.0) * row.cardRate;
                least = std::min(least, latency);
                most = std::max(most, latency);
            }
        }
        EXPECT_GT(next, 50.0) << row.what;
        EXPECT_LE(most - least, row.spread) << row.what;
    }
}

TEST(BlockClock, StartsAnewAfterAPause)
{
    BlockClock clock;
    clock.setRate(kRate);
    clock.startBlock(at(1.0), 256);
    clock.startBlock(at(1.0 + 256 / kRate), 256);
    clock.startBlock(at(9.0), 256); // the stream stood still
    EXPECT_EQ(clock.sampleOf(at(8.0)), 0) << "too late already: at once";
    EXPECT_NEAR(clock.sampleOf(at(9.0 - 100 / kRate)), 156, 1);
    EXPECT_EQ(clock.sampleOf(at(9.001)), 256) << "for a later block";
}

constexpr int kBlock = 256;

/// The program without a sound card: blocks are asked for exactly when they are due.
class Live : public testing::Test {
protected:
    Live() { instrument.prepare(kRate, kBlock); }

    /// When the sample was due that lies so far before the next block.
    Clock::time_point ago(int samples) const
    {
        return at(100.0 + (static_cast<double>(left.size()) - samples) / kRate);
    }
    bool press(int samplesAgo = 0)
    {
        return instrument.midi().push({ago(samplesAgo), {0x90, 60, 127}});
    }
    void render(int blocks)
    {
        std::vector<float> l(kBlock), r(kBlock);
        for (int i = 0; i < blocks; ++i) {
            instrument.render(l.data(), r.data(), kBlock, ago(0));
            left.insert(left.end(), l.begin(), l.end());
        }
    }
    std::size_t firstSound(std::size_t from = 0) const
    {
        while (from < left.size() && std::abs(left[from]) < 1e-4f)
            ++from;
        return from;
    }

    LiveInstrument instrument{VstXSynthOptions{}};
    std::vector<float> left;
};

TEST_F(Live, ANoteSoundsOneBlockAfterItsKeyWhereverInTheBlockThatWas)
{
    std::vector<double> delays;
    for (const int samplesBefore : {1, 77, 200, 255}) {
        render(40);
        const std::size_t pressed = left.size() - static_cast<std::size_t>(samplesBefore);
        press(samplesBefore);
        render(20);
        delays.push_back(static_cast<double>(firstSound(pressed) - pressed));
        EXPECT_NEAR(delays.back(), delays.front(), 40.0) << "but for the phase of the wave";
        EXPECT_GE(delays.back(), kBlock);
        instrument.synth().applyCurrentPatch();
        render(200);
    }
}

TEST_F(Live, ALossOfMessagesEndsTheNotes)
{
    press();
    render(100);
    ASSERT_GT(instrument.takePeak(), 0.01f);
    while (instrument.midi().push({ago(0), {0xb0, 20, 0}})) {
    }
    render(600);
    EXPECT_EQ(firstSound(left.size() - 10 * kBlock), left.size());
}

TEST_F(Live, ASongEndsWhenItHasDiedAwayAndOneCanPlayOn)
{
    Song song;
    song.messages = {{0.1, {0x90, 60, 127}}, {0.3, {0x80, 60, 0}}};
    instrument.play(song);
    render(static_cast<int>(0.3 * kRate / kBlock));
    EXPECT_FALSE(instrument.songIsOver());
    EXPECT_GE(firstSound(), static_cast<std::size_t>(0.1 * kRate));
    for (int i = 0; i < 4000 && !instrument.songIsOver(); ++i)
        render(1);
    EXPECT_TRUE(instrument.songIsOver());
    EXPECT_EQ(firstSound(left.size() - 4800), left.size());

    const std::size_t before = left.size();
    press();
    render(20);
    EXPECT_LT(firstSound(before), left.size());
}

} // namespace
} // namespace zephra::standalone
