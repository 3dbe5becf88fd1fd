// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"

#include <array>

namespace zephra {

/// Where every control has put the engine: written by setControl on any thread, read once per
/// sub-block by the audio thread. Units and ranges as in EngineValues, which follows them.
struct EngineTargets {
    Shared<int> revision{0};
    Shared<bool> notePriorityLast{true};
    Shared<bool> monoRetrig{false};

    Shared<double> glideRate{0.0};
    Shared<double> unisonSpread{0.0};
    Shared<float> unisonDetune{0.0f};
    Shared<double> coarseFactor{1.0};
    Shared<double> fineFactor{1.0};
    Shared<int> bendRangeUp{0}, bendRangeDown{0};
    Shared<double> oscKeytrackSlope{2.0};
    Shared<double> oscDrift{0.0};

    std::array<Shared<int>, 3> oscWave{};
    std::array<Shared<int>, 3> oscRange{};
    std::array<Shared<float>, 3> oscSemi{};
    std::array<Shared<float>, 3> oscFine{};
    std::array<Shared<float>, 3> oscStartPhase{};
    std::array<Shared<bool>, 3> oscActive{};
    Shared<bool> osc3KeyTrack{false};
    Shared<bool> osc3LoSync{false};
    Shared<double> osc3FixedRate{0.0};
    Shared<float> osc3SemiNorm{0.0f}; ///< 0..1, selects the sync length

    std::array<Shared<float>, 3> mixLevel{};
    Shared<float> noiseLevel{0.0f};
    Shared<bool> noiseIsPink{true};
    Shared<float> drive{0.0f};
    Shared<float> feedback{0.0f};
    Shared<float> filterInput{0.0f};

    Shared<bool> filter24dB{true};
    Shared<bool> filterBandPass{false};
    Shared<float> cutoff{0.0f};
    Shared<float> cutoffRangeFactor{1.0f};
    Shared<float> resonance{0.0f};
    Shared<float> resonanceRange{5.0f};
    Shared<bool> keytrack1{false}, keytrack2{false};
    Shared<float> symmetry{0.0f};
    Shared<float> saturation{0.0f};

    Shared<float> filterEnvAmount{0.0f};
    Shared<double> filterAttack{0.0};
    Shared<double> filterDecay{0.003};
    Shared<double> filterSustain{0.0};
    Shared<double> filterRelease{0.003};
    Shared<double> filterAttackSeconds{0.0009};
    Shared<float> filterAttackNorm{0.0f};
    Shared<float> filterReleaseNorm{0.0f};

    Shared<double> ampAttack{0.0};
    Shared<double> ampDecay{0.0};
    Shared<double> ampSustain{0.0};
    Shared<double> ampRelease{0.0};
    Shared<double> ampReleaseMs{2.5};
    Shared<float> ampReleaseNorm{0.0f};

    struct Slot {
        Shared<int> source{0};
        Shared<float> amount{0.0f};
        Shared<int> target{0};
    };
    std::array<Slot, 3> modSlots{};
    Shared<float> modulationMix{0.0f};
    Shared<bool> modOscOn{false}, modFltOn{false};
    Shared<float> modPitchRange{1.0f};
    Shared<float> modCutoffRange{1.0f};
    Shared<float> modShape{0.0f};

    Shared<float> outVolume{0.25f};
    Shared<bool> mains50Hz{true};
};

} // namespace zephra
