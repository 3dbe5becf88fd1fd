// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/AmpEnvelope.h"
#include "voice/FilterEnvelope.h"
#include "voice/kernels/LaneVectors.h"
#include "voice/VoiceRates.h"

namespace zephra {
inline namespace ZEPHRA_ISA {

// Envelopes of all lanes over one control tick. A tick is rendered in the belief that no lane
// changes its stage; if one does, the tick is void, and the lanes go through it one by one.

/// Which lanes are in a stage, and whether any is.
template <class D> struct LanesIn {
    MaskOf<D> mask;
    bool any;

    LanesIn(const Lanes<EnvelopeStage>& stages, int at, EnvelopeStage stage) noexcept
        : mask(convert<MaskOf<D>>(load<Like<D, int>>(stages, at) == static_cast<int>(stage))),
          any(zephra::any(mask))
    {
    }
};

/// The droop's conductance 1 / (1.62 t^1.4) to 20 units of the last place, by Newton's method for
/// t^-0.2 from where the last tick left that (0 at first).
template <class D> struct RoughDroop {
    D root{};

    D at(D t, MaskOf<D> wanted) noexcept
    {
        using F = Like<D, float>;
        using I = Like<D, int>;
        constexpr double kFar = 0.1, kNear = 1e-8; // the error goes down with its square
        D rest = restAt(t);
        if (any(wanted & (magnitude(rest) > kFar))) {
            // The bits of a float are its logarithm, roughly.
            const I bits = __builtin_bit_cast(I, convert<F>(t));
            const I guess = convert<I>(convert<F>(bits) * -0.2f + 1.278e9f);
            root = convert<D>(__builtin_bit_cast(F, guess));
            rest = restAt(t);
        }
        for (int i = 0; i < 5; ++i) {
            root += root * 0.2 * rest;
            if (!any(wanted & (magnitude(rest) > kNear)))
                break;
            rest = restAt(t);
        }
        const D square = root * root;
        return square * square * (square * root) * (1.0 / 1.62);
    }

private:
    D restAt(D t) const noexcept
    {
        const D square = root * root;
        return 1.0 - t * root * (square * square);
    }
};

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
        const double steps = rate.fs8 * FilterEnvelope::kFarads;
        const double fill = 1.0 / rate.decayOhms * (1.0 / steps);
        const D drain = droop * (1.0 / steps);
        // Twice the error of a way, which hardly changes in a tick
        const D error =
            (magnitude(rate.sustain - fltLevel) * fill + magnitude(fltLevel * drain)) * 0x1p-47;
        Mask ends{}, uncertain{};
        for (int i = 0; i < kTick; ++i) {
            if (attacks.any) {
                fltCharge = select(attacks.mask, fltCharge * rate.attack, fltCharge);
                fltLevel = select(attacks.mask, 1.0 - fltCharge, fltLevel);
                ends |= attacks.mask & (fltLevel > 0.5);
                fltOut = select(attacks.mask, fltLevel * fltScale + fltStart, fltOut);
            }
            if (decays.any) {
                D level{};
                if constexpr (kExact) {
                    level = fltLevel +
                            ((rate.sustain - fltLevel) / rate.decayOhms - droop * fltLevel) / steps;
                } else {
                    const D way = (rate.sustain - fltLevel) * fill - fltLevel * drain;
                    level = fltLevel + way;
                    uncertain |= (fltLevel + (way - error)) != (fltLevel + (way + error));
                }
                fltLevel = select(decays.mask, level, fltLevel);
                fltOut = select(decays.mask, level, fltOut);
            }
            if (releases.any)
                fltOut = select(releases.mask, fltOut * release, fltOut);
            out[i] = fltOut;
        }
        if (any(ends))
            return Result::NextStage;
        return any(decays.mask & uncertain) ? Result::Uncertain : Result::Done;
    }

    void keep(FilterEnvelopeLanes& e, int at) const noexcept
    {
        store(e.fltCharge, at, fltCharge);
        store(e.fltLevel, at, fltLevel);
        store(e.fltOut, at, fltOut);
    }
};

/// One control tick of the filter envelopes from lane `at` on; `time` is the running time of their
/// decays.
template <class D>
inline void filterEnvelopeTick(FilterEnvelopeLanes& lanes, int at, const FilterEnvelopeRates& rate,
                               const Lanes<double>& release, D time, RoughDroop<D>& rough,
                               D* out) noexcept
{
    using Tick = FilterEnvelopeTick<D>;
    Tick tick(lanes, at);
    const D roughDroop = tick.decays.any ? rough.at(time, tick.decays.mask) : D{};
    const auto result = tick.template run<false>(rate, load<D>(release, at), roughDroop, out);
    if (result == Tick::Result::Done) {
        tick.keep(lanes, at);
        return;
    }

    double droop[kLanesOf<D>];
    storeTo(droop, time);
    for (int lane = 0; lane < kLanesOf<D>; ++lane)
        droop[lane] = lanes.fltState.data()[at + lane] == EnvelopeStage::Decay
                          ? FilterEnvelope::droopConductance(droop[lane])
                          : 0.0;
    if (result == Tick::Result::Uncertain) {
        Tick again(lanes, at);
        again.template run<true>(rate, load<D>(release, at), loadFrom<D>(droop), out);
        again.keep(lanes, at);
        return;
    }
    double outputs[kTick][kLanesOf<D>];
    for (int lane = 0; lane < kLanesOf<D>; ++lane) {
        const auto l = static_cast<std::size_t>(at + lane);
        FilterEnvelope envelope = lanes.load(l);
        FilterEnvelopeRates own = rate;
        own.release = release.data()[l];
        for (auto& output : outputs) {
            envelope.tick(own, droop[lane]);
            output[lane] = envelope.fltOut;
        }
        lanes.store(l, envelope);
    }
    for (int i = 0; i < kTick; ++i)
        out[i] = loadFrom<D>(outputs[i]);
}

/// One control tick of the amplifier envelopes from lane `at` on. `toPeak` is the
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
    double levels[kTick][kLanesOf<D>];
    for (int i = 0; i < kTick; ++i)
        storeTo(levels[i], sustain[i]);
    for (int lane = 0; lane < kLanesOf<D>; ++lane) {
        const auto l = static_cast<std::size_t>(at + lane);
        AmpEnvelope envelope = lanes.load(l);
        for (auto& now : levels)
            now[lane] = envelope.tick(rate, toPeak.data()[l], now[lane]);
        lanes.store(l, envelope);
    }
    for (int i = 0; i < kTick; ++i)
        out[i] = loadFrom<D>(levels[i]);
    return false;
}

} // namespace ZEPHRA_ISA
} // namespace zephra
