// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/TailRule.h"

#include <gtest/gtest.h>
#include <vector>

namespace zephra::test {
namespace {

constexpr double kRate = 1000.0; // samples are milliseconds

/// Length of a file when both channels are silent but for the samples before `soundEnd` and the
/// one at `click`, given in blocks of `block`.
std::int64_t lengthOf(TailRule rule, int soundEnd, int click, int block, float level = 0.1f)
{
    std::int64_t position = 0, length = 0;
    while (!rule.finished()) {
        std::vector<float> left(static_cast<std::size_t>(block)), right = left;
        for (int i = 0; i < block; ++i) {
            if (position + i < soundEnd)
                left[static_cast<std::size_t>(i)] = -level;
            if (position + i == click)
                right[static_cast<std::size_t>(i)] = level;
        }
        length += rule.take(left.data(), right.data(), block);
        position += block;
    }
    return length;
}

TEST(TailRule, EndsHalfASecondAfterSoundAndLastEvent)
{
    const struct {
        const char* what;
        int lastEvent, soundEnd, click;
        std::int64_t length;
    } rows[] = {
        {"nothing at all", 0, 0, -1, 500},
        {"silence before the last event does not count", 2000, 100, -1, 2500},
        {"sound after the last event", 2000, 3210, -1, 3710},
        {"click in one channel within the half second", 2000, 2000, 2499, 3000},
        {"sound without end", 2000, 1 << 30, -1, 32000},
    };
    for (const auto& row : rows) {
        for (const int block : {1, 63, 8192})
            EXPECT_EQ(lengthOf(TailRule(row.lastEvent, kRate, {}), row.soundEnd, row.click, block),
                      row.length)
                << row.what << ", block " << block;
    }
}

TEST(TailRule, SilenceIsBelowMinusHundredDecibelsAndAnExactLengthHoldsWhateverSounds)
{
    EXPECT_EQ(lengthOf(TailRule(0, kRate, {}), 1000, -1, 64, 0.99e-5f), 500);
    EXPECT_EQ(lengthOf(TailRule(0, kRate, {}), 1000, -1, 64, 1.01e-5f), 1500);
    for (const std::int64_t length : {0, 1234, 40000}) {
        EXPECT_EQ(lengthOf(TailRule(2000, kRate, length), 1 << 30, -1, 64), length);
        EXPECT_EQ(TailRule(2000, kRate, length).longest(), length);
    }
    EXPECT_EQ(TailRule(2000, kRate, {}).longest(), 32000);
}

} // namespace
} // namespace zephra::test
