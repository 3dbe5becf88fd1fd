// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/AmpEnvelope.h"
#include "voice/FilterEnvelope.h"
#include "voice/kernels/LaneVectors.h"
#include "voice/VoiceRates.h"

namespace zephra {
inline namespace ZEPHRA_ISA {

// Envelopes of one part of the lanes over one control tick. A tick is rendered in the belief that
// no lane changes its stage; if one does, the tick is void, and the lanes go through it one by
// one.

using Mask = MaskOf<D>;
using TickLevels = double[kTick][kPartLanes];

/// Calls `each` with every part, unrolled.
template <int kParts> inline void eachPart(auto each) noexcept
{
    if constexpr (kParts > 0) {
        eachPart<kParts - 1>(each);
        each(kParts - 1);
    }
}

/// Which lanes of a part are in a stage.
template <class I> inline Mask lanesIn(const I& stages, int part, EnvelopeStage stage) noexcept
{
    return convert<D>(partOf<PartInts>(stages, part)) == static_cast<double>(stage);
}

/// The droop's conductance 1 / (1.62 t^1.4) to 20 units of the last place. `root` is t^-0.2, by
/// Newton's method from where the last tick left it (0 at first).
inline D roughDroop(D t, Mask wanted, D& root) noexcept
{
    constexpr double kFar = 0.1, kNear = 1e-8; // the error goes down with its square
    const auto restOf = [t](D r) { return 1.0 - t * r * (r * r * (r * r)); };
    D rest = restOf(root);
    if (any(wanted & (magnitude(rest) > kFar))) {
        // The bits of a float are its logarithm, roughly.
        const auto bits = __builtin_bit_cast(PartInts, convert<PartFloats>(t));
        const auto guess = convert<PartInts>(convert<PartFloats>(bits) * -0.2f + 1.278e9f);
        root = convert<D>(__builtin_bit_cast(PartFloats, guess));
        rest = restOf(root);
    }
    for (int i = 0; i < 5; ++i) {
        root += root * 0.2 * rest;
        if (!any(wanted & (magnitude(rest) > kNear)))
            break;
        rest = restOf(root);
    }
    const D square = root * root;
    return square * square * (square * root) * (1.0 / 1.62);
}

/// The outputs of the filter envelopes. Divisions are taken as products, and the droop may be
/// rough: where the last bit of a level could depend on that, the tick is void as well. `root` is
/// the memory of the droop.
template <int kParts>
inline void filterEnvelopeTick(FilterEnvelopeRows<Held<kParts * kPartLanes>::template Row>& e,
                               const FilterEnvelopeRates& rate, const D* release, double droopStep,
                               D* root, TickLevels* out) noexcept
{
    const double steps = rate.fs8 * FilterEnvelope::kFarads;
    const double fill = 1.0 / rate.decayOhms * (1.0 / steps);
    Mask attacks[kParts], decays[kParts], releases[kParts], fails[kParts]{};
    bool anyAttacks = false, anyDecays = false, anyReleases = false;
    D charges[kParts], levels[kParts], outputs[kParts];
    D drains[kParts]{}, errors[kParts]; // errors: twice that of a way, which hardly changes
    eachPart<kParts>([&](int p) {
        anyAttacks |= any(attacks[p] = lanesIn(e.fltState, p, EnvelopeStage::Attack));
        anyDecays |= any(decays[p] = lanesIn(e.fltState, p, EnvelopeStage::Decay));
        anyReleases |= any(releases[p] = lanesIn(e.fltState, p, EnvelopeStage::Release));
        charges[p] = e.fltCharge[p];
        const D level = levels[p] = e.fltLevel[p];
        outputs[p] = e.fltOut[p];
        if (any(decays[p]))
            drains[p] = roughDroop(e.droopTime[p], decays[p], root[p]) * (1.0 / steps);
        errors[p] =
            (magnitude(rate.sustain - level) * fill + magnitude(level * drains[p])) * 0x1p-47;
    });
    for (int i = 0; i < kTick; ++i)
        eachPart<kParts>([&](int p) {
            D &charge = charges[p], &level = levels[p], &output = outputs[p];
            if (anyAttacks) {
                charge = select(attacks[p], charge * rate.attack, charge);
                level = select(attacks[p], 1.0 - charge, level);
                fails[p] |= attacks[p] & (level > 0.5);
                output = select(attacks[p], level * e.fltScale[p] + e.fltStart[p], output);
            }
            if (anyDecays) {
                const D way = (rate.sustain - level) * fill - level * drains[p];
                fails[p] |= decays[p] & (level + (way - errors[p]) != level + (way + errors[p]));
                level = select(decays[p], level + way, level);
                output = select(decays[p], level, output);
            }
            if (anyReleases)
                output = select(releases[p], output * release[p], output);
            storeLanes(out[p][i], output);
        });
    for (int p = 0; p < kParts; ++p) {
        if (!any(fails[p])) {
            e.fltCharge[p] = charges[p];
            e.fltLevel[p] = levels[p];
            e.fltOut[p] = outputs[p];
            e.droopTime[p] += droopStep;
            continue;
        }
        for (int lane = 0; lane < kPartLanes; ++lane) {
            const auto l = static_cast<std::size_t>(p * kPartLanes + lane);
            FilterEnvelope envelope = e.load(l);
            FilterEnvelopeRates own = rate;
            own.release = release[p][lane];
            double droop = FilterEnvelope::droopConductance(envelope.droopTime);
            envelope.droopTime += droopStep;
            for (auto& now : out[p]) {
                envelope.tick(own, droop);
                now[lane] = envelope.fltOut;
            }
            e.store(l, envelope);
        }
    }
}

/// The levels of the amplifier envelopes. `toPeak` is the memory of the attack, `sustain` and
/// `sustainStep` the sustain level's walk. True if the levels stood still.
template <class Envelopes>
inline bool ampEnvelopeTick(Envelopes& e, int part, const AmpEnvelopeRates& rate, D& toPeak,
                            D& sustain, D sustainStep, TickLevels& out) noexcept
{
    const Mask attacks = lanesIn(e.ampState, part, EnvelopeStage::Attack);
    const Mask decays = lanesIn(e.ampState, part, EnvelopeStage::Decay);
    const Mask releases = lanesIn(e.ampState, part, EnvelopeStage::Release);
    const Mask moves = attacks | decays | releases;
    const D sustainBefore = sustain;
    if (!any(moves)) {
        for (auto& now : out)
            storeLanes(now, sustain += sustainStep);
        e.ampLevel[part] = e.ampLinear[part] = sustain;
        return all(sustainStep == D{});
    }

    // What a lane multiplies is its level, in the attack its distance from the peak.
    const D factor = select(attacks, everywhere<D>(rate.attack),
                            select(decays, everywhere<D>(rate.decay), everywhere<D>(rate.release)));
    D level = e.ampLevel[part], linear = e.ampLinear[part];
    D moving = select(attacks, toPeak, level);
    Mask fails{};
    for (auto& now : out) {
        sustain += sustainStep;
        fails |= decays & ~(moving > sustain);
        moving *= factor;
        level = select(attacks, 1.0 - moving, select(moves, moving, sustain));
        fails |= attacks & (level > AmpEnvelope::kAttackEnd);
        linear = select(releases, greater(D{}, linear - rate.linearFall), level);
        storeLanes(now, rate.linearRelease ? linear : level);
    }
    if (!any(fails)) {
        e.ampLevel[part] = level;
        e.ampLinear[part] = linear;
        toPeak = select(attacks, moving, toPeak);
        return false;
    }
    for (int lane = 0; lane < kPartLanes; ++lane) {
        const auto l = static_cast<std::size_t>(part * kPartLanes + lane);
        AmpEnvelope envelope = e.load(l);
        double peak = toPeak[lane], goal = sustainBefore[lane];
        for (auto& now : out)
            now[lane] = envelope.tick(rate, peak, goal += sustainStep[lane]);
        toPeak[lane] = peak;
        e.store(l, envelope);
    }
    return false;
}

} // namespace ZEPHRA_ISA
} // namespace zephra
