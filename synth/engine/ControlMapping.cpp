// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControlMapping.h"

#include "common/Maths.h"
#include "controls/ControlTable.h"
#include "voice/VoiceRates.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zephra {

namespace {

/// Factor per sample of an exponential that falls to `base` within lo..hi milliseconds by x.
double envRate(double x, double lo, double hi, double base, double fs8) noexcept
{
    const double ms = lo * std::exp(x * std::log(hi / lo));
    return std::pow(base, 1000.0 / (ms * fs8));
}

/// Quarter, half, plain, double, fourfold frequency.
double coarseFactorOf(int step) noexcept
{
    switch (step) {
    case 0: return 0.25;
    case 1: return 0.5;
    case 2: return 1.0;
    case 3: return 2.0;
    default: return 4.0;
    }
}

constexpr double kShortestAmpFallMs = 2.5;
constexpr double kLongestAmpFallMs = 36000.0;

} // namespace

double attackSeconds(double v) noexcept
{
    struct Knot {
        double x, seconds;
    };
    constexpr std::array<Knot, 10> kKnots = {{{0, 0.0009},
                                              {0.15, 0.01},
                                              {0.3, 0.086},
                                              {0.4, 0.212},
                                              {0.5, 0.6},
                                              {0.6276, 1.5},
                                              {0.75, 3.54},
                                              {0.87, 8.1},
                                              {0.999, 12.0},
                                              {1.01, 12.0}}};
    std::size_t i = kKnots.size() - 2;
    while (i > 0 && kKnots[i].x > v)
        --i;
    const Knot& a = kKnots[i];
    const Knot& b = kKnots[i + 1];
    return a.seconds + (b.seconds - a.seconds) * ((v - a.x) / (b.x - a.x));
}

double decaySeconds(double v) noexcept
{
    // 0 = 3 ms, 0.5 = 3.72 s, 1 = 45.78 s
    return static_cast<double>(v < 0.5 ? expMap(2.0 * v, 0.003f, 3.72f)
                                       : expMap(2.0 * (v - 0.5), 3.72f, 45.78f));
}

double ampAttackCoeff(double v, double fs8) noexcept
{
    // to 0.8 of the way within 1.35 ms at 0, 17 s at 1
    return envRate(std::sqrt(v), 1.35, 17000.0, 0.2, fs8);
}

double ampDecayCoeff(double v, double fs8) noexcept
{
    // -20 dB within 2.5 ms at 0, 90 ms at 0.2, 36 s at 1
    if (v >= 0.2)
        return envRate(std::pow(v, 0.61), kShortestAmpFallMs, kLongestAmpFallMs, 0.1, fs8);
    const double bend = static_cast<double>(expMap(0.3746522, 2.5f, 36000.0f));
    return envRate(5.0 * v, kShortestAmpFallMs, bend, 0.1, fs8);
}

float resonanceOf(double v) noexcept
{
    // 0.6 = 0.6 in both pieces, 1 = 1
    constexpr double kSlope = 1.7745966692414836;
    constexpr double kOffset = 0.7745966692414836;
    const double r = v < 0.6 ? v * v * v / 0.36 : std::min(1.0, std::sqrt(v) * kSlope - kOffset);
    return static_cast<float>(r);
}

double intake(int id, double value) noexcept
{
    const ControlInfo* info = findControl(id);
    if (info == nullptr)
        return 0.0;
    if (std::isnan(value))
        value = static_cast<double>(defaultValue(id));
    if (info->kind == ControlKind::Continuous)
        return std::clamp(value, 0.0, 1.0);
    return std::trunc(std::clamp(value, -2147483648.0, 2147483647.0));
}

