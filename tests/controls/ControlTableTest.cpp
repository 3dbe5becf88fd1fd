// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "controls/ControlText.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <limits>

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

/// Control values are given as presets hold them, in single precision.
TEST(ControlText, ShowsWhatThePanelMeans)
{
    // clang-format off
    constexpr struct {
        int id;
        float value;
        const char* text;
    } kRows[] = {
        // knobs from 0 to 10, rounded as printf does: 0.625 to the even digit
        {volume, 1.0f, "10.00"}, {volume, 0.0625f, "0.62"}, {mixer_drive, 0.0781f, "0.78"},
        {opts_osc_2_phase, 0.0009f, "Free"}, {opts_osc_3_phase, 0.001f, "0.01"},
        // knobs about a centre
        {opts_osc_keytracking, 0.6f, "1.00"}, {tuning_fine, 0.0f, "-100.0"},
        {tuning_fine, 0.75f, "+50.0"}, {osc_1_semi, 0.0f, "-7.00"}, {osc_1_fine, 0.25f, "-25.0"},
        // percent: what was set is what is read, though 0.29 in single precision is less
        {controls_modulation_mix, 0.56f, "Mix 56%"}, {modwheel, 0.29f, "29 %"},
        {modwheel, -0.5f, "-50 %"}, {velocity_amount, 0.57f, "57"},
        // switches
        {opts_osc_3_lo_sync, 0.7f, "Off"}, {mixer_noise_type_sw, 0.0f, "Pink"},
        {filter_type_lpbp, 1.0f, "Band Pass"}, {opts_note_priority, 0.0f, "Low/RR"},
        {opts_revision, 1.0f, "Early"}, {aftertouch_target, 0.0f, "Modulation"},
        // steps; engine values are not the menu rows of modulation sources
        {tuning_coarse, 2.99999f, "+1"}, {osc_1_range, 0.0f, "LO"},
        {fx_del_time, 9.0f / 14.0f * 14.0f, "1/16*"}, {modulation_source_1, 2.0f, "Modwheel"},
        {modulation_source_1, 6.0f, "Timbre"},
        // steps that no list has
        {polyphony, 7.0f, "Poly-8"}, {fx_del_time, -2.0f, "1/2*"}, {osc_2_waveform, -2.0f, "Saw"},
        {osc_3_range, 6.0f, " "},
        // frequencies and times
        {filter_cutoff, 0.0f, "25 Hz"}, {filter_cutoff, 0.5f, "841 Hz"},
        {filter_cutoff, 0.9f, "14.0 kHz"}, {filter_cutoff, 0.91f, "15 kHz"},
        {filter_env_attack, 0.05f, "4 ms"}, {amplifier_env_attack, 0.8667f, "10 s"},
        {filter_env_decay, 0.0f, "2 ms"}, {amplifier_env_decay, 0.6f, "3.0 s"},
        {amplifier_env_release, 3.0f, "35 s"}, {filter_env_decay, -3.0f, "2 ms"},
        {fx_rev_time, 0.0f, "600 ms"}, {fx_rev_time, 0.9f, "21 s"}, {fx_rev_time, 1.0f, "Inf."},
        {opts_mod_shape, 0.3f, "LIN <> LOG"}, {pitch_wheel, 0.5f, "5.00"},
        {empty_parameter, 0.5f, ""},
    };
    // clang-format on
    for (const auto& row : kRows)
        EXPECT_EQ(controlText(row.id, row.value), row.text) << row.id << " at " << row.value;
}

TEST(ControlText, Osc3ShowsNoteLengthsOnlyWhileItFollowsTheTempo)
{
    const TextContext synced{0.0, 1.0};
    const struct {
        double value;
        TextContext context;
        const char* text;
    } rows[] = {
        {11.0 / 26.0, synced, "1/1T"}, {0.5, synced, "1/2"},      {-4.0, synced, "8/1*"},
        {HUGE_VAL, synced, "1/32T"},   {0.5, {1.0, 1.0}, "0.00"}, {0.5, {NAN, NAN}, "0.00"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(controlText(osc_3_semi, row.value, row.context), row.text) << row.value;
    EXPECT_EQ(controlText(osc_1_semi, 0.5, synced), "0.00");
}

TEST(ControlText, IsShortAndNeverEmptyWhateverTheValue)
{
    constexpr double kMax = std::numeric_limits<double>::max();
    for (const ControlInfo& control : kControls) {
        for (const double value :
             {HUGE_VAL, -HUGE_VAL, kMax, -kMax, 1e20, -1e20, 1e-320, -0.0, 1e9}) {
            const std::string text = controlText(control.id, value, {0.0, 1.0});
            EXPECT_FALSE(text.empty()) << control.name << " at " << value;
            EXPECT_LE(text.size(), kMaxControlText) << control.name << " at " << value;
        }
        EXPECT_EQ(controlText(control.id, NAN), controlText(control.id, defaultValue(control.id)))
            << control.name;
    }
}

} // namespace
} // namespace zephra
