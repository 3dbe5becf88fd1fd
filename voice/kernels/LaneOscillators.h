// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/kernels/LaneVectors.h"
#include "voice/ShapeTables.h"
#include "voice/VoiceLanes.h"
#include "voice/VoiceRates.h"

namespace zephra {
inline namespace ZEPHRA_ISA {

/// One oscillator of a few voices over one control tick. Most ticks pass without an edge in any
/// lane, which is known before the first sample.
template <class F, class State = OscillatorRows<Held<kLanesOf<F>>::template Row>>
struct OscillatorTick : State {
    using I = MaskOf<F>;
    using State::heldNext, State::phase, State::pulseHigh;

    F inc; ///< cycles per voice-rate sample, at most 0.05

    /// A pulse (low up to `threshold`, then high) or a rising ramp, 0..1, one sample late. Each
    /// step is corrected in the two samples around it; a ramp steps at its wrap alone and runs
    /// through the threshold unheard.
    template <bool kPulse> void stepWave(float threshold, F* out) noexcept
    {
        F x[kTick];
        F end = phase;
        for (F& now : x)
            now = end = end + inc;
        const I edge =
            kPulse ? (end >= 1.0f) | ((pulseHigh == 0) & (end >= threshold)) : end >= 1.0f;
        if (any(edge)) {
            for (int i = 0; i < kTick; ++i)
                out[i] = stepSample<kPulse>(threshold);
            return;
        }
        out[0] = heldNext;
        phase = end;
        if constexpr (kPulse) {
            heldNext = convert<F>(pulseHigh);
            for (int i = 1; i < kTick; ++i)
                out[i] = heldNext;
        } else {
            heldNext = end;
            for (int i = 1; i < kTick; ++i)
                out[i] = x[i - 1];
            pulseHigh |= (end >= threshold) & 1;
        }
    }

    /// A ramp -1..1 whose wrap is one straight sample.
    void smoothRamp(F* out) noexcept
    {
        for (int i = 0; i < kTick; ++i) {
            F ramp = 2.0f * phase + inc - 1.0f;
            phase += inc;
            const I wraps = phase >= 1.0f;
            if (any(wraps)) {
                const F wrapped = phase - 1.0f;
                ramp = select(wraps, ramp - 2.0f * wrapped / inc, ramp);
                phase = select(wraps, wrapped, phase);
            }
            out[i] = ramp;
        }
    }

    /// One cycle of 32,768 entries, the last repeated: linear interpolation at the phase, from
    /// entry `offset` on.
    void readShape(const ShapeTables::Table& shape, int offset, F* out) noexcept
    {
        F x = phase;
        for (int i = 0; i < kTick; ++i) {
            const F position = x * 32768.0f;
            const I before = convert<I>(position);
            // 17 bits of fraction
            const I fraction = convert<I>((position - convert<F>(before)) * 131072.0f);
            int index[kLanesOf<F>];
            storeLanes(index, (before + offset) & (ShapeTables::kSteps - 1));
            const EntryPair<F> entry = entriesAt<F>(shape.data(), index);
            out[i] = entry.here +
                     (entry.next - entry.here) * (convert<F>(fraction) * (1.0f / 131072.0f));
            x += inc;
            x = select(x >= 1.0f, x - 1.0f, x);
        }
    }

private:
    /// A step of height 1 is spread over the two samples around it by an order-4 polynomial. With
    /// t the part of a sample that has passed since the step, this is what the sample before gets.
    static F stepNow(F t) noexcept
    {
        const F poly = t * t * t * (1.0f - 0.5f * t); // one half at 1: a step on a sample
        return select(t < 0.0f, F{}, select(t <= 1.0f, poly, F{} + 1.0f));
    }
    /// What the sample after the step lacks of the full height.
    static F stepNext(F t) noexcept { return -stepNow(1.0f - t); }

    template <bool kPulse> F stepSample(float threshold) noexcept
    {
        F x = phase + inc;
        F now = heldNext;
        F next{};
        const I rises = (pulseHigh == 0) & (x >= threshold);
        if (kPulse && any(rises)) {
            const F t = (x - threshold) / inc;
            now = select(rises, now + stepNow(t), now);
            next = select(rises, next + stepNext(t), next);
        }
        pulseHigh |= rises & 1;
        const I wraps = x >= 1.0f; // behind the threshold, then
        if (any(wraps)) {
            x = select(wraps, x - 1.0f, x);
            const F t = x / inc;
            now = select(wraps, now - stepNow(t), now);
            next = select(wraps, next - stepNext(t), next);
            pulseHigh &= ~wraps;
        }
        phase = x;
        heldNext = next + (kPulse ? convert<F>(pulseHigh) : x);
        return now;
    }
};

/// The Early saw charges like a capacitor: the [2/2] Pade form of an exponential bends the ramp
/// 0..1 to about -1.53..+1 after the output map.
template <class F> inline F earlySawBend(F a) noexcept
{
    return 0.735835f * (12.0f + 6.0f * a + a * a) / (12.0f - 6.0f * a + a * a) - 1.0f;
}

} // namespace ZEPHRA_ISA
} // namespace zephra
