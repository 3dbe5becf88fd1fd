// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/TailRule.h"

#include <gtest/gtest.h>
#include <vector>

namespace zephra {
namespace {

/// Length of a file in which the left channel sounds before `soundEnd` and the right one on
/// sample `click`.
std::int64_t lengthOf(TailRule rule, float level, int soundEnd, int click, int block)
{
    std::vector<float> left(static_cast<std::size_t>(block)), right = left;
    std::int64_t length = 0;
    for (int position = 0; !rule.finished(); position += block) {
        for (int i = 0; i < block; ++i) {
            left[static_cast<std::size_t>(i)] = position + i < soundEnd ? -level : 0.0f;
            right[static_cast<std::size_t>(i)] = position + i == click ? level : 0.0f;
        }
        length += rule.take(left.data(), right.data(), block);
    }
    return length;
}

TEST(TailRule, EndsHalfASecondAfterSoundAndLastEventOrWhereItIsTold)
{
    constexpr int kForEver = 1 << 30;
    constexpr float kLoud = 0.1f;
    const struct {
        const char* what;
        int lastEvent;
        std::optional<std::int64_t> exact;
        float level;
        int soundEnd, click;
        std::int64_t length;
    } rows[] = {
        {"nothing at all", 0, {}, kLoud, 0, -1, 500},
        {"silence before the last event does not count", 2000, {}, kLoud, 100, -1, 2500},
        {"sound after the last event", 2000, {}, kLoud, 3210, -1, 3710},
        {"click in one channel within the half second", 2000, {}, kLoud, 2000, 2499, 3000},
        {"sound without end", 2000, {}, kLoud, kForEver, -1, 32000},
        {"below -100 dB", 0, {}, 0.99e-5f, 1000, -1, 500},
        {"above it", 0, {}, 1.01e-5f, 1000, -1, 1500},
        {"no length", 2000, 0, kLoud, kForEver, -1, 0},
        {"an exact length", 2000, 1234, kLoud, kForEver, -1, 1234},
        {"a long one", 2000, 40000, kLoud, 0, -1, 40000},
    };
    for (const auto& row : rows) {
        for (const int block : {1, 63, 8192}) {
            const TailRule rule(row.lastEvent, 1000.0, row.exact); // samples are milliseconds
            EXPECT_EQ(lengthOf(rule, row.level, row.soundEnd, row.click, block), row.length)
                << row.what << ", block " << block;
        }
    }
}

} // namespace
} // namespace zephra
