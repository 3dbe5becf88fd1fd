// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/Smoothers.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zephra {

namespace {

/// An integer code from outside, limited to the enum's range 0..last.
template <class E> E limited(int code, int last) noexcept
{
    return static_cast<E>(std::clamp(code, 0, last));
}

void copyStepped(EngineValues& v, const EngineTargets& t) noexcept
{
    v.revision = t.revision != 0 ? Revision::Early : Revision::Late;
    v.notePriorityLast = t.notePriorityLast;
    v.monoRetrig = t.monoRetrig;

    v.glideRate = t.glideRate;
    v.unisonDetune = t.unisonDetune;
    v.coarseFactor = t.coarseFactor;
    v.bendRangeUp = t.bendRangeUp;
    v.bendRangeDown = t.bendRangeDown;
    v.oscKeytrackSlope = t.oscKeytrackSlope;
    v.oscDrift = t.oscDrift;

    for (std::size_t k = 0; k < 3; ++k) {
        v.oscWave[k] = limited<Wave>(t.oscWave[k], 6);
        v.oscRange[k] = std::clamp(t.oscRange[k].get(), 0, 5);
        v.oscFine[k] = t.oscFine[k];
        v.oscStartPhase[k] = t.oscStartPhase[k];
        v.modSlots[k] = {limited<ModSource>(t.modSlots[k].source, 6), t.modSlots[k].amount,
                         limited<ModTarget>(t.modSlots[k].target, 4)};
    }
    v.osc3KeyTrack = t.osc3KeyTrack;
    v.osc3LoSync = t.osc3LoSync;
    v.osc3FixedRate = t.osc3FixedRate;

    v.noiseIsPink = t.noiseIsPink;
    v.filter24dB = t.filter24dB;
    v.filterBandPass = t.filterBandPass;
    v.cutoffRangeFactor = t.cutoffRangeFactor;
    v.resonanceRange = t.resonanceRange;
    v.filterAttackSeconds = t.filterAttackSeconds;
    v.filterAttackNorm = t.filterAttackNorm;
    v.filterReleaseNorm = t.filterReleaseNorm;
    v.ampReleaseMs = t.ampReleaseMs;
    v.ampReleaseNorm = t.ampReleaseNorm;

    v.modulationMix = t.modulationMix;
    v.modOscOn = t.modOscOn;
    v.modFltOn = t.modFltOn;
    v.modPitchRange = t.modPitchRange;
    v.modCutoffRange = t.modCutoffRange;
    v.modShape = t.modShape;
    v.mains50Hz = t.mains50Hz;
}

/// Hands every smoothed value with its target to `toward(value, target, zeroBelow)`; a negative
/// threshold never holds.
template <class F>
void forEachSmoothed(EngineValues& v, const EngineTargets& t, double aftertouchLast, F toward)
{
    constexpr float kLevelZero = 1e-5f;
    constexpr double kEnvelopeZero = 1e-7;
    constexpr float kNever = -1e30f;

    toward(v.cutoff, t.cutoff.get(), kLevelZero);
    toward(v.resonance, t.resonance.get(), kLevelZero);
    toward(v.filterEnvAmount, t.filterEnvAmount.get(), kLevelZero);
    toward(v.keytrack, (t.keytrack1 ? 0.33333f : 0.0f) + (t.keytrack2 ? 0.66667f : 0.0f),
           kLevelZero);
    toward(v.drive, t.drive.get(), kLevelZero);

    toward(v.filterAttack, t.filterAttack.get(), kEnvelopeZero);
    toward(v.filterDecay, t.filterDecay.get(), kEnvelopeZero);
    toward(v.filterSustain, t.filterSustain.get(), kEnvelopeZero);
    toward(v.filterRelease, t.filterRelease.get(), kEnvelopeZero);
    toward(v.ampAttack, t.ampAttack.get(), kEnvelopeZero);
    toward(v.ampDecay, t.ampDecay.get(), kEnvelopeZero);
    toward(v.ampSustain, t.ampSustain.get(), kEnvelopeZero);
    toward(v.ampRelease, t.ampRelease.get(), kEnvelopeZero);

    toward(v.fineFactor, t.fineFactor.get(), static_cast<double>(kNever));
    for (std::size_t k = 0; k < 3; ++k) {
        toward(v.oscSemi[k], t.oscSemi[k].get(), kNever);
        if (std::fabs(v.oscSemi[k]) < 1e-6f)
            v.oscSemi[k] = 0.0f;
        toward(v.mixLevel[k], t.oscActive[k] ? t.mixLevel[k].get() : 0.0f, kLevelZero);
    }
    toward(v.noiseLevel, t.noiseLevel.get(), kLevelZero);
    toward(v.filterInput, t.filterInput.get(), kNever);
    toward(v.saturation, t.saturation.get(), kLevelZero);
    toward(v.symmetry, t.symmetry.get(), kNever);
    toward(v.feedback, t.feedback.get(), kLevelZero);
    toward(v.unisonSpread, t.unisonSpread.get(), static_cast<double>(kNever));
    toward(v.monoAftertouch, static_cast<float>(aftertouchLast), kNever);
}

} // namespace

bool stepSmoothers(EngineValues& values, const EngineTargets& targets, double aftertouchLast,
                   float k) noexcept
{
    copyStepped(values, targets);
    bool moved = false;
    forEachSmoothed(values, targets, aftertouchLast, [&](auto& x, auto target, auto zeroBelow) {
        const auto before = x;
        x += (target - x) * k;
        if (x < zeroBelow)
            x = 0;
        moved |= x != before;
    });
    return moved;
}

void snapSmoothedValues(EngineValues& values, EngineTargets& targets,
                        double aftertouchLast) noexcept
{
    for (Shared<double>* target :
         {&targets.filterAttack, &targets.filterDecay, &targets.filterSustain,
          &targets.filterRelease, &targets.ampAttack, &targets.ampDecay, &targets.ampSustain,
          &targets.ampRelease})
        if (*target <= 1e-7)
            *target = 0.0;
    copyStepped(values, targets);
    forEachSmoothed(values, targets, aftertouchLast,
                    [](auto& x, auto target, auto) { x = target; });
}

} // namespace zephra
