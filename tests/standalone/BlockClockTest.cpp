// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/BlockClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace zephra::standalone::test {
namespace {

constexpr double kRate = 48000.0;

Clock::time_point at(double seconds)
{
    return Clock::time_point(
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds)));
}

/// When blocks of a stream are asked for, and messages every 7.3 ms; the sample of the stream on
/// which each message lands.
std::vector<double> landings(int frames, const std::vector<double>& askedAt)
{
    constexpr double kEvery = 0.0073;
    BlockClock clock;
    clock.setRate(kRate);
    std::vector<double> samples;
    double next = askedAt.front() + 0.5;
    for (std::size_t block = 0; block < askedAt.size(); ++block) {
        clock.startBlock(at(askedAt[block]), frames);
        for (; next <= askedAt[block]; next += kEvery) { // only what has come in by now
            const int sample = clock.sampleOf(at(next));
            if (sample >= frames)
                break;
            samples.push_back(static_cast<double>(block) * frames + sample - next * kRate);
        }
    }
    return samples; // less the time of the message: the latency, in samples
}

double spread(const std::vector<double>& latencies)
{
    const auto [least, most] = std::ranges::minmax(latencies);
    return most - least;
}

TEST(BlockClock, MessagesKeepTheirTimingToTheSample)
{
    std::vector<double> steady;
    for (int i = 0; i < 2000; ++i)
        steady.push_back(1.0 + i * 256 / kRate);
    const auto latencies = landings(256, steady);
    EXPECT_GT(latencies.size(), 1000u);
    EXPECT_LE(spread(latencies), 1.01);
}

TEST(BlockClock, LateBlocksDoNotMoveMessages)
{
    constexpr double kBlock = 512 / kRate; // 10.7 ms
    std::mt19937 random(1);
    std::uniform_real_distribution<double> lateness(0.0, 0.4 * kBlock);
    std::vector<double> late;
    for (int i = 0; i < 2000; ++i)
        late.push_back(1.0 + i * kBlock + lateness(random));
    // Taken as they come, messages would be off by up to the lateness: 205 samples.
    EXPECT_LE(spread(landings(512, late)), 20.0);
}

TEST(BlockClock, FollowsASoundCardThatRunsFast)
{
    std::vector<double> fast;
    for (int i = 0; i < 20000; ++i)
        fast.push_back(1.0 + i * 256 / (kRate * 1.0002));
    const auto latencies = landings(256, fast);
    // The stream gains 1000 samples on the clock of the wall, but message and sound stay together.
    EXPECT_GT(latencies.size(), 10000u);
    double worst = 0.0;
    for (std::size_t i = 1; i < latencies.size(); ++i)
        worst = std::max(worst, std::abs(latencies[i] - latencies[i - 1]));
    EXPECT_LE(worst, 2.5);
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

} // namespace
} // namespace zephra::standalone::test