void mapControl(EngineTargets& t, int id, double v, double fs, bool volumeDoubled) noexcept
{
    const double fs8 = fs * kOversampling;
    const auto f = static_cast<float>(v);
    const auto whole = static_cast<int>(v);
    const bool on = whole != 0;

    switch (id) {
    case controls_glide: // 0 = 10000 st/s, 1 = 10 st/s
        t.glideRate = geometricMap((1.0 - v) * (1.0 - v), 10.0, 10000.0) / fs;
        break;
    case controls_modulation_mix: t.modulationMix = f; break;
    case controls_osc_modulation_sw: t.modOscOn = on; break;
    case controls_filter_modulation_sw: t.modFltOn = on; break;
    case volume: // 0.5 = 0.5025
        t.outVolume = static_cast<float>(2.01 * v * v * (volumeDoubled ? 2.0 : 1.0));
        break;
    case unison_spread: t.unisonSpread = v + 1e-5; break;
    case unison_detune: t.unisonDetune = f; break;
    case tuning_coarse: t.coarseFactor = coarseFactorOf(whole); break;
    case tuning_fine: t.fineFactor = std::pow(2.0, (2.0 * v - 1.0) / 12.0); break;

    case osc_1_waveform: t.oscWave[0] = whole; break;
    case osc_2_waveform: t.oscWave[1] = whole; break;
    case osc_3_waveform: t.oscWave[2] = whole; break;
    case osc_1_range: t.oscRange[0] = whole; break;
    case osc_2_range: t.oscRange[1] = whole; break;
    case osc_3_range: t.oscRange[2] = whole; break;
    case osc_1_semi: t.oscSemi[0] = static_cast<float>(14.0 * v - 7.0); break;
    case osc_2_semi: t.oscSemi[1] = static_cast<float>(14.0 * v - 7.0); break;
    case osc_3_semi: // as fixed rate: 0 = 0.312 Hz, 1 = 15.8 Hz in range "LO"
        t.oscSemi[2] = static_cast<float>(14.0 * v - 7.0);
        t.osc3SemiNorm = f;
        t.osc3FixedRate = static_cast<double>(expMap(v, 0.3121616f, 15.7998686f)) / fs8;
        break;
    case osc_1_fine: t.oscFine[0] = static_cast<float>(v - 0.5); break;
    case osc_2_fine: t.oscFine[1] = static_cast<float>(v - 0.5); break;
    case osc_3_fine: t.oscFine[2] = static_cast<float>(v - 0.5); break;
    case osc_1_active: t.oscActive[0] = on; break;
    case osc_2_active: t.oscActive[1] = on; break;
    case osc_3_active: t.oscActive[2] = on; break;
    case osc_3_ktrk: t.osc3KeyTrack = on; break;
    case opts_osc_1_phase: t.oscStartPhase[0] = f; break;
    case opts_osc_2_phase: t.oscStartPhase[1] = f; break;
    case opts_osc_3_phase: t.oscStartPhase[2] = f; break;
    case opts_osc_3_lo_sync: t.osc3LoSync = on; break;

    case mixer_osc_1: t.mixLevel[0] = f; break;
    case mixer_osc_2: t.mixLevel[1] = f; break;
    case mixer_osc_3: t.mixLevel[2] = f; break;
    case mixer_noise: t.noiseLevel = f; break;
    case mixer_noise_type_sw: t.noiseIsPink = !on; break;
    case mixer_drive: t.drive = f; break;
    case mixer_feedback: t.feedback = 8.0f * f; break;
    case filter_input_volume: t.filterInput = 8.0f * f + 0.001f; break;

    case filter_type: t.filter24dB = whole == 1; break;
    case filter_type_lpbp: t.filterBandPass = whole == 1; break;
    case filter_cutoff: t.cutoff = static_cast<float>(0.952 * v); break;
    case filter_resonance: t.resonance = resonanceOf(v); break;
    case filter_keytrack_1: t.keytrack1 = on; break;
    case filter_keytrack_2: t.keytrack2 = on; break;
    case opts_flt_cutoff_range: t.cutoffRangeFactor = expMap(v, 0.95238096f, 1.05f); break;
    case opts_flt_resonance_range: t.resonanceRange = static_cast<float>(v + 5.0); break;
    case opts_flt_symmetry: t.symmetry = static_cast<float>((v - 0.5) * 0.2); break;
    case opts_amp_saturation: t.saturation = f; break;

    case filter_env_amount: t.filterEnvAmount = f; break;
    case filter_env_attack:
        t.filterAttackNorm = f;
        t.filterAttackSeconds = attackSeconds(v);
        t.filterAttack = std::pow(0.5, 1.0 / (attackSeconds(v) * fs8));
        break;
    case filter_env_decay: t.filterDecay = decaySeconds(v); break;
    case filter_env_sustain: t.filterSustain = 0.992 * v + 0.035; break;
    case filter_env_release:
        t.filterReleaseNorm = f;
        t.filterRelease = decaySeconds(v);
        break;

    case amplifier_env_attack: t.ampAttack = ampAttackCoeff(v, fs8); break;
    case amplifier_env_decay: t.ampDecay = ampDecayCoeff(v, fs8); break;
    case amplifier_env_sustain: t.ampSustain = v; break;
    case amplifier_env_release:
        t.ampRelease = ampDecayCoeff(v, fs8);
        t.ampReleaseNorm = f;
        t.ampReleaseMs = static_cast<double>(expMap(v, 2.5f, 36000.0f));
        break;

    case pb_range_up: t.bendRangeUp = whole; break;
    case pb_range_down: t.bendRangeDown = whole; break;
    case opts_note_priority: t.notePriorityLast = on; break;
    case opts_mono_mode: t.monoRetrig = on; break;
    case opts_revision: t.revision = on ? 1 : 0; break;
    case opts_mains_frequency: t.mains50Hz = whole == 1; break;
    case opts_mod_pitch_range: t.modPitchRange = expMap(v, 0.5f, 2.0f); break;
    case opts_mod_cutoff_range: t.modCutoffRange = expMap(v, 0.5f, 2.0f); break;
    case opts_mod_shape: t.modShape = f; break;
    case opts_osc_keytracking: // 0.5 = 2, equal temperament
        t.oscKeytrackSlope = 2.0 * 0.0056297779083252 * v + 1.9943702220916748;
        break;
    case opts_osc_drift: t.oscDrift = 0.0025 * v; break;

    case velocity_amount: t.modSlots[0].amount = f; break;
    case aftertouch_amount: t.modSlots[1].amount = f; break;
    case modwheel_amount: t.modSlots[2].amount = f; break;
    case modulation_source_1: t.modSlots[0].source = whole; break;
    case modulation_source_2: t.modSlots[1].source = whole; break;
    case modulation_source_3: t.modSlots[2].source = whole; break;
    case modulation_target_1: t.modSlots[0].target = whole; break;
    case modulation_target_2: t.modSlots[1].target = whole; break;
    case modulation_target_3: t.modSlots[2].target = whole; break;
    default: break;
    }
}

} // namespace zephra
