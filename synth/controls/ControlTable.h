// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlIds.h"
#include "controls/ControlLists.h"

#include <algorithm>
#include <array>
#include <span>
#include <string_view>

namespace zephra {

// A control has three levels of value:
//   normalised     0..1, what hosts and widgets hold
//   control value  normalised * controlScale(id), what presets hold: 0..1, 0..n or 0 and 1
//   engine value   any unit, inside SynthEngine
// Everything here is constant, allocates nothing and may be called on any thread.

enum class ControlKind {
    Continuous, ///< passes as it is
    Switch,     ///< 0 or 1, snapped at 0.5
    Stepped,    ///< 0..scale in whole steps, truncated
};

/// How a control value v is shown; the formulas stand in ControlText.cpp.
enum class TextRule {
    Plain,         ///< 10v, two decimals
    Centred,       ///< 10v - 5, two decimals
    Semitones,     ///< 14v - 7, signed, two decimals
    Osc3Semitones, ///< the same, or a note length while oscillator 3 follows the tempo
    OscCents,      ///< 100v - 50, signed, one decimal
    FineCents,     ///< 200v - 100, signed, one decimal
    Octaves,       ///< v - 2, signed, whole
    Whole,         ///< v, whole
    Hundredths,    ///< 100v, whole
    SpacedPercent, ///< "50 %"
    MixPercent,    ///< "Mix 50%"
    TwoWords,      ///< the second text if v is 1, else the first
    List,          ///< row v of the texts, the nearest row if there is none
    Waveform,      ///< row v of the texts, "Saw" if there is none
    Range,         ///< row v of the texts, a blank if there is none
    Cutoff,        ///< Hz or kHz
    AttackTime,    ///< ms or s
    DecayTime,     ///< ms or s
    ReverbTime,    ///< ms or s, "Inf." at the top
    Phase,         ///< "Free" at the bottom, else plain
    LinLog,        ///< always "LIN <> LOG"
};

/// Default of a control that no patch stores.
inline constexpr float kNoDefault = -9999.0f;

/// One control.
struct ControlInfo {
    int id;               ///< ControlId
    const char* name;     ///< lower case, for files and command lines
    int hostIndex;        ///< 0..74, NoParameter if hosts do not see it
    const char* hostName; ///< nullptr without a host index
    float defaultValue;   ///< control value, kNoDefault if no patch stores it
    float scale;          ///< control value at normalised 1
    ControlKind kind;
    TextRule text;
    std::span<const char* const> texts; ///< what TwoWords, List, Waveform and Range choose from

