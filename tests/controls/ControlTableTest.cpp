// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>

namespace zephra {
namespace {

// Hosts store automation by index: a change here breaks songs.
TEST(ControlTable, HostIndexesStayWhereSongsHaveThem)
{
    constexpr int kIds[] = {
        98,  7,   8,   9,   2,   3,   4,   5,   10,  11,  34,  30,  31,  32,  33,
        44,  40,  41,  42,  43,  54,  55,  50,  51,  52,  53,  60,  61,  62,  63,
        64,  65,  66,  70,  71,  72,  74,  75,  76,  77,  78,  79,  80,  90,  91,
        92,  93,  103, 104, 105, 106, 107, 108, 111, 109, 110, 130, 122, 123, 129,
        124, 126, 127, 131, 128, 134, 135, 137, 136, 81,  147, 150, 151, 152, 153,
    };
    ASSERT_EQ(std::size(kIds), kHostParameters.size());
    for (std::size_t index = 0; index < std::size(kIds); ++index)
        EXPECT_EQ(kHostParameters[index].id, kIds[index]) << "index " << index;
}

// Presets store values by row and leave out what is at its default: a change here breaks patches.
TEST(ControlTable, StoredRowsAndTheirDefaultsStayWhereOldPatchesHaveThem)
{
    constexpr std::pair<int, float> kRows[] = {
        {98, 0},    {1, 3},     {7, .5f},    {8, .5f},   {9, .5f},     {2, 0},        {3, 0},
        {4, 0},     {5, 0},     {10, 2},     {11, .5f},  {34, 1},      {30, 2},       {31, 2},
        {32, .5f},  {33, .5f},  {44, 1},     {40, 2},    {41, 2},      {42, .5f},     {43, .5f},
        {54, 1},    {55, 0},    {50, 2},     {51, 0},    {52, .5f},    {53, .5f},     {60, 1},
        {61, 0},    {62, 0},    {63, 0},     {64, 0},    {65, .0781f}, {66, 0},       {70, 1},
        {81, 0},    {71, .5f},  {72, 0},     {74, 0},    {75, 0},      {76, .5f},     {77, 1},
        {78, 0},    {79, 0},    {80, 0},     {90, 0},    {91, .5f},    {92, 1},       {93, 0},
        {100, 7},   {101, 7},   {102, 1},    {112, 0},   {132, 0},     {103, .5f},    {104, 0},
        {105, .5f}, {106, .6f}, {107, 0},    {108, .5f}, {111, .5f},   {109, .5937f}, {110, .2969f},
        {120, 1},   {130, 0},   {122, 7},    {123, .5f}, {129, .5f},   {124, .25f},   {126, .5f},
        {127, .5f}, {131, 1},   {128, .25f}, {134, 0},   {137, 0},     {140, 1},      {143, 2},
        {146, 0},   {135, 0},   {136, 0},    {147, 0},   {142, 4},     {145, 2},      {148, 0},
        {150, 0},   {151, 0},   {152, 0},    {153, 0},
    };
    ASSERT_EQ(std::size(kRows), kStorageOrder.size());
    int row = 0;
    for (const auto& [id, value] : kRows) {
        EXPECT_EQ(storageRow(id), row++) << "control " << id;
        EXPECT_EQ(defaultValue(id), value) << "control " << id;
    }
}

TEST(ControlTable, EveryControlIsFoundAndNothingElse)
{
    for (const ControlInfo& control : kControls) {
        EXPECT_EQ(findControl(control.id), &control);
        EXPECT_EQ(findControl(std::string_view(control.name)), &control);
    }
    EXPECT_EQ(findControl("Filter Cutoff"), nullptr);
    for (const int id : {INT_MIN, NoParameter, -1, 0, 6, 154, int(empty_parameter), INT_MAX}) {
        EXPECT_EQ(findControl(id), nullptr) << id;
        EXPECT_EQ(storageRow(id), NoParameter) << id;
        EXPECT_EQ(snapped(id, 0.3), 0.3) << id;
    }
}

TEST(Snapped, TurnsWhatIsSentIntoWhatIsStored)
{
    constexpr struct {
        int id;
        double sent, stored;
    } kRows[] = {
        {fx_active, 0.49, 0},   {fx_active, 0.5, 1},        {fx_active, -HUGE_VAL, 0},
        {osc_1_active, NAN, 1}, {polyphony, 1.5, 1},        {polyphony, 2.9999, 3},
        {polyphony, NAN, 3},    {pb_range_up, 1e30, 1e9},   {filter_cutoff, -3.7, -3.7},
        {polyphony, -1.5, -1},  {opts_osc_3_lo_sync, 7, 7},
    };
    for (const auto& row : kRows)
        EXPECT_EQ(snapped(row.id, row.sent), row.stored) << row.id << " sent " << row.sent;
}

} // namespace
} // namespace zephra
