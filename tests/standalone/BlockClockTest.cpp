// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/BlockClock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace zephra::standalone {
namespace {

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

} // namespace
} // namespace zephra::standalone
