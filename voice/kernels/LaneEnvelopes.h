// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/AmpEnvelope.h"
#include "voice/FilterEnvelope.h"
#include "voice/kernels/LaneVectors.h"
#include "voice/VoiceRates.h"

namespace zephra {
inline namespace ZEPHRA_ISA {

// Envelopes of a few voices over one control tick. A tick is rendered in the belief that no lane
// changes its stage; if one does, the tick is void, and the lanes go through it one by one.

/// Which lanes are in a stage, as masks, and whether any is.
template <class D> struct LanesIn {
    MaskOf<D> mask;
    bool any;

    LanesIn(const Lanes<EnvelopeStage>& stages, int at, EnvelopeStage stage) noexcept
        : mask(convert<MaskOf<D>>(load<Vector<int, kLanesOf<D>>>(stages, at) ==
                                  static_cast<int>(stage))),
          any(zephra::any(mask))
    {
    }
};

/// 1 / (1.62 t^1.4), to 20 units of the last place, for t >= 1 that single precision can hold:
/// by Newton's method for t^-0.2, from the logarithm that the exponent of t is.
template <class D> inline D roughDroopConductance(D t) noexcept
{
    using F = Vector<float, kLanesOf<D>>;
    using I = Vector<int, kLanesOf<D>>;
    const F guess = convert<F>((I)convert<F>(t)) * -0.2f + 1.278e9f;
    D z = convert<D>((F)convert<I>(guess));
    for (int i = 0; i < 4; ++i) {
        const D z2 = z * z;
        z += z * 0.2 * (1.0 - t * z * (z2 * z2));
    }
    const D z2 = z * z;
    return z2 * z2 * (z2 * z) * (1.0 / 1.62);
}

template <class D> struct FilterEnvelopeTick {
    using Mask = MaskOf<D>;

    D fltCharge, fltLevel, fltOut;
    D fltStart, fltScale;
    LanesIn<D> attacks, decays, releases;

    FilterEnvelopeTick(const FilterEnvelopeLanes& e, int at) noexcept
        : fltCharge(load<D>(e.fltCharge, at)), fltLevel(load<D>(e.fltLevel, at)),
          fltOut(load<D>(e.fltOut, at)), fltStart(load<D>(e.fltStart, at)),
          fltScale(load<D>(e.fltScale, at)), attacks(e.fltState, at, EnvelopeStage::Attack),
          decays(e.fltState, at, EnvelopeStage::Decay),
          releases(e.fltState, at, EnvelopeStage::Release)
    {
    }

    enum class Result { Done, Uncertain, NextStage };

    /// The eight outputs. `droop` is the conductance of this tick. If not kExact, divisions are
    /// taken as products and the droop may be rough; where the last bit of a level could depend
    /// on that, the result is Uncertain.
    template <bool kExact>
    Result run(const FilterEnvelopeRates& rate, D release, D droop, D* out) noexcept
    {
        constexpr double kError = 0x1p-47; // of what goes into the capacitor
        const double steps = rate.fs8 * FilterEnvelope::kFarads;
        const double perOhm = 1.0 / rate.decayOhms, perStep = 1.0 / steps;
        Mask ends{}, uncertain{};
        for (int i = 0; i < kTick; ++i) {
            if (attacks.any) {
                fltCharge = select(attacks.mask, fltCharge * rate.attack, fltCharge);
                fltLevel = select(attacks.mask, 1.0 - fltCharge, fltLevel);
                ends |= attacks.mask & (fltLevel > 0.5);
                fltOut = select(attacks.mask, fltLevel * fltScale + fltStart, fltOut);
            }
            if (decays.any) {
                D level;
                if constexpr (kExact) {
                    level = fltLevel +
                            ((rate.sustain - fltLevel) / rate.decayOhms - droop * fltLevel) / steps;
                } else {
                    const D in = (rate.sustain - fltLevel) * perOhm;
                    const D drain = droop * fltLevel;
                    const D way = (in - drain) * perStep;
                    const D error = (magnitude(in) + magnitude(drain)) * (kError * perStep);
                    level = fltLevel + (way - error);
                    uncertain |= decays.mask & (level != fltLevel + (way + error));
                }
                fltLevel = select(decays.mask, level, fltLevel);
                fltOut = select(decays.mask, level, fltOut);
            }
            if (releases.any)
                fltOut = select(releases.mask, fltOut * release, fltOut);
            out[i] = fltOut;
        }
        return any(ends) ? Result::NextStage : any(uncertain) ? Result::Uncertain : Result::Done;
    }

    void storeTo(FilterEnvelopeLanes& e, int at) const noexcept
    {
        store(e.fltCharge, at, fltCharge);
        store(e.fltLevel, at, fltLevel);
        store(e.fltOut, at, fltOut);
    }
};

/// One control tick of the filter envelopes of a few voices from lane `at` on; `time` is the
/// running time of their decays.
template <class D>
inline void filterEnvelopeTick(FilterEnvelopeLanes& lanes, int at, const FilterEnvelopeRates& rate,
                               const Lanes<double>& release, D time, D* out) noexcept
{
    using Tick = FilterEnvelopeTick<D>;
    const Tick start(lanes, at);
    Tick tick = start;
    const D rough = start.decays.any ? roughDroopConductance(time) : D{};
    auto result = tick.template run<false>(rate, load<D>(release, at), rough, out);
    if (result == Tick::Result::Done) {
        tick.storeTo(lanes, at);
        return;
    }

    D droop{};
    for (int lane = 0; lane < kLanesOf<D>; ++lane)
        if (start.decays.mask[lane] != 0)
            droop[lane] = FilterEnvelope::droopConductance(time[lane]);
    if (result == Tick::Result::Uncertain) {
        tick = start;
        tick.template run<true>(rate, load<D>(release, at), droop, out);
        tick.storeTo(lanes, at);
        return;
    }
    for (int lane = 0; lane < kLanesOf<D>; ++lane) {
        const auto l = static_cast<std::size_t>(at + lane);
        FilterEnvelope envelope = lanes.load(l);
        FilterEnvelopeRates own = rate;
        own.release = release.data()[l];
        double conductance = droop[lane];
        for (int i = 0; i < kTick; ++i) {
            envelope.tick(own, conductance);
            out[i][lane] = envelope.fltOut;
        }
        lanes.store(l, envelope);
    }
}

/// One control tick of the amplifier envelopes of a few voices from lane `at` on. `toPeak` is the
/// memory of the attack, `sustain` and `sustainStep` the sustain level's walk. True if the level
/// stood still.
template <class D>
inline bool ampEnvelopeTick(AmpEnvelopeLanes& lanes, int at, const AmpEnvelopeRates& rate,
                            Lanes<double>& toPeak, Lanes<double>& sustainWalk, D sustainStep,
                            D* out) noexcept
{
    using Mask = MaskOf<D>;
    const LanesIn<D> attacks(lanes.ampState, at, EnvelopeStage::Attack);
    const LanesIn<D> decays(lanes.ampState, at, EnvelopeStage::Decay);
    const LanesIn<D> releases(lanes.ampState, at, EnvelopeStage::Release);
    D sustain[kTick];
    D walk = load<D>(sustainWalk, at);
    for (D& now : sustain)
        now = walk = walk + sustainStep;
    store(sustainWalk, at, walk);

    if (!attacks.any && !decays.any && !releases.any) {
        for (int i = 0; i < kTick; ++i)
            out[i] = sustain[i];
        store(lanes.ampLevel, at, walk);
        store(lanes.ampLinear, at, walk);
        return all(sustainStep == D{});
    }

    // What a lane multiplies is its level, in the attack its distance from the peak.
    const Mask moves = attacks.mask | decays.mask | releases.mask;
    const D one = D{} + 1.0;
    const D factor = select(
        attacks.mask, one * rate.attack,
        select(decays.mask, one * rate.decay, select(releases.mask, one * rate.release, one)));
    D level = load<D>(lanes.ampLevel, at);
    D linear = load<D>(lanes.ampLinear, at);
    D moving = select(attacks.mask, load<D>(toPeak, at), level);
    Mask ends{};
    for (int i = 0; i < kTick; ++i) {
        ends |= decays.mask & ~(moving > sustain[i]);
        moving *= factor;
        level = select(attacks.mask, 1.0 - moving, select(moves, moving, sustain[i]));
        ends |= attacks.mask & (level > AmpEnvelope::kAttackEnd);
        linear = select(releases.mask, greater(D{}, linear - rate.linearFall), level);
        out[i] = rate.linearRelease ? linear : level;
    }
    if (!any(ends)) {
        store(lanes.ampLevel, at, level);
        store(lanes.ampLinear, at, linear);
        store(toPeak, at, select(attacks.mask, moving, load<D>(toPeak, at)));
        return false;
    }
    for (int lane = 0; lane < kLanesOf<D>; ++lane) {
        const auto l = static_cast<std::size_t>(at + lane);
        AmpEnvelope envelope = lanes.load(l);
        for (int i = 0; i < kTick; ++i)
            out[i][lane] = envelope.tick(rate, toPeak.data()[l], sustain[i][lane]);
        lanes.store(l, envelope);
    }
    return false;
}

} // namespace ZEPHRA_ISA
} // namespace zephra
