// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "controls/ControlText.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstdint>
#include <limits>

namespace zephra {
namespace {

// A pin: hosts store automation by index, patches store values by row and leave out what is at its
// default. A change here breaks songs and patches.
TEST(ControlTable, IndexesRowsAndDefaultsStayWhereSongsAndPatchesHaveThem)
{
    std::uint64_t pin = 0;
    const auto add = [&pin](double x) {
        pin = 31 * pin + static_cast<std::uint64_t>(1e4 * x + 0.5);
    };
    for (const HostParameter& parameter : kHostParameters)
        add(parameter.id);
    EXPECT_EQ(pin, 12913264891415634496u);
    pin = 0;
    for (const int id : kStorageOrder) {
        add(id);
        add(double(defaultValue(id)));
    }
    EXPECT_EQ(pin, 2788558554727785639u);
    for (int row = 0; row < kNumStoredControls; ++row)
        EXPECT_EQ(storageRow(kStorageOrder[static_cast<std::size_t>(row)]), row);
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