    constexpr bool isStored() const noexcept { return defaultValue != kNoDefault; }
    constexpr bool isAutomatable() const noexcept { return hostIndex != NoParameter; }
};

// clang-format off
/// All controls, in rising order of ids.
inline constexpr auto kControls = [] {
    using enum ControlKind;
    using enum TextRule;
    constexpr int none = NoParameter;
    constexpr float unset = kNoDefault;
    return std::to_array<ControlInfo>({
        //id                             name                               host host name                 default  scale kind        text rule      texts
        { polyphony,                     "polyphony",                      none, nullptr,                    3.0f,     3, Stepped,    List,          kPolyphonyModes },
        { controls_glide,                "controls_glide",                    4, "Glide",                    0.0f,     1, Continuous, Plain,         {} },
        { controls_modulation_mix,       "controls_modulation_mix",           5, "Modulation Mix",           0.0f,     1, Continuous, MixPercent,    {} },
        { controls_osc_modulation_sw,    "controls_osc_modulation_sw",        6, "Modulation OSC",           0.0f,     1, Switch,     TwoWords,      kOffOn },
        { controls_filter_modulation_sw, "controls_filter_modulation_sw",     7, "Modulation FLT",           0.0f,     1, Switch,     TwoWords,      kOffOn },
        { volume,                        "volume",                            1, "Output Volume",            0.5f,     1, Continuous, Plain,         {} },
        { unison_spread,                 "unison_spread",                     2, "Unison Spread",            0.5f,     1, Continuous, Plain,         {} },
        { unison_detune,                 "unison_detune",                     3, "Unison Detune",            0.5f,     1, Continuous, Plain,         {} },
        { tuning_coarse,                 "tuning_coarse",                     8, "Tuning Coarse",            2.0f,     4, Stepped,    Octaves,       {} },
        { tuning_fine,                   "tuning_fine",                       9, "Tuning Fine",              0.5f,     1, Continuous, FineCents,     {} },
        { osc_1_waveform,                "osc_1_waveform",                   11, "Osc 1 Wave",               2.0f,     6, Stepped,    Waveform,      kWaveforms },
        { osc_1_range,                   "osc_1_range",                      12, "Osc 1 Range",              2.0f,     5, Stepped,    Range,         kRanges },
        { osc_1_semi,                    "osc_1_semi",                       13, "Osc 1 Semi",               0.5f,     1, Continuous, Semitones,     {} },
        { osc_1_fine,                    "osc_1_fine",                       14, "Osc 1 Fine",               0.5f,     1, Continuous, OscCents,      {} },
        { osc_1_active,                  "osc_1_active",                     10, "Osc 1 Active",             1.0f,     1, Switch,     TwoWords,      kOffOn },
        { osc_2_waveform,                "osc_2_waveform",                   16, "Osc 2 Wave",               2.0f,     6, Stepped,    Waveform,      kWaveforms },
        { osc_2_range,                   "osc_2_range",                      17, "Osc 2 Range",              2.0f,     5, Stepped,    Range,         kRanges },
        { osc_2_semi,                    "osc_2_semi",                       18, "Osc 2 Semi",               0.5f,     1, Continuous, Semitones,     {} },
        { osc_2_fine,                    "osc_2_fine",                       19, "Osc 2 Fine",               0.5f,     1, Continuous, OscCents,      {} },
        { osc_2_active,                  "osc_2_active",                     15, "Osc 2 Active",             1.0f,     1, Switch,     TwoWords,      kOffOn },
        { osc_3_waveform,                "osc_3_waveform",                   22, "Osc 3 Wave",               2.0f,     6, Stepped,    Waveform,      kWaveforms },
        { osc_3_range,                   "osc_3_range",                      23, "Osc 3 Range",              0.0f,     5, Stepped,    Range,         kRanges },
        { osc_3_semi,                    "osc_3_semi",                       24, "Osc 3 Semi",               0.5f,     1, Continuous, Osc3Semitones, {} },
        { osc_3_fine,                    "osc_3_fine",                       25, "Osc 3 Fine",               0.5f,     1, Continuous, OscCents,      {} },
        { osc_3_active,                  "osc_3_active",                     20, "Osc 3 Active",             1.0f,     1, Switch,     TwoWords,      kOffOn },
        { osc_3_ktrk,                    "osc_3_ktrk",                       21, "Osc 3 KTRK",               0.0f,     1, Switch,     TwoWords,      kOffOn },
        { mixer_osc_1,                   "mixer_osc_1",                      26, "Mixer Osc 1",              1.0f,     1, Continuous, Plain,         {} },
        { mixer_osc_2,                   "mixer_osc_2",                      27, "Mixer Osc 2",              0.0f,     1, Continuous, Plain,         {} },
        { mixer_osc_3,                   "mixer_osc_3",                      28, "Mixer Osc 3",              0.0f,     1, Continuous, Plain,         {} },
        { mixer_noise,                   "mixer_noise",                      29, "Mixer Noise",              0.0f,     1, Continuous, Plain,         {} },
        { mixer_noise_type_sw,           "mixer_noise_type_sw",              30, "Mixer Noise Type",         0.0f,     1, Switch,     TwoWords,      kNoiseTypes },
        { mixer_drive,                   "mixer_drive",                      31, "Mixer Drive",           0.0781f,     1, Continuous, Plain,         {} },
        { mixer_feedback,                "mixer_feedback",                   32, "Mixer Feedback",           0.0f,     1, Continuous, Plain,         {} },
        { filter_type,                   "filter_type",                      33, "Filter Type",              1.0f,     1, Switch,     TwoWords,      kSlopes },
        { filter_cutoff,                 "filter_cutoff",                    34, "Filter Cutoff",            0.5f,     1, Continuous, Cutoff,        {} },
        { filter_resonance,              "filter_resonance",                 35, "Filter Resonance",         0.0f,     1, Continuous, Plain,         {} },
        { filter_env_amount,             "filter_env_amount",                36, "Filter Env Amount",        0.0f,     1, Continuous, Plain,         {} },
        { filter_env_attack,             "filter_env_attack",                37, "Filter Env Attack",        0.0f,     1, Continuous, AttackTime,    {} },
        { filter_env_decay,              "filter_env_decay",                 38, "Filter Env Decay",         0.5f,     1, Continuous, DecayTime,     {} },
        { filter_env_sustain,            "filter_env_sustain",               39, "Filter Env Sustain",       1.0f,     1, Continuous, Plain,         {} },
        { filter_env_release,            "filter_env_release",               40, "Filter Env Release",       0.0f,     1, Continuous, DecayTime,     {} },
        { filter_keytrack_1,             "filter_keytrack_1",                41, "Filter Keytrack 1",        0.0f,     1, Switch,     TwoWords,      kOffOn },
        { filter_keytrack_2,             "filter_keytrack_2",                42, "Filter Keytrack 2",        0.0f,     1, Switch,     TwoWords,      kOffOn },
        { filter_type_lpbp,              "filter_type_lpbp",                 69, "Filter LP/BP",             0.0f,     1, Switch,     TwoWords,      kPassTypes },
        { amplifier_env_attack,          "amplifier_env_attack",             43, "Amplifier Env Attack",     0.0f,     1, Continuous, AttackTime,    {} },
        { amplifier_env_decay,           "amplifier_env_decay",              44, "Amplifier Env Decay",      0.5f,     1, Continuous, DecayTime,     {} },
        { amplifier_env_sustain,         "amplifier_env_sustain",            45, "Amplifier Env Sustain",    1.0f,     1, Continuous, Plain,         {} },
        { amplifier_env_release,         "amplifier_env_release",            46, "Amplifier Env Release",    0.0f,     1, Continuous, DecayTime,     {} },
        { modwheel,                      "modwheel",                          0, "ModWheel",                 0.0f,     1, Continuous, SpacedPercent, {} },
        { pb_range_up,                   "pb_range_up",                    none, nullptr,                    7.0f,    48, Stepped,    Whole,         {} },
        { pb_range_down,                 "pb_range_down",                  none, nullptr,                    7.0f,    48, Stepped,    Whole,         {} },
        { opts_note_priority,            "opts_note_priority",             none, nullptr,                    1.0f,     1, Switch,     TwoWords,      kNotePriorities },
        { opts_mod_pitch_range,          "opts_mod_pitch_range",             47, "Opts Mod Pitch Range",     0.5f,     1, Continuous, Centred,       {} },
        { opts_mod_shape,                "opts_mod_shape",                   48, "Opts Mod Shape",           0.0f,     1, Continuous, LinLog,        {} },
        { opts_mod_cutoff_range,         "opts_mod_cutoff_range",            49, "Opts Mod Cutoff Range",    0.5f,     1, Continuous, Centred,       {} },
        { opts_osc_keytracking,          "opts_osc_keytracking",             50, "Opts Osc Keytracking",     0.6f,     1, Continuous, Centred,       {} },
        { opts_osc_drift,                "opts_osc_drift",                   51, "Opts Osc Drift",           0.0f,     1, Continuous, Plain,         {} },
        { opts_flt_cutoff_range,         "opts_flt_cutoff_range",            52, "Opts Flt Cutoff Range",    0.5f,     1, Continuous, Centred,       {} },
        { opts_flt_symmetry,             "opts_flt_symmetry",                54, "Opts Flt Symmetry",     0.5937f,     1, Continuous, Centred,       {} },
        { opts_amp_saturation,           "opts_amp_saturation",              55, "Opts Amt Saturation",   0.2969f,     1, Continuous, Plain,         {} },
        { opts_flt_resonance_range,      "opts_flt_resonance_range",         53, "Opts Flt Reso Range",      0.5f,     1, Continuous, Plain,         {} },
        { opts_mono_mode,                "opts_mono_mode",                 none, nullptr,                    0.0f,     1, Switch,     TwoWords,      kMonoModes },
        { filter_input_volume,           "filter_input_volume",            none, nullptr,                   unset,     1, Continuous, Plain,         {} },
        { opts_mains_frequency,          "opts_mains_frequency",           none, nullptr,                    1.0f,     1, Switch,     TwoWords,      kMains },
        { fx_del_time,                   "fx_del_time",                      57, "Delay Time",               7.0f,    14, Stepped,    List,          kShortSync },
        { fx_del_feedback,               "fx_del_feedback",                  58, "Delay Feedback",           0.5f,     1, Continuous, Plain,         {} },
        { fx_del_dry_wet,                "fx_del_dry_wet",                   60, "Delay Dry/Wet",           0.25f,     1, Continuous, Plain,         {} },
        { fx_rev_time,                   "fx_rev_time",                      61, "Reverb Time",              0.5f,     1, Continuous, ReverbTime,    {} },
        { fx_rev_color,                  "fx_rev_color",                     62, "Reverb Color",             0.5f,     1, Continuous, Plain,         {} },
        { fx_rev_dry_wet,                "fx_rev_dry_wet",                   64, "Reverb Dry/Wet",          0.25f,     1, Continuous, Plain,         {} },
        { fx_del_width,                  "fx_del_width",                     59, "Delay Width",              0.5f,     1, Continuous, Plain,         {} },
        { fx_active,                     "fx_active",                        56, "Effects Active",           0.0f,     1, Switch,     TwoWords,      kOffOn },
        { fx_rev_width,                  "fx_rev_width",                     63, "Reverb Width",             1.0f,     1, Continuous, Plain,         {} },
        { opts_revision,                 "opts_revision",                  none, nullptr,                    0.0f,     1, Switch,     TwoWords,      kRevisions },
        { velocity_target,               "velocity_target",                  65, "(reserved)",               0.0f,     1, Switch,     TwoWords,      kVelocityTargets },
        { velocity_amount,               "velocity_amount",                  66, "MM Amount 1",              0.0f,     1, Continuous, Hundredths,    {} },
        { aftertouch_amount,             "aftertouch_amount",                68, "MM Amount 2",              0.0f,     1, Continuous, Hundredths,    {} },
        { aftertouch_target,             "aftertouch_target",                67, "(reserved)",               0.0f,     1, Switch,     TwoWords,      kAftertouchTargets },
        { modwheel_target,               "modwheel_target",                none, nullptr,                   unset,     1, Continuous, Plain,         {} },
        { modulation_source_1,           "modulation_source_1",            none, nullptr,                    1.0f,     6, Stepped,    List,          kModulationSources },
        { modulation_target_1,           "modulation_target_1",            none, nullptr,                    4.0f,     4, Stepped,    List,          kModulationTargets },
        { modulation_source_2,           "modulation_source_2",            none, nullptr,                    2.0f,     6, Stepped,    List,          kModulationSources },
        { modulation_target_2,           "modulation_target_2",            none, nullptr,                    2.0f,     4, Stepped,    List,          kModulationTargets },
        { modulation_source_3,           "modulation_source_3",            none, nullptr,                    0.0f,     6, Stepped,    List,          kModulationSources },
        { modwheel_amount,               "modwheel_amount",                  70, "MM Amount 3",              0.0f,     1, Continuous, Hundredths,    {} },
        { modulation_target_3,           "modulation_target_3",            none, nullptr,                    0.0f,     4, Stepped,    List,          kModulationTargets },
        { panel_view,                    "panel_view",                     none, nullptr,                   unset,     1, Switch,     TwoWords,      kPanels },
        { opts_osc_1_phase,              "opts_osc_1_phase",                 71, "Opts Osc 1 Phase",         0.0f,     1, Continuous, Phase,         {} },
        { opts_osc_2_phase,              "opts_osc_2_phase",                 72, "Opts Osc 2 Phase",         0.0f,     1, Continuous, Phase,         {} },
        { opts_osc_3_phase,              "opts_osc_3_phase",                 73, "Opts Osc 3 Phase",         0.0f,     1, Continuous, Phase,         {} },
        { opts_osc_3_lo_sync,            "opts_osc_3_lo_sync",               74, "Opts Osc 3 LO-Sync",       0.0f,     1, Continuous, TwoWords,      kOffOn },
        { pitch_wheel,                   "pitch_wheel",                    none, nullptr,                   unset,     1, Continuous, Plain,         {} },
    });
}();

/// Ids in the order in which a preset stores them and in which a whole patch reaches the engine:
/// along the panel, not by number.
inline constexpr std::array<int, kNumStoredControls> kStorageOrder {
    modwheel, polyphony, volume, unison_spread, unison_detune, controls_glide,
    controls_modulation_mix, controls_osc_modulation_sw, controls_filter_modulation_sw,
    tuning_coarse, tuning_fine, osc_1_active, osc_1_waveform, osc_1_range, osc_1_semi,
    osc_1_fine, osc_2_active, osc_2_waveform, osc_2_range, osc_2_semi, osc_2_fine, osc_3_active,
    osc_3_ktrk, osc_3_waveform, osc_3_range, osc_3_semi, osc_3_fine, mixer_osc_1, mixer_osc_2,
    mixer_osc_3, mixer_noise, mixer_noise_type_sw, mixer_drive, mixer_feedback, filter_type,
    filter_type_lpbp, filter_cutoff, filter_resonance, filter_env_amount, filter_env_attack,
    filter_env_decay, filter_env_sustain, filter_env_release, filter_keytrack_1,
    filter_keytrack_2, amplifier_env_attack, amplifier_env_decay, amplifier_env_sustain,
    amplifier_env_release, pb_range_up, pb_range_down, opts_note_priority, opts_mono_mode,
    opts_revision, opts_mod_pitch_range, opts_mod_shape, opts_mod_cutoff_range,
    opts_osc_keytracking, opts_osc_drift, opts_flt_cutoff_range, opts_flt_resonance_range,
    opts_flt_symmetry, opts_amp_saturation, opts_mains_frequency, fx_active, fx_del_time,
    fx_del_feedback, fx_del_width, fx_del_dry_wet, fx_rev_time, fx_rev_color, fx_rev_width,
    fx_rev_dry_wet, velocity_target, aftertouch_target, modulation_source_1,
    modulation_source_2, modulation_source_3, velocity_amount, aftertouch_amount,
    modwheel_amount, modulation_target_1, modulation_target_2, modulation_target_3,
    opts_osc_1_phase, opts_osc_2_phase, opts_osc_3_phase, opts_osc_3_lo_sync,
};
// clang-format on

/// Default MIDI controller of a host parameter that has none.
inline constexpr int kNoController = 32767;

/// A host parameter: its control and the MIDI controller that moves it from the start.
struct HostParameter {
    int id;
    int defaultCc;
};

/// Host parameters by host index. Only the modulation wheel has a controller of its own.
inline constexpr auto kHostParameters = [] {
    std::array<HostParameter, kNumHostParameters> table{};
    for (const ControlInfo& control : kControls) {
        if (control.isAutomatable())
            table[static_cast<std::size_t>(control.hostIndex)] = {
                control.id, control.id == modwheel ? 1 : kNoController};
    }
    return table;
}();

/// The control with this id, or nullptr. Constant time.
const ControlInfo* findControl(int id) noexcept;
/// The control with this lower-case name, or nullptr.
const ControlInfo* findControl(std::string_view name) noexcept;

/// Row of a control in kStorageOrder, NoParameter if presets do not hold it. Constant time.
int storageRow(int id) noexcept;

/// Control value at normalised 1; 1 for an unknown id. A host's normalised value is multiplied by
/// it in single precision, so that `snapped` meets the step that was meant.
float controlScale(int id) noexcept;

/// Default control value; 0 for controls that no patch stores and for unknown ids.
float defaultValue(int id) noexcept;

bool isSwitch(int id) noexcept;
bool isStepped(int id) noexcept;

/// The whole step that `value`, a number, has reached: truncated after adding 1e-4, which takes
/// back what the rounding of single precision or of six digits in a host has lost. Negative values
/// are in no list: they stay apart from the first step. Limited to plus
/// or minus 1e9, which an int and a float hold.
constexpr int wholeStep(double value) noexcept
{
    return static_cast<int>(std::clamp(value < 0.0 ? value : value + 1e-4, -1e9, 1e9));
}

/// The control value as it is stored: a switch becomes 0 (below 0.5) or 1, a stepped control its
/// whole step, either of them its default if the value is not a number. Continuous controls and
/// unknown ids pass unchanged, whatever the value.
double snapped(int id, double value) noexcept;

} // namespace zephra
