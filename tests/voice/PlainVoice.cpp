// SPDX-License-Identifier: GPL-3.0-or-later
#include "PlainVoice.h"

#include "PlainOscillator.h"
#include "voice/AmpCurve.h"
#include "voice/Pitch.h"

#include <algorithm>
#include <cmath>

namespace zephra::test {

namespace {

/// White noise of a generator state: its upper half as a signed fraction, -0.5 up to 0.5.
float whiteNoise(std::uint32_t seed) noexcept
{
    return static_cast<float>(static_cast<std::int16_t>(seed >> 16)) * (1.0f / 65536.0f);
}

/// Noise of one voice, one sample after the other.
struct PlainNoise : NoiseState {
    /// One control tick.
    void tick(const VoiceStretch& s) noexcept
    {
        const float v = static_cast<float>(s.tone[tonePos]) * (1.0f / 32768.0f) * 0.31f;
        if (++tonePos >= s.toneLength)
            tonePos = 0;
        slowNoise += (v - slowNoise) * s.rates->slowNoise;
        pinkLow = v + slowNoise;
    }

    /// What one voice-rate sample gives: `sound` for the mixer, `modulation` for the mix with
    /// oscillator 3. Even white sound modulates with the slow noise.
    struct Sample {
        float sound, modulation;
    };
    Sample pink(const VoiceRates& rates) noexcept
    {
        pinkLp1 += (1.2f * pinkLow - pinkLp1) * rates.pinkLp;
        pinkLp2 += (pinkLp1 - pinkLp2) * rates.pinkLp;
        return {1.75f * pinkLow, pinkLp2};
    }
    Sample white(float w, const VoiceRates& rates) noexcept
    {
        whiteLp += (w - whiteLp) * rates.whiteLp;
        return {2.75f * (w - whiteLp), 0.5f * pinkLow};
    }
};

/// A value that walks linearly from where the last stretch left it to this stretch's target.
template <class T> class Ramp {
public:
    Ramp(T& carried, T end, int count) noexcept
        : state(carried), value(carried), target(end), step((end - carried) / static_cast<T>(count))
    {
    }
    ~Ramp() { state = target; } // exactly, whatever the sum of the steps
    Ramp(const Ramp&) = delete;
    Ramp& operator=(const Ramp&) = delete;

    T next() noexcept { return value += step; }

private:
    T& state;
    T value;
    T target;
    T step;
};

/// Cutoff units: 256 entries of the cutoff table a semitone, 32,726 for the whole range.
constexpr double kCutoffPerSemitone = 256.0 / 32726.0;
constexpr double kKeytrackCentre = 31.0; ///< note that keytracking leaves where it is

/// Semitones per unit of modSignal at range 1: oscillator 3, 0.14 high, swings six.
constexpr double kModSemitones = 42.86;

/// Oscillator 3 as modulation source, before any mixer level: each wave has a polarity and an
/// offset of its own.
float modulationOf(Wave wave, float o3) noexcept
{
    switch (wave) {
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

/// Brings the half-range attack of the filter envelope to nearly full.
template <Revision kRevision>
constexpr double kFilterEnvelopeScale = 0.98293781 * (kRevision == Revision::Early ? 0.93 : 0.88) *
                                        2.0;

template <Revision kRevision>
void renderVoice(const VoiceStretch& s, VoiceLanes& lanes, std::size_t lane, float* frame,
                 int frameLanes) noexcept
{
    const EngineValues& values = *s.values;
    const VoiceRates& rates = *s.rates;

    double glidePitch = lanes.glidePitch[lane];
    double bendSmooth = lanes.bendSmooth[lane];
    float modAmount = lanes.modAmount[lane];
    float modSignal = lanes.modSignal[lane];
    DriftState drift = lanes.drift.load(lane);

    std::array<OscillatorState, 3> osc;
    std::array<float, 3> inc{};
    for (std::size_t k = 0; k < 3; ++k)
        osc[k] = lanes.oscillators[k].load(lane);
    if (!values.osc3KeyTrack)
        inc[2] = s.fixedIncrement[lane];

    Ramp<float> gain1(lanes.gain[0][lane], s.gain[0], s.count);
    Ramp<float> gain2(lanes.gain[1][lane], s.gain[1], s.count);
    Ramp<float> gain3(lanes.gain[2][lane], s.gain[2], s.count);
    Ramp<float> volMod(lanes.volMod[lane], s.volume[lane], s.count);
    PlainNoise noise{lanes.noise.load(lane)};
    std::uint32_t seed = s.noiseSeed[lane];

    FilterEnvelope filterEnvelope = lanes.filterEnvelope.load(lane);
    FilterEnvelopeRates filterRates = s.filterRates;
    filterRates.release = s.filterRelease[lane];
    double droop = 0.0;
    Ramp<float> cutBase(lanes.cutBase[lane], s.cutoff[lane], s.count);
    Ramp<float> envSum(lanes.envSum[lane], s.env[lane], s.count);
    const double keytrack = static_cast<double>(values.keytrack) * kCutoffPerSemitone;
    float keyCutoff = 0.0f;
    float cutNoise = lanes.cutNoise[lane];
    float cutoff = lanes.cutoff[lane];

    AmpEnvelope ampEnvelope = lanes.ampEnvelope.load(lane);
    double toPeak = 1.0 - ampEnvelope.ampLevel;
    double level = 0.0;
    Ramp<double> sustainRamp(lanes.sustainRamp[lane], s.ampSustain, s.count);

    for (int i = 0; i < s.count; ++i) {
        if (i % kTick == 0) {
            glidePitch = glided(glidePitch, s.note[lane], values.glideRate);
            drift.tick(lanes.random[lane], rates.driftStep);
            bendSmooth += (s.bend[lane] - bendSmooth) * rates.bend;

            double pitch = glidePitch + bendSmooth;
            if (values.modOscOn)
                pitch += static_cast<double>(modSignal) * kModSemitones *
                         static_cast<double>(modAmount) * static_cast<double>(values.modPitchRange);
            const double f = std::pow(values.oscKeytrackSlope, pitch / 12.0);
            const double drift1 = drift.drift1 * values.oscDrift;
            const double drift2 = drift.drift2 * values.oscDrift;
            // Kept: oscillators 2 and 3 drift in opposite directions.
            inc[0] =
                static_cast<float>(std::min(s.base[0][lane] * f * (1.0 + drift1), kMaxIncrement));
            inc[1] =
                static_cast<float>(std::min(s.base[1][lane] * f * (1.0 - drift2), kMaxIncrement));
            if (values.osc3KeyTrack)
                inc[2] = static_cast<float>(
                    std::min(s.base[2][lane] * f * (1.0 + drift2), kMaxIncrement));

            modAmount += (s.depth[lane] - modAmount) * rates.modAmount;
            noise.tick(s);
            droop = FilterEnvelope::droopConductance(filterEnvelope.droopTime);
            filterEnvelope.droopTime += rates.droopStep;
            keyCutoff = static_cast<float>((glidePitch - kKeytrackCentre) * keytrack);
        }

        std::array<float, 3> o{};
        for (std::size_t k = 0; k < 3; ++k)
            o[k] = oscillatorSample<kRevision>(osc[k], k, values.oscWave[k], inc[k], s.threshold[k],
                                               rates.triLow, *s.shapes);

        float mix = o[0] * gain1.next() + o[1] * gain2.next() + o[2] * gain3.next();
        const float white = whiteNoise(seed);
        seed = nextSeed(seed);
        const PlainNoise::Sample n =
            values.noiseIsPink ? noise.pink(rates) : noise.white(white, rates);
        modSignal = modulationOf(values.oscWave[2], o[2]);
        modSignal += (n.modulation - modSignal) * values.modulationMix;
        mix += n.sound * values.noiseLevel;

        constexpr float kNoiseFloor = 0.1f * 0.01f;
        float signal = mix * volMod.next() + kNoiseFloor * white;
        if constexpr (kRevision == Revision::Early)
            signal += 0.0002f * (o[0] + o[1] + o[2]); // closed mixer levels leak

        filterEnvelope.tick(filterRates, droop);
        const double envAmount = static_cast<double>(values.filterEnvAmount + envSum.next());
        const double env = filterEnvelope.fltOut * kFilterEnvelopeScale<kRevision> * envAmount;
        cutNoise += (0.01f * white - cutNoise) * rates.cutNoise;
        float c = keyCutoff + cutBase.next() + static_cast<float>(env);
        c += cutNoise * c;
        if (values.modFltOn)
            c += modSignal * values.modCutoffRange * modAmount;
        cutoff = c > 0.0f ? std::min(c, 1.0f) : 0.0f; // as a table index: never not a number

        level = ampEnvelope.tick(s.ampRates, toPeak, sustainRamp.next());
        for (const float x : {signal, cutoff, ampCurveAt(s.ampCurve, level), s.resonance}) {
            *frame = x;
            frame += frameLanes;
        }
    }

    // What has faded away becomes exactly zero.
    if (ampEnvelope.ampLevel < 1e-8)
        ampEnvelope.ampLevel = 0.0;
    if (filterEnvelope.fltOut < 1e-6)
        filterEnvelope.fltOut = 0.0;
    if (modAmount < 1e-4f && s.depth[lane] < 1e-4f)
        modAmount = 0.0f;

    lanes.ampOut[lane] = level;
    for (std::size_t k = 0; k < 3; ++k)
        lanes.oscillators[k].store(lane, osc[k]);
    lanes.noise.store(lane, noise);
    lanes.drift.store(lane, drift);
    lanes.filterEnvelope.store(lane, filterEnvelope);
    lanes.ampEnvelope.store(lane, ampEnvelope);
    lanes.glidePitch[lane] = glidePitch;
    lanes.bendSmooth[lane] = bendSmooth;
    lanes.modAmount[lane] = modAmount;
    lanes.modSignal[lane] = modSignal;
    lanes.cutNoise[lane] = cutNoise;
    lanes.cutoff[lane] = cutoff;
}

} // namespace

void renderPlainVoices(const VoiceStretch& stretch, VoiceLanes& lanes,
                       const LanePlace& place) noexcept
{
    for (int i = place.first; i < place.first + place.lanes; ++i) {
        const auto lane = static_cast<std::size_t>(i);
        float* const frame = place.frames + i;
        if (stretch.running[lane] == 0)
            for (int sample = 0; sample < stretch.count; ++sample) {
                float* const idle = frame + std::ptrdiff_t{4} * place.frameLanes * sample;
                idle[0] = idle[2 * place.frameLanes] = stretch.idleLevel[lane];
                idle[place.frameLanes] = stretch.idleCutoff[lane];
                idle[3 * place.frameLanes] = 0.0f;
            }
        else if (stretch.values->revision == Revision::Early)
            renderVoice<Revision::Early>(stretch, lanes, lane, frame, place.frameLanes);
        else
            renderVoice<Revision::Late>(stretch, lanes, lane, frame, place.frameLanes);
    }
}

} // namespace zephra::test
