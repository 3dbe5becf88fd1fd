// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/PatchValue.h"

#include "support/ChunkBytes.h"

#include <gtest/gtest.h>

#include <limits>

namespace zephra {
namespace {

using test::ChunkBytes;

/// Values of a target, all 0.5 before, after a list was merged into it.
std::vector<float> merged(std::vector<PatchValue> target, const std::string& list)
{
    for (PatchValue& value : target)
        value.value = 0.5f;
    ValueMerge merge(target);
    merge.take({reinterpret_cast<const std::uint8_t*>(list.data()), list.size()});
    merge.apply();
    std::vector<float> values;
    for (const PatchValue& value : target)
        values.push_back(value.value);
    return values;
}

TEST(ValueMerge, FindsIdAndSubIndexAndFallsBackToThePlainOne)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    constexpr float kInfinity = std::numeric_limits<float>::infinity();
    const auto e = ChunkBytes::entry;
    const struct {
        std::string list;
        std::vector<float> values; ///< of 7, 7 sub 2, 9, 65535 sub 65535
    } rows[] = {
        {"", {0.5f, 0.5f, 0.5f, 0.5f}},
        {e(7, 0, 1), {1, 1, 0.5f, 0.5f}},
        {e(7, 2, 2) + e(7, 0, 1), {1, 2, 0.5f, 0.5f}},
        {e(7, 1, 1), {0.5f, 0.5f, 0.5f, 0.5f}},
        {e(9, 0, 1) + e(9, 0, 2) + e(8, 0, 3), {0.5f, 0.5f, 2, 0.5f}},
        {e(65535, 0, 1), {0.5f, 0.5f, 0.5f, 1}},
        {e(65535, 65535, 2) + e(65535, 0, 1), {0.5f, 0.5f, 0.5f, 2}},
        {e(7, 0, kNan) + e(9, 0, -kInfinity), {0, 0, 0, 0.5f}},
        {e(7, 2, kNan) + e(7, 0, 1), {1, 0, 0.5f, 0.5f}},
        {e(7, 0, -9999) + e(9, 0, -9989.5f), {0.5f, 0.5f, -9989.5f, 0.5f}},
        {e(7, 0, 1) + e(7, 0, -9999), {1, 1, 0.5f, 0.5f}},
        {e(7, 0, 1e-42f), {1e-42f, 1e-42f, 0.5f, 0.5f}},
        {e(7, 0, 1) + e(9, 0, 1).substr(0, 7), {1, 1, 0.5f, 0.5f}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(merged({{7, 0}, {7, 2}, {9, 0}, {65535, 65535}}, row.list), row.values)
            << "row " << &row - rows;
}

TEST(ValueMerge, AListOfEveryIdIsTaken)
{
    std::string list;
    std::vector<PatchValue> target;
    for (int id = 65535; id >= 0; --id) {
        list += ChunkBytes::entry(id, 0, static_cast<float>(id));
        target.push_back({static_cast<std::uint16_t>(id), static_cast<std::uint16_t>(id % 3)});
    }
    const std::vector<float> values = merged(target, list);
    for (std::size_t i = 0; i < target.size(); ++i)
        ASSERT_EQ(values[i], target[i].id);
}

} // namespace
} // namespace zephra
