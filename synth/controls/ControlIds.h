// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra {

/// Ids of all controls. Patches store them: they never change.
enum ControlId : int {
    polyphony = 1,
    controls_glide = 2,
    controls_modulation_mix = 3,
    controls_osc_modulation_sw = 4,
    controls_filter_modulation_sw = 5,
    volume = 7,
    unison_spread = 8,
    unison_detune = 9,
    tuning_coarse = 10,
    tuning_fine = 11,
    osc_1_waveform = 30,
    osc_1_range = 31,
    osc_1_semi = 32,
    osc_1_fine = 33,
    osc_1_active = 34,
    osc_2_waveform = 40,
    osc_2_range = 41,
    osc_2_semi = 42,
    osc_2_fine = 43,
    osc_2_active = 44,
    osc_3_waveform = 50,
    osc_3_range = 51,
    osc_3_semi = 52,
    osc_3_fine = 53,
    osc_3_active = 54,
    osc_3_ktrk = 55,
    mixer_osc_1 = 60,
    mixer_osc_2 = 61,
    mixer_osc_3 = 62,
    mixer_noise = 63,
    mixer_noise_type_sw = 64,
    mixer_drive = 65,
    mixer_feedback = 66,
    filter_type = 70,
    filter_cutoff = 71,
    filter_resonance = 72,
    filter_env_amount = 74,
    filter_env_attack = 75,
    filter_env_decay = 76,
    filter_env_sustain = 77,
    filter_env_release = 78,
    filter_keytrack_1 = 79,
    filter_keytrack_2 = 80,
    filter_type_lpbp = 81,
    amplifier_env_attack = 90,
    amplifier_env_decay = 91,
    amplifier_env_sustain = 92,
    amplifier_env_release = 93,
    modwheel = 98,
    pb_range_up = 100,
    pb_range_down = 101,
    opts_note_priority = 102,
    opts_mod_pitch_range = 103,
    opts_mod_shape = 104,
    opts_mod_cutoff_range = 105,
    opts_osc_keytracking = 106,
    opts_osc_drift = 107,
    opts_flt_cutoff_range = 108,
    opts_flt_symmetry = 109,
    opts_amp_saturation = 110,
    opts_flt_resonance_range = 111,
    opts_mono_mode = 112,
    filter_input_volume = 119,
    opts_mains_frequency = 120,
    fx_del_time = 122,
    fx_del_feedback = 123,
    fx_del_dry_wet = 124,
    fx_rev_time = 126,
    fx_rev_color = 127,
    fx_rev_dry_wet = 128,
    fx_del_width = 129,
    fx_active = 130,
    fx_rev_width = 131,
    opts_revision = 132,
    velocity_target = 134,
    velocity_amount = 135,
    aftertouch_amount = 136,
    aftertouch_target = 137,
    modwheel_target = 138,
    modulation_source_1 = 140,
    modulation_target_1 = 142,
    modulation_source_2 = 143,
    modulation_target_2 = 145,
    modulation_source_3 = 146,
    modwheel_amount = 147,
    modulation_target_3 = 148,
    panel_view = 149,
    opts_osc_1_phase = 150,
    opts_osc_2_phase = 151,
    opts_osc_3_phase = 152,
    opts_osc_3_lo_sync = 153,
    pitch_wheel = 201,
    empty_parameter = 9999, ///< what a widget without a control bears
};

/// Ids at and above this are not accepted by the plug-in's interface by id.
inline constexpr int kNumControls = 154;

/// Host parameters, index 0..74.
inline constexpr int kNumHostParameters = 75;

/// Rows of the default table, which a preset stores.
inline constexpr int kNumStoredControls = 88;

/// No such control; as a page or preset argument: the current one.
inline constexpr int NoParameter = -88888;

} // namespace zephra
