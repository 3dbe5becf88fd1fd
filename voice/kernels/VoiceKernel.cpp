// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/kernels/VoiceKernel.h"

#include "voice/kernels/LaneEnvelopes.h"
#include "voice/kernels/LaneOscillators.h"
#include "voice/kernels/LaneVectors.h"
#include "voice/Pitch.h"

#include <cmath>
#include <limits>

namespace zephra {
inline namespace ZEPHRA_ISA {
namespace {

/// Cutoff units: 256 entries of the cutoff table a semitone, 32,726 for the whole range.
constexpr double kCutoffPerSemitone = 256.0 / 32726.0;
constexpr double kKeytrackCentre = 31.0; ///< note that keytracking leaves where it is

/// Semitones per unit of modSignal at range 1: oscillator 3, 0.14 high, swings six.
constexpr double kModSemitones = 42.86;

/// Brings the half-range attack of the filter envelope to nearly full.
template <Revision kRevision>
constexpr double kFilterEnvelopeScale = 0.98293781 * (kRevision == Revision::Early ? 0.93 : 0.88) *
                                        2.0;

/// A value that walks linearly from where the last stretch left it to this stretch's target.
template <class T> class Walk {
public:
    Walk(Lanes<T>& carried, const Lanes<T>& end, int count) noexcept
        : state(carried), value(carried), target(end)
    {
        for (int lane = 0; lane < kVoices; ++lane)
            step.data()[lane] = (end.data()[lane] - carried.data()[lane]) / static_cast<T>(count);
    }
    Walk(Lanes<T>& carried, T end, int count) noexcept : Walk(carried, everywhere(end), count) {}
    ~Walk() { state = target; } // exactly, whatever the sum of the steps
    Walk(const Walk&) = delete;
    Walk& operator=(const Walk&) = delete;

    template <class V> V at(int lane) const noexcept { return load<V>(value, lane); }
    template <class V> V stepAt(int lane) const noexcept { return load<V>(step, lane); }
    template <class V> void moveTo(int lane, V to) noexcept { store(value, lane, to); }
    Lanes<T>& values() noexcept { return value; }

private:
    static Lanes<T> everywhere(T x) noexcept
    {
        Lanes<T> all{};
        for (int lane = 0; lane < kVoices; ++lane)
            all.data()[lane] = x;
        return all;
    }

    Lanes<T>& state;
    Lanes<T> value;
    Lanes<T> target;
    Lanes<T> step{};
};

/// Renders kLanes voices, from the lane `first` on, one control tick after the other. Each tick
/// goes through in passes; what one pass leaves to the next lies in small buffers.
template <int kLanes, Revision kRevision> class Renderer {
    using F = Vector<float, kLanes>;
    using I = MaskOf<F>;
    using U = Vector<std::uint32_t, kLanes>;
    using D = Vector<double, kLanes>;
    using FloatsOfD = Like<D, float>;
    using IntsOfD = Like<D, int>;

public:
    Renderer(const VoiceStretch& stretch, VoiceLanes& voiceLanes, const LanePlace& target) noexcept
        : s(stretch), values(*stretch.values), rates(*stretch.rates), lanes(voiceLanes),
          at(target.first), place(target), gain1(lanes.gain.data()[0], s.gain.data()[0], s.count),
          gain2(lanes.gain.data()[1], s.gain.data()[1], s.count),
          gain3(lanes.gain.data()[2], s.gain.data()[2], s.count),
          volMod(lanes.volMod, s.volume, s.count), cutBase(lanes.cutBase, s.cutoff, s.count),
          envSum(lanes.envSum, s.env, s.count), sustain(lanes.sustainRamp, s.ampSustain, s.count),
          seed(s.noiseSeed)
    {
        inc[2] = s.fixedIncrement;
        store(toPeak, at, 1.0 - load<D>(lanes.ampEnvelope.ampLevel, at));
    }

    void render() noexcept
    {
        for (int tick = 0; tick < s.count / kTick; ++tick) {
            followPitch();
            followModulation();
            for (int k = 0; k < 3; ++k)
                oscillator(k);
            envelopes();
            mix(place.frames + tick * kTick * 4 * place.frameLanes + at);
        }
        finish();
    }

private:
    /// Glide, bend, drift and from these the increments.
    void followPitch() noexcept
    {
        const D from = load<D>(lanes.glidePitch, at), note = load<D>(s.note, at);
        const D down = from - values.glideRate;
        const D glided = select(down > note, down, smaller(from + 2.0 * values.glideRate, note));
        store(lanes.glidePitch, at, glided);
        const double keytrack = static_cast<double>(values.keytrack) * kCutoffPerSemitone;
        store(keyed, at, convert<FloatsOfD>((glided - kKeytrackCentre) * keytrack));
        drift();
        D bend = load<D>(lanes.bendSmooth, at);
        bend += (load<D>(s.bend, at) - bend) * rates.bend;
        store(lanes.bendSmooth, at, bend);

        D pitch = glided + bend;
        if (values.modOscOn)
            pitch += convert<D>(load<FloatsOfD>(lanes.modSignal, at)) * kModSemitones *
                     convert<D>(load<FloatsOfD>(lanes.modAmount, at)) *
                     static_cast<double>(values.modPitchRange);
        if (any(pitch != lastPitch)) {
            lastPitch = pitch;
            double ratios[kLanes];
            storeTo(ratios, pitch);
            for (double& r : ratios)
                r = std::pow(values.oscKeytrackSlope, r / 12.0);
            ratio = loadFrom<D>(ratios);
        }
        const D drift1 = load<D>(lanes.drift.drift1, at) * values.oscDrift;
        const D drift2 = load<D>(lanes.drift.drift2, at) * values.oscDrift;
        // Kept: oscillators 2 and 3 drift in opposite directions.
        increment(0, 1.0 + drift1);
        increment(1, 1.0 - drift2);
        if (values.osc3KeyTrack)
            increment(2, 1.0 + drift2);
    }

    void increment(int k, D drifted) noexcept
    {
        const D x = load<D>(s.base.data()[k], at) * ratio * drifted;
        store(inc[k], at, convert<FloatsOfD>(smaller(x, D{} + kMaxIncrement)));
    }

    /// Walkers of which none arrives go on without being looked at one by one.
    void drift() noexcept
    {
        DriftLanes& d = lanes.drift;
        const D step = D{} + rates.driftStep;
        const D p1 = load<D>(d.drift1, at), t1 = load<D>(d.driftTarget1, at);
        const D p2 = load<D>(d.drift2, at), t2 = load<D>(d.driftTarget2, at);
        if (any((magnitude(p1 - t1) <= step) | (magnitude(p2 - t2) <= step))) {
            for (int lane = at; lane < at + kLanes; ++lane) {
                const auto l = static_cast<std::size_t>(lane);
                DriftState walkers = d.load(l);
                walkers.tick(lanes.random.data()[lane], rates.driftStep);
                d.store(l, walkers);
            }
            return;
        }
        store(d.drift1, at, p1 + select(p1 < t1, step, -step));
        store(d.drift2, at, p2 + select(p2 < t2, step, -step));
    }

    /// Modulation depth and slow noise.
    void followModulation() noexcept
    {
        NoiseLanes& n = lanes.noise;
        Lanes<float> recorded;
        for (int lane = at; lane < at + kLanes; ++lane) {
            int& position = n.tonePos.data()[lane];
            recorded.data()[lane] = static_cast<float>(s.tone[position]);
            if (++position >= s.toneLength)
                position = 0;
        }
        const F v = load<F>(recorded, at) * (1.0f / 32768.0f) * 0.31f;
        F slow = load<F>(n.slowNoise, at);
        slow += (v - slow) * rates.slowNoise;
        store(n.slowNoise, at, slow);
        store(n.pinkLow, at, v + slow);
        const F amount = load<F>(lanes.modAmount, at);
        store(lanes.modAmount, at, amount + (load<F>(s.depth, at) - amount) * rates.modAmount);
    }

    void oscillator(int k) noexcept
    {
        OscillatorLanes& o = lanes.oscillators.data()[k];
        OscillatorTick<F> tick{load<F>(o.phase, at), load<F>(o.heldNext, at), load<F>(o.triLow, at),
                               load<I>(o.pulseHigh, at), load<F>(inc[k], at)};
        wave(tick, k, waves[k]);
        store(o.phase, at, tick.phase);
        store(o.heldNext, at, tick.heldNext);
        store(o.triLow, at, tick.triLow);
        store(o.pulseHigh, at, tick.pulseHigh);
    }

    /// About -1..1, the Early saw -1.53..1.
    void wave(OscillatorTick<F>& tick, int k, F* out) noexcept
    {
        constexpr bool kEarly = kRevision == Revision::Early;
        const Wave form = values.oscWave.data()[k];
        const float threshold = s.threshold.data()[k];
        if (form == Wave::Triangle || form == Wave::Shark) {
            const bool shark = form == Wave::Shark;
            if constexpr (kEarly)
                tick.readShape(shark && k < 2 ? s.shapes->sharkShapeEarly
                                              : s.shapes->triangleShapeEarly,
                               16128, out);
            else
                tick.readShape(s.shapes->triangleShapeLate, 16384, out);
            F ramp[kTick];
            tick.smoothRamp(ramp);
            for (int i = 0; i < kTick; ++i) {
                if (shark) {
                    out[i] = -out[i] - (kEarly ? 0.23f : 0.215f) * ramp[i];
                } else if constexpr (!kEarly) {
                    tick.triLow += (ramp[i] - tick.triLow) * rates.triLow;
                    out[i] = out[i] + 0.06f * tick.triLow;
                }
            }
            return;
        }
        if (form == Wave::Saw || form == Wave::RevSaw)
            tick.template stepWave<false>(threshold, out);
        else
            tick.template stepWave<true>(threshold, out);
        if (kEarly && form == Wave::Saw && k < 2)
            for (int i = 0; i < kTick; ++i)
                out[i] = earlySawBend(out[i]);
        for (int i = 0; i < kTick; ++i)
            out[i] = 2.0f * out[i] - 1.0f;
    }

    void envelopes() noexcept
    {
        D out[kTick];
        const D time = load<D>(lanes.filterEnvelope.droopTime, at);
        store(lanes.filterEnvelope.droopTime, at, time + rates.droopStep);
        filterEnvelopeTick(lanes.filterEnvelope, at, s.filterRates, s.filterRelease, time, rough,
                           out);
        auto amount = envSum.template at<FloatsOfD>(at);
        const auto amountStep = envSum.template stepAt<FloatsOfD>(at);
        for (int i = 0; i < kTick; ++i) {
            amount += amountStep;
            const D total = convert<D>(values.filterEnvAmount + amount);
            const D env = out[i] * kFilterEnvelopeScale<kRevision> * total;
            storeTo(envelope[i], convert<FloatsOfD>(env));
        }
        envSum.moveTo(at, amount);

        levelStands = ampEnvelopeTick(lanes.ampEnvelope, at, s.ampRates, toPeak, sustain.values(),
                                      sustain.template stepAt<D>(at), out);
        for (int i = 0; i < (levelStands ? 1 : kTick); ++i) {
            // 11 bits of entry, 11 bits of fraction
            const D v = select(out[i] > 0.0, smaller(out[i], D{} + 1.0), D{});
            storeTo(curvePosition[i], convert<IntsOfD>(v * 4194304.0));
        }
        store(lanes.ampOut, at, out[kTick - 1]);
    }

    F amplitudeAt(const int* position) const noexcept
    {
        const auto p = loadFrom<I>(position);
        int entry[kLanes];
        storeTo(entry, p >> 11);
        const F fraction = convert<F>(p & 2047) * (1.0f / 2048.0f);
        const EntryPair<F> gain = entriesAt<F>(s.ampCurve, entry);
        return gain.here + (gain.next - gain.here) * fraction;
    }

    /// Oscillator 3 as modulation source, before any mixer level: each wave has a polarity and an
    /// offset of its own.
    F modulationOf(F o3) const noexcept
    {
        switch (values.oscWave.data()[2]) {
        case Wave::Triangle:
        case Wave::Shark: return 0.14f * o3;
        case Wave::Saw: return 0.14f * o3 + 0.00655f;
        case Wave::RevSaw: return -0.14f * o3 - 0.03655f;
        case Wave::Pulse:
        case Wave::Wide:
        case Wave::Narrow: break;
        }
        return 0.14f * (1.0f - o3 + 0.0397f);
    }

    /// `stream` is where the tick's first sample goes.
    void mix(float* stream) noexcept
    {
        NoiseLanes& n = lanes.noise;
        F level1 = gain1.template at<F>(at), level2 = gain2.template at<F>(at);
        F level3 = gain3.template at<F>(at), volume = volMod.template at<F>(at);
        F base = cutBase.template at<F>(at);
        F pinkLp1 = load<F>(n.pinkLp1, at), pinkLp2 = load<F>(n.pinkLp2, at);
        F whiteLp = load<F>(n.whiteLp, at), cutNoise = load<F>(lanes.cutNoise, at);
        F modSignal{}, cutoff{};
        auto noise = load<U>(seed, at);
        const F pinkLow = load<F>(n.pinkLow, at), key = load<F>(keyed, at);
        const F modAmount = load<F>(lanes.modAmount, at);
        const auto running = load<I>(s.running, at);
        const F idleLevel = load<F>(s.idleLevel, at), idleCutoff = load<F>(s.idleCutoff, at);
        const F resonance = select(running, F{} + s.resonance, F{});
        F amplitude{};

        const auto put = [this, &stream](F x) {
            storeTo(stream, x);
            stream += place.frameLanes;
        };
        for (int i = 0; i < kTick; ++i) {
            const F o1 = waves[0][i], o2 = waves[1][i], o3 = waves[2][i];
            level1 += gain1.template stepAt<F>(at);
            level2 += gain2.template stepAt<F>(at);
            level3 += gain3.template stepAt<F>(at);
            F sum = o1 * level1 + o2 * level2 + o3 * level3;

            // White noise: the upper half of the generator's state as a signed fraction
            const F white = convert<F>(__builtin_bit_cast(I, noise) >> 16) * (1.0f / 65536.0f);
            noise = noise * 214013u + 2531011u;
            F modNoise;
            if (values.noiseIsPink) {
                pinkLp1 += (1.2f * pinkLow - pinkLp1) * rates.pinkLp;
                pinkLp2 += (pinkLp1 - pinkLp2) * rates.pinkLp;
                sum += 1.75f * pinkLow * values.noiseLevel;
                modNoise = pinkLp2;
            } else {
                whiteLp += (white - whiteLp) * rates.whiteLp;
                sum += 2.75f * (white - whiteLp) * values.noiseLevel;
                modNoise = 0.5f * pinkLow;
            }
            if (values.modFltOn || i == kTick - 1) {
                modSignal = modulationOf(o3);
                modSignal += (modNoise - modSignal) * values.modulationMix;
            }

            constexpr float kNoiseFloor = 0.1f * 0.01f;
            volume += volMod.template stepAt<F>(at);
            F signal = sum * volume + kNoiseFloor * white;
            if constexpr (kRevision == Revision::Early)
                signal += 0.0002f * (o1 + o2 + o3); // closed mixer levels leak

            cutNoise += (0.01f * white - cutNoise) * rates.cutNoise;
            base += cutBase.template stepAt<F>(at);
            F c = key + base + loadFrom<F>(envelope[i]);
            c += cutNoise * c;
            if (values.modFltOn)
                c += modSignal * values.modCutoffRange * modAmount;
            // As a table index: never not a number
            cutoff = select(c > 0.0f, smaller(c, F{} + 1.0f), F{});

            if (i == 0 || !levelStands)
                amplitude = select(running, amplitudeAt(curvePosition[i]), idleLevel);
            put(select(running, signal, idleLevel));
            put(select(running, cutoff, idleCutoff));
            put(amplitude);
            put(resonance);
        }
        gain1.moveTo(at, level1);
        gain2.moveTo(at, level2);
        gain3.moveTo(at, level3);
        volMod.moveTo(at, volume);
        cutBase.moveTo(at, base);
        store(n.pinkLp1, at, pinkLp1);
        store(n.pinkLp2, at, pinkLp2);
        store(n.whiteLp, at, whiteLp);
        store(lanes.cutNoise, at, cutNoise);
        store(lanes.modSignal, at, modSignal);
        store(lanes.cutoff, at, cutoff);
        store(seed, at, noise);
    }

    /// What has faded away becomes exactly zero.
    void finish() noexcept
    {
        for (int lane = at; lane < at + kLanes; ++lane) {
            double& ampLevel = lanes.ampEnvelope.ampLevel.data()[lane];
            double& fltOut = lanes.filterEnvelope.fltOut.data()[lane];
            float& modAmount = lanes.modAmount.data()[lane];
            if (ampLevel < 1e-8)
                ampLevel = 0.0;
            if (fltOut < 1e-6)
                fltOut = 0.0;
            if (modAmount < 1e-4f && s.depth.data()[lane] < 1e-4f)
                modAmount = 0.0f;
        }
    }

    const VoiceStretch& s;
    const EngineValues& values;
    const VoiceRates& rates;
    VoiceLanes& lanes;
    const int at; ///< the first lane
    const LanePlace& place;

    Walk<float> gain1, gain2, gain3, volMod, cutBase, envSum;
    Walk<double> sustain;
    Lanes<std::uint32_t> seed;
    D lastPitch = D{} + std::numeric_limits<double>::quiet_NaN();
    D ratio{};              ///< of frequency that the last pitch means
    Lanes<double> toPeak{}; ///< memory of the amplifier envelope's attack
    RoughDroop<D> rough;
    Lanes<float> keyed{}; ///< cutoff by key
    Lanes<float> inc[3]{};

    // One tick
    F waves[3][kTick];
    alignas(64) float envelope[kTick][kLanes];    ///< part of the cutoff
    alignas(64) int curvePosition[kTick][kLanes]; ///< of the envelope level in the AmpCurve
    bool levelStands = false;                     ///< in all lanes
};

template <int kLanes>
void renderLanes(const VoiceStretch& stretch, VoiceLanes& lanes, const LanePlace& place) noexcept
{
    if (stretch.values->revision == Revision::Early)
        Renderer<kLanes, Revision::Early>(stretch, lanes, place).render();
    else
        Renderer<kLanes, Revision::Late>(stretch, lanes, place).render();
}

} // namespace
} // namespace ZEPHRA_ISA

template <Isa isa>
void renderVoices(const VoiceStretch& stretch, VoiceLanes& lanes, const LanePlace& place) noexcept
{
    if (place.lanes == 8)
        renderLanes<8>(stretch, lanes, place);
    else
        renderLanes<4>(stretch, lanes, place);
}

template void renderVoices<kIsa>(const VoiceStretch&, VoiceLanes&, const LanePlace&) noexcept;

} // namespace zephra
