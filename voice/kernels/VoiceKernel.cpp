// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/kernels/VoiceKernel.h"

#include "voice/kernels/LaneEnvelopes.h"
#include "voice/kernels/LaneOscillators.h"
#include "voice/kernels/LaneVectors.h"
#include "voice/Pitch.h"

#include <limits>

namespace zephra {
inline namespace ZEPHRA_ISA {
namespace {

/// Cutoff units: 256 entries of the cutoff table a semitone, 32,726 for the whole range.
constexpr double kCutoffPerSemitone = 256.0 / 32726.0;
constexpr double kKeytrackCentre = 31.0; ///< note that keytracking leaves where it is

/// Semitones per unit of modSignal at range 1: oscillator 3, 0.14 high, swings six.
constexpr double kModSemitones = 42.86;

/// Renders kLanes voices, from the lane `first` on, one control tick after the other. Each tick
/// goes through in passes; what one pass leaves to the next lies in small buffers.
template <int kLanes, Revision kRevision> class Renderer {
    using F = Vector<float, kLanes>;
    using I = Vector<int, kLanes>;
    using U = Vector<std::uint32_t, kLanes>;
    using State = VoiceRows<Held<kLanes>::template Row>;
    static constexpr int kParts = kLanes / kPartLanes;
    static constexpr bool kEarly = kRevision == Revision::Early;
    /// Brings the half-range attack of the filter envelope to nearly full.
    static constexpr double kEnvelopeScale = 0.98293781 * (kEarly ? 0.93 : 0.88) * 2.0;

public:
    Renderer(const VoiceStretch& stretch, VoiceLanes& voiceLanes, int first) noexcept
        : s(stretch), values(*stretch.values), rates(*stretch.rates), lanes(voiceLanes), at(first)
    {
        State::visit(
            [first](auto& held, const auto& row) {
                __builtin_memcpy(static_cast<void*>(&held), row.data() + first, sizeof held);
            },
            v, lanes);
        for (int k = 0; k < 3; ++k)
            target.gain[k] = everywhere<F>(s.gain.data()[k]);
        target.cutBase = load<F>(s.cutoff, at);
        target.envSum = load<F>(s.env, at);
        target.volMod = load<F>(s.volume, at);
        State::visitRamps(
            [this](F& ramp, F from, F to) { ramp = (to - from) / static_cast<float>(s.count); },
            step, v, target);
        for (int part = 0; part < kParts; ++part) {
            sustainStep[part] = (s.ampSustain - v.sustainRamp[part]) / static_cast<double>(s.count);
            release[part] = ofPart(s.filterRelease, part);
            toPeak[part] = 1.0 - v.ampEnvelope.ampLevel[part];
            lastPitch[part] = everywhere<D>(std::numeric_limits<double>::quiet_NaN());
        }
        storeLanes(inc[2], load<F>(s.fixedIncrement, at));
    }

    void render(const LanePlace& place) noexcept
    {
        for (int tick = 0; tick < s.count / kTick; ++tick) {
            for (int part = 0; part < kParts; ++part)
                followPitch(part);
            followModulation();
            for (int k = 0; k < 3; ++k)
                oscillator(k);
            envelopes();
            mix(place.frames + tick * kTick * 4 * place.frameLanes + at, place.frameLanes);
        }
        finish();
    }

private:
    D ofPart(const Lanes<double>& row, int part) const noexcept
    {
        return load<D>(row, at + part * kPartLanes);
    }

    /// Glide, bend, drift and from these the increments.
    void followPitch(int part) noexcept
    {
        D &glided = v.glidePitch[part], &bend = v.bendSmooth[part];
        const D note = ofPart(s.note, part), down = glided - values.glideRate;
        glided = select(down > note, down, smaller(glided + 2.0 * values.glideRate, note));
        const double keytrack = static_cast<double>(values.keytrack) * kCutoffPerSemitone;
        storeLanes(keyed + part * kPartLanes,
                   convert<PartFloats>((glided - kKeytrackCentre) * keytrack));
        drift(part);
        bend += (ofPart(s.bend, part) - bend) * rates.bend;

        D pitch = glided + bend;
        if (values.modOscOn)
            pitch += convert<D>(partOf<PartFloats>(v.modSignal, part)) * kModSemitones *
                     convert<D>(partOf<PartFloats>(v.modAmount, part)) *
                     static_cast<double>(values.modPitchRange);
        if (any(pitch != lastPitch[part])) {
            lastPitch[part] = pitch;
            ratio[part] = exp2(pitch * s.octavesPerSemitone);
        }
        const D drift1 = v.drift.drift1[part] * values.oscDrift;
        const D drift2 = v.drift.drift2[part] * values.oscDrift;
        // Kept: oscillators 2 and 3 drift in opposite directions.
        const D drifted[] = {1.0 + drift1, 1.0 - drift2, 1.0 + drift2};
        for (int k = 0; k < (values.osc3KeyTrack ? 3 : 2); ++k) {
            const D x = ofPart(s.base.data()[k], part) * ratio[part] * drifted[k];
            storeLanes(inc[k] + part * kPartLanes,
                       convert<PartFloats>(smaller(x, everywhere<D>(kMaxIncrement))));
        }
    }

    /// Walkers of which none arrives go on without being looked at one by one.
    void drift(int part) noexcept
    {
        const D stepUp = everywhere<D>(rates.driftStep);
        D &p1 = v.drift.drift1[part], &p2 = v.drift.drift2[part];
        const D way1 = v.drift.driftTarget1[part] - p1, way2 = v.drift.driftTarget2[part] - p2;
        if (any((magnitude(way1) <= stepUp) | (magnitude(way2) <= stepUp))) {
            for (int lane = part * kPartLanes; lane < (part + 1) * kPartLanes; ++lane) {
                DriftState walkers = v.drift.load(static_cast<std::size_t>(lane));
                walkers.tick(v.random[lane], rates.driftStep);
                v.drift.store(static_cast<std::size_t>(lane), walkers);
            }
            return;
        }
        p1 += select(way1 > D{}, stepUp, -stepUp);
        p2 += select(way2 > D{}, stepUp, -stepUp);
    }

    /// Modulation depth and slow noise.
    void followModulation() noexcept
    {
        auto& n = v.noise;
        F recorded{};
        for (int lane = 0; lane < kLanes; ++lane)
            recorded[lane] = static_cast<float>(s.tone[n.tonePos[lane]]);
        n.tonePos += 1;
        n.tonePos = select(n.tonePos < s.toneLength, n.tonePos, I{});
        const F now = recorded * (1.0f / 32768.0f) * 0.31f;
        n.slowNoise += (now - n.slowNoise) * rates.slowNoise;
        n.pinkLow = now + n.slowNoise;
        v.modAmount += (load<F>(s.depth, at) - v.modAmount) * rates.modAmount;
    }

    void oscillator(int k) noexcept
    {
        OscillatorTick<F> tick{v.oscillators[k], loadLanes<F>(inc[k])};
        wave(tick, k, waves[k]);
        v.oscillators[k] = tick;
    }

    /// About -1..1, the Early saw -1.53..1.
    void wave(OscillatorTick<F>& tick, int k, F* out) noexcept
    {
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
        F amount = v.envSum;
        for (auto& now : envelope)
            storeLanes(now, values.filterEnvAmount + (amount += step.envSum));
        TickLevels levels[kParts];
        levelsStand = true;
        filterEnvelopeTick<kParts>(v.filterEnvelope, s.filterRates, release, rates.droopStep,
                                   droopRoot, levels);
        for (int part = 0; part < kParts; ++part) {
            for (int i = 0; i < kTick; ++i) {
                float* const now = envelope[i] + part * kPartLanes;
                const D total = convert<D>(loadLanes<PartFloats>(now));
                storeLanes(now, convert<PartFloats>(loadLanes<D>(levels[part][i]) * kEnvelopeScale *
                                                    total));
            }
            levelsStand &= ampEnvelopeTick(v.ampEnvelope, part, s.ampRates, toPeak[part],
                                           v.sustainRamp[part], sustainStep[part], levels[part]);
            v.ampOut[part] = loadLanes<D>(levels[part][kTick - 1]);
        }
        for (int i = 0; i < (levelsStand ? 1 : kTick); ++i)
            for (int part = 0; part < kParts; ++part) {
                // 11 bits of entry, 11 bits of fraction
                const auto level = loadLanes<D>(levels[part][i]);
                const D x = select(level > 0.0, smaller(level, everywhere<D>(1.0)), D{});
                storeLanes(curvePosition[i] + part * kPartLanes, convert<PartInts>(x * 4194304.0));
            }
    }

    F amplitudeAt(const int* position) const noexcept
    {
        const auto p = loadLanes<I>(position);
        int entry[kLanes];
        storeLanes(entry, p >> 11);
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
    void mix(float* stream, int frameLanes) noexcept
    {
        Ramps ramp{};
        State::visitRamps([](F& now, F from) { now = from; }, ramp, v);
        auto n = v.noise;
        F cutNoise = v.cutNoise, modSignal{}, cutoff{}, amplitude{};
        const F key = loadLanes<F>(keyed), modAmount = v.modAmount;
        const auto running = load<I>(s.running, at);
        const F idleLevel = load<F>(s.idleLevel, at), idleCutoff = load<F>(s.idleCutoff, at);
        const F resonance = select(running, everywhere<F>(s.resonance), F{});

        for (int i = 0; i < kTick; ++i) {
            State::visitRamps([](F& now, F by) { now += by; }, ramp, step);
            const F o1 = waves[0][i], o2 = waves[1][i], o3 = waves[2][i];
            F sum = o1 * ramp.gain[0] + o2 * ramp.gain[1] + o3 * ramp.gain[2];

            // White noise: the upper half of the generator's state as a signed fraction
            const F white = convert<F>(__builtin_bit_cast(I, seed) >> 16) * (1.0f / 65536.0f);
            seed = seed * 214013u + 2531011u;
            F modNoise;
            if (values.noiseIsPink) {
                n.pinkLp1 += (1.2f * n.pinkLow - n.pinkLp1) * rates.pinkLp;
                n.pinkLp2 += (n.pinkLp1 - n.pinkLp2) * rates.pinkLp;
                sum += 1.75f * n.pinkLow * values.noiseLevel;
                modNoise = n.pinkLp2;
            } else {
                n.whiteLp += (white - n.whiteLp) * rates.whiteLp;
                sum += 2.75f * (white - n.whiteLp) * values.noiseLevel;
                modNoise = 0.5f * n.pinkLow;
            }
            if (values.modFltOn || i == kTick - 1) {
                modSignal = modulationOf(o3);
                modSignal += (modNoise - modSignal) * values.modulationMix;
            }

            constexpr float kNoiseFloor = 0.1f * 0.01f;
            F signal = sum * ramp.volMod + kNoiseFloor * white;
            if constexpr (kEarly)
                signal += 0.0002f * (o1 + o2 + o3); // closed mixer levels leak

            cutNoise += (0.01f * white - cutNoise) * rates.cutNoise;
            F c = key + ramp.cutBase + loadLanes<F>(envelope[i]);
            c += cutNoise * c;
            if (values.modFltOn)
                c += modSignal * values.modCutoffRange * modAmount;
            // As a table index: never not a number
            cutoff = select(c > 0.0f, smaller(c, everywhere<F>(1.0f)), F{});

            if (i == 0 || !levelsStand)
                amplitude = select(running, amplitudeAt(curvePosition[i]), idleLevel);
            const F streams[] = {select(running, signal, idleLevel),
                                 select(running, cutoff, idleCutoff), amplitude, resonance};
            for (const F& x : streams) {
                storeLanes(stream, x);
                stream += frameLanes;
            }
        }
        State::visitRamps([](F& to, F now) { to = now; }, v, ramp);
        v.noise = n;
        v.cutNoise = cutNoise;
        v.modSignal = modSignal;
        v.cutoff = cutoff;
    }

    /// Ramps have arrived, exactly, whatever the sum of their steps. What has faded away becomes
    /// exactly zero.
    void finish() noexcept
    {
        State::visitRamps([](F& ramp, F to) { ramp = to; }, v, target);
        for (int part = 0; part < kParts; ++part) {
            v.sustainRamp[part] = everywhere<D>(s.ampSustain);
            D &ampLevel = v.ampEnvelope.ampLevel[part], &fltOut = v.filterEnvelope.fltOut[part];
            ampLevel = select(ampLevel < 1e-8, D{}, ampLevel);
            fltOut = select(fltOut < 1e-6, D{}, fltOut);
        }
        v.modAmount =
            select((v.modAmount < 1e-4f) & (load<F>(s.depth, at) < 1e-4f), F{}, v.modAmount);
        State::visit(
            [this](auto& row, const auto& held) {
                __builtin_memcpy(static_cast<void*>(row.data() + at), &held, sizeof held);
            },
            lanes, v);
    }

    const VoiceStretch& s;
    const EngineValues& values;
    const VoiceRates& rates;
    VoiceLanes& lanes;
    const int at; ///< the first lane

    State v; ///< of the lanes, from the start of the stretch to its end
    struct Ramps {
        F gain[3], cutBase, envSum, volMod;
    } target, step;
    D release[kParts], sustainStep[kParts],
        toPeak[kParts];                 ///< memory of the amplifier envelope's attack
    D lastPitch[kParts], ratio[kParts]; ///< and the ratio of frequency that it means
    D droopRoot[kParts]{};
    U seed = load<U>(s.noiseSeed, at);

    // One tick
    alignas(32) float keyed[kLanes]; ///< cutoff by key
    alignas(32) float inc[3][kLanes];
    F waves[3][kTick];
    alignas(32) float envelope[kTick][kLanes];    ///< part of the cutoff
    alignas(32) int curvePosition[kTick][kLanes]; ///< of the envelope level in the AmpCurve
    bool levelsStand = false;                     ///< in all lanes
};

template <int kLanes>
void renderLanes(const VoiceStretch& stretch, VoiceLanes& lanes, const LanePlace& place,
                 int first) noexcept
{
    if (stretch.values->revision == Revision::Early)
        Renderer<kLanes, Revision::Early>(stretch, lanes, first).render(place);
    else
        Renderer<kLanes, Revision::Late>(stretch, lanes, first).render(place);
}

} // namespace
} // namespace ZEPHRA_ISA

template <Isa isa>
void renderVoices(const VoiceStretch& stretch, VoiceLanes& lanes, const LanePlace& place) noexcept
{
    constexpr int kWidest = kVectorBytes / 4;
    if (place.lanes == kWidest)
        renderLanes<kWidest>(stretch, lanes, place, place.first);
    else
        for (int first = place.first; first < place.first + place.lanes; first += 4)
            renderLanes<4>(stretch, lanes, place, first);
}

template void renderVoices<kIsa>(const VoiceStretch&, VoiceLanes&, const LanePlace&) noexcept;

} // namespace zephra
