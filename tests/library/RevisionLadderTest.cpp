// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/RevisionLadder.h"

#include "library/PatchChunk.h"
#include "support/ChunkBytes.h"

#include <gtest/gtest.h>

#include <map>

namespace zephra {
namespace {

using test::ChunkBytes;

/// What a chunk of some revision makes of these values.
std::map<int, float> loaded(std::uint32_t revision, const ChunkBytes::List& stored)
{
    PluginParameters parameters;
    readChunk(ChunkBytes(revision).values(stored).bytes, parameters);
    std::map<int, float> values;
    for (const int id : kStorageOrder)
        values[id] = parameters.getValue(id);
    return values;
}

struct Row {
    std::uint32_t revision;
    ChunkBytes::List stored;
    ChunkBytes::List expected; ///< all else stays as stored or at its default
};

// clang-format off
const Row kRows[] = {
    // Revision 1: it forces Mono, and values that others have taken over; lists were normalised, six
    // steps of waveforms and five of ranges; bend ranges were semitones.
    {1, {{polyphony, 1}, {opts_mono_mode, 1}, {unison_spread, 0.7f}, {unison_detune, 0.1f},
         {tuning_coarse, 0.25f}, {opts_flt_symmetry, 0.9f}, {tuning_fine, 0.9f},
         {mixer_drive, 0.6f}, {mixer_feedback, 0.3f}, {opts_amp_saturation, 0.9f},
         {osc_3_active, 1}, {osc_3_ktrk, 0}, {osc_1_waveform, 0.5f}, {osc_2_waveform, 0.99f},
         {osc_3_waveform, 1}, {osc_1_range, 0.4f}, {osc_2_range, 0.39f}, {osc_3_range, 1},
         {filter_type, 0}, {opts_note_priority, 0}, {opts_mod_pitch_range, 0.9f},
         {opts_mod_shape, 0.9f}, {pb_range_up, 12}, {pb_range_down, 2.5f}},
        {{polyphony, 3}, {opts_mono_mode, 0}, {unison_detune, 0.7f},
         {tuning_coarse, 2}, {opts_flt_symmetry, 0.25f}, {tuning_fine, 0.5f},
         {mixer_drive, 0.3f}, {mixer_feedback, 0}, {opts_amp_saturation, 0.6f},
         {osc_3_active, 0}, {osc_3_ktrk, 1}, {osc_1_waveform, 3}, {osc_2_waveform, 5},
         {osc_3_waveform, 6}, {osc_1_range, 2}, {osc_2_range, 1}, {osc_3_range, 5},
         {filter_type, 1}, {opts_note_priority, 1}, {opts_mod_pitch_range, 0.5f},
         {opts_mod_shape, 0}, {pb_range_down, 2}}},
    {1, {{osc_3_active, 0.25f}, {osc_3_ktrk, 0.75f}}, {{osc_3_active, 0.75f}, {osc_3_ktrk, 0.25f}}},
    {1, {}, {}},

    // Mode: in 2 what was Mono becomes 2; in 5 that becomes Poly-8.
    {2, {{polyphony, 0}, {opts_mono_mode, 1}}, {{opts_mono_mode, 0}}},
    {2, {{polyphony, 1.9f}, {unison_spread, 0.7f}, {mixer_drive, 0.6f}, {osc_1_waveform, 0.5f}},
        {{polyphony, 1}}},
    {2, {{polyphony, 2}},                      {{polyphony, 3}, {opts_mono_mode, 1}}},
    {2, {{polyphony, 7}},                      {{polyphony, 3}, {opts_mono_mode, 0}}},
    {2, {{polyphony, -1}},                     {}},
    {3, {{polyphony, 2}, {opts_mono_mode, 1}}, {{polyphony, 3}}},
    {5, {{polyphony, 2.9f}},                   {{polyphony, 3}}},
    {5, {{polyphony, 1}},                      {}},

    // Bend ranges: normalised in 2 and 3, then semitones; beyond the limit they start again.
    {2, {{pb_range_up, 0.5f}, {pb_range_down, 0}},    {{pb_range_up, 12}}},
    {3, {{pb_range_up, 0.2917f}, {pb_range_down, 1}}, {{pb_range_up, 7}, {pb_range_down, 24}}},
    {3, {{pb_range_up, 2}, {pb_range_down, 3}},       {{pb_range_up, 48}, {pb_range_down, 1}}},
    {4, {{pb_range_up, 48}, {pb_range_down, 48.5f}},  {{pb_range_down, 1}}},
    {6, {{polyphony, 2}, {pb_range_up, 50}, {pb_range_down, 100}},
        {{pb_range_up, 1}, {pb_range_down, 2}}},
    {7, {{polyphony, 2}, {pb_range_up, 48}, {pb_range_down, 49}},  {{pb_range_down, 1}}},
    {0, {{polyphony, 2}, {pb_range_up, 24}, {pb_range_down, 25}},  {{pb_range_down, 1}}},
    {0, {{pb_range_up, 48}, {pb_range_down, -3}},     {{pb_range_up, 2}}},

    // Velocity and aftertouch: switches become targets, in the matrix too.
    {4, {{velocity_target, 0.5f}, {aftertouch_target, 0.5f}},
        {{velocity_target, 1}, {modulation_target_1, 1}, {aftertouch_target, 1}, {modulation_target_2, 1}}},
    {4, {{velocity_target, 0.49f}, {aftertouch_target, 0}, {modulation_target_1, 3}, {modulation_target_2, 3}},
        {{velocity_target, 4}, {modulation_target_1, 4}, {aftertouch_target, 2}, {modulation_target_2, 2}}},
    {5, {{velocity_target, 1}, {modulation_target_1, 3}}, {}},
};

/// Defaults that a revision changes even where the chunk is silent.
ChunkBytes::List liftedDefaults(std::uint32_t revision)
{
    ChunkBytes::List list;
    if (revision == 1)
        list = {{osc_1_waveform, 12}, {osc_2_waveform, 12}, {osc_3_waveform, 12},
                {osc_1_range, 10}, {osc_2_range, 10}, {osc_3_range, 0}, {unison_detune, 0.5f},
                {opts_flt_symmetry, 2}, {opts_amp_saturation, 0.0781f}, {mixer_drive, 0},
                {osc_3_active, 0}, {osc_3_ktrk, 1}, {opts_mod_pitch_range, 0.5f}};
    if (revision == 2 || revision == 3) // 7 * 24 = 168, beyond 48, starts again
        list.insert(list.end(), {{pb_range_up, 3}, {pb_range_down, 3}});
    if (revision >= 1 && revision <= 4)
        list.insert(list.end(), {{velocity_target, 4}, {aftertouch_target, 2}});
    return list;
}
// clang-format on

TEST(RevisionLadder, LiftsEveryOldMeaning)
{
    for (const Row& row : kRows) {
        std::map<int, float> expected;
        for (const int id : kStorageOrder)
            expected[id] = defaultValue(id);
        for (const auto& list : {liftedDefaults(row.revision), row.stored, row.expected}) {
            for (const auto& [id, value] : list)
                expected[id] = value;
        }
        const std::map<int, float> values = loaded(row.revision, row.stored);
        for (const auto& [id, value] : expected) {
            EXPECT_EQ(values.at(id), value) << findControl(id)->name << ", row " << &row - kRows
                                            << " of revision " << row.revision;
        }
    }
}

TEST(RevisionLadder, EverySemitoneSurvivesTheWayThroughOldRevisions)
{
    for (int semitones = 0; semitones <= 24; ++semitones) {
        const auto range = static_cast<float>(semitones);
        EXPECT_EQ(loaded(1, {{pb_range_up, range}}).at(pb_range_up), range);
        EXPECT_EQ(loaded(3, {{pb_range_up, range / 24.0f}}).at(pb_range_up), range);
    }
}

} // namespace
} // namespace zephra
