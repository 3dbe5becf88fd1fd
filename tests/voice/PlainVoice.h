// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/kernels/VoiceKernel.h"
#include "voice/Pitch.h"
#include "voice/ShapeTables.h"
#include "voice/Waves.h"

#include <algorithm>
#include <cmath>

namespace zephra::test {

inline float pole(double hz, double rate) { return static_cast<float>(onePoleCoeff(hz, rate)); }

/// A step of height 1 is spread over the two samples around it by an order-4 polynomial. With t the
/// part of a sample that has passed since the step, `stepNow(t)` is what the sample before gets.
inline float stepNow(float t)
{
    if (t < 0.0f)
        return 0.0f;
    return t <= 1.0f ? t * t * t * (1.0f - 0.5f * t) : 1.0f; // one half at 1: a step on a sample
}

inline float stepNext(float t) { return -stepNow(1.0f - t); } ///< what the sample after it lacks

/// A pulse (low up to `threshold`, then high) or a rising ramp, 0..1, one sample late. Each step is
/// corrected in the two samples around it; a ramp steps at its wrap alone and runs through the
/// threshold unheard.
inline float stepWave(OscillatorState& s, bool pulse, float inc, float threshold)
{
    float x = s.phase + inc;
    float now = s.heldNext;
    float next = 0.0f;
    for (;;) {
        if (s.pulseHigh == 0) {
            if (threshold > x)
                break;
            if (pulse) {
                const float t = (x - threshold) / inc;
                now += stepNow(t);
                next += stepNext(t);
            }
            s.pulseHigh = 1;
        }
        if (1.0f > x)
            break;
        x -= 1.0f;
        const float t = x / inc;
        now -= stepNow(t);
        next -= stepNext(t);
        s.pulseHigh = 0;
    }
    s.phase = x;
    s.heldNext = next + (pulse ? static_cast<float>(s.pulseHigh) : x);
    return now;
}

/// Linear interpolation at phase 0..1, with `offset` in 2^-32 cycles.
inline float readShape(const ShapeTables::Table& shape, float phase, std::uint32_t offset)
{
    const auto u = static_cast<std::uint32_t>(static_cast<double>(phase) * 4294967296.0);
    const float fraction = static_cast<float>(u & 0x1ffffu) * (1.0f / 131072.0f);
    const std::uint32_t i = (u + offset) >> 17;
    return shape[i] + (shape[i + 1] - shape[i]) * fraction;
}

/// Moves the phase on and gives a ramp -1..1 whose wrap is one straight sample.
inline float smoothRamp(OscillatorState& s, float inc)
{
    float ramp = 2.0f * s.phase + inc - 1.0f;
    s.phase += inc;
    if (s.phase >= 1.0f) {
        s.phase -= 1.0f;
        ramp -= 2.0f * s.phase / inc;
    }
    return ramp;
}

/// Oscillator k = 0..2: about -1..1, the Early saw -1.53..1.
inline float oscillate(OscillatorState& osc, std::size_t k, float inc, const VoiceStretch& s)
{
    const Wave wave = s.values->oscWave[k];
    const bool early = s.values->revision == Revision::Early, shark = wave == Wave::Shark;
    if (shark || wave == Wave::Triangle) {
        const auto& table = !early           ? s.shapes->triangleShapeLate
                            : shark && k < 2 ? s.shapes->sharkShapeEarly
                                             : s.shapes->triangleShapeEarly;
        const float shape = readShape(table, osc.phase, early ? 0x7e000000u : 0x80000000u);
        const float ramp = smoothRamp(osc, inc);
        if (shark)
            return -shape - (early ? 0.23f : 0.215f) * ramp;
        if (early)
            return shape;
        osc.triLow += (ramp - osc.triLow) * pole(200.0, s.rates->fs8);
        return shape + 0.06f * osc.triLow;
    }
    float a = stepWave(osc, isPulseWave(wave), inc, s.threshold[k]);
    if (early && wave == Wave::Saw && k < 2) // charges like a capacitor
        a = 0.735835f * (12.0f + 6.0f * a + a * a) / (12.0f - 6.0f * a + a * a) - 1.0f;
    return 2.0f * a - 1.0f;
}

/// Oscillator 3 as modulation source: each wave has a polarity and an offset of its own.
inline float modulationOf(Wave wave, float o3)
{
    switch (wave) {
    case Wave::Triangle:
    case Wave::Shark: return 0.14f * o3;
    case Wave::Saw: return 0.14f * o3 + 0.00655f;
    case Wave::RevSaw: return -0.14f * o3 - 0.03655f;
    default: return 0.14f * (1.0f - o3 + 0.0397f);
    }
}

/// A value that walks linearly from where the last stretch left it to this stretch's target.
template <class T> struct Ramp {
    T& value;
    T target;
    int count;
    T step = (target - value) / static_cast<T>(count);

    T next() { return value += step; }
    ~Ramp() { value = target; } // exactly, whatever the sum of the steps
};

inline void renderVoice(const VoiceStretch& s, VoiceLanes& lanes, std::size_t lane, float* frame,
                        int frameLanes)
{
    const EngineValues& values = *s.values;
    const double fs = s.rates->fs, fs8 = s.rates->fs8;
    const bool early = values.revision == Revision::Early;

    double& glidePitch = lanes.glidePitch[lane];
    double& bend = lanes.bendSmooth[lane];
    float& modAmount = lanes.modAmount[lane];
    float& modSignal = lanes.modSignal[lane];
    float& cutNoise = lanes.cutNoise[lane];
    NoiseState noise = lanes.noise.load(lane);
    DriftState drift = lanes.drift.load(lane);
    FilterEnvelope filterEnvelope = lanes.filterEnvelope.load(lane);
    AmpEnvelope ampEnvelope = lanes.ampEnvelope.load(lane);
    OscillatorState osc[3];
    for (std::size_t k = 0; k < 3; ++k)
        osc[k] = lanes.oscillators[k].load(lane);

    const auto walk = [&s, lane](Lanes<float>& carried, float target) {
        return Ramp<float>{carried[lane], target, s.count};
    };
    Ramp<float> mixLevel[3] = {walk(lanes.gain[0], s.gain[0]), walk(lanes.gain[1], s.gain[1]),
                               walk(lanes.gain[2], s.gain[2])};
    Ramp<float> volume = walk(lanes.volMod, s.volume[lane]);
    Ramp<float> cutBase = walk(lanes.cutBase, s.cutoff[lane]);
    Ramp<float> envSum = walk(lanes.envSum, s.env[lane]);
    Ramp<double> sustain{lanes.sustainRamp[lane], s.ampSustain, s.count};
    FilterEnvelopeRates filterRates = s.filterRates;
    filterRates.release = s.filterRelease[lane];
    double toPeak = 1.0 - ampEnvelope.ampLevel;
    std::uint32_t seed = s.noiseSeed[lane];

    double droop = 0.0;
    float keyCutoff = 0.0f;
    float inc[3] = {0.0f, 0.0f, s.fixedIncrement[lane]};
    for (int i = 0; i < s.count; ++i) {
        if (i % kTick == 0) {
            glidePitch = glidePitch - values.glideRate > s.note[lane]
                             ? glidePitch - values.glideRate
                             : std::min(glidePitch + 2.0 * values.glideRate, s.note[lane]);
            drift.tick(lanes.random[lane], 0.5 / fs);
            bend += (s.bend[lane] - bend) * onePoleCoeff(15.0, fs);
            double pitch = glidePitch + bend;
            if (values.modOscOn) // oscillator 3, 0.14 high, swings six semitones at range 1
                pitch += static_cast<double>(modSignal) * 42.86 * static_cast<double>(modAmount) *
                         static_cast<double>(values.modPitchRange);
            const double f = std::pow(values.oscKeytrackSlope, pitch / 12.0);
            const double d1 = drift.drift1 * values.oscDrift, d2 = drift.drift2 * values.oscDrift;
            const double drifts[3] = {1.0 + d1, 1.0 - d2, 1.0 + d2};
            for (std::size_t k = 0; k < (values.osc3KeyTrack ? 3 : 2); ++k)
                inc[k] =
                    static_cast<float>(std::min(s.base[k][lane] * f * drifts[k], kMaxIncrement));

            modAmount += (s.depth[lane] - modAmount) * pole(12.0, fs);
            const float recorded =
                static_cast<float>(s.tone[noise.tonePos]) * (1.0f / 32768.0f) * 0.31f;
            noise.tonePos = (noise.tonePos + 1) % s.toneLength;
            noise.slowNoise += (recorded - noise.slowNoise) * pole(10.0, fs);
            noise.pinkLow = recorded + noise.slowNoise;

            droop = FilterEnvelope::droopConductance(filterEnvelope.droopTime);
            filterEnvelope.droopTime += 192000.0 / fs;
            // 256 entries of the cutoff table a semitone; note 31 stays where it is.
            keyCutoff = static_cast<float>(
                (glidePitch - 31.0) * (static_cast<double>(values.keytrack) * (256.0 / 32726.0)));
        }

        float o[3];
        for (std::size_t k = 0; k < 3; ++k)
            o[k] = oscillate(osc[k], k, inc[k], s);
        float mix =
            o[0] * mixLevel[0].next() + o[1] * mixLevel[1].next() + o[2] * mixLevel[2].next();

        // White noise is the upper half of the generator's state, as a signed fraction.
        const float white =
            static_cast<float>(static_cast<std::int16_t>(seed >> 16)) * (1.0f / 65536.0f);
        seed = nextSeed(seed);
        float modNoise = 0.5f * noise.pinkLow; // even white sound modulates with the slow noise
        if (values.noiseIsPink) {
            noise.pinkLp1 += (1.2f * noise.pinkLow - noise.pinkLp1) * pole(100.0, fs8);
            noise.pinkLp2 += (noise.pinkLp1 - noise.pinkLp2) * pole(100.0, fs8);
            modNoise = noise.pinkLp2;
            mix += 1.75f * noise.pinkLow * values.noiseLevel;
        } else {
            noise.whiteLp += (white - noise.whiteLp) * pole(80.0, fs8);
            mix += 2.75f * (white - noise.whiteLp) * values.noiseLevel;
        }
        modSignal = modulationOf(values.oscWave[2], o[2]);
        modSignal += (modNoise - modSignal) * values.modulationMix;
        float signal = mix * volume.next() + 0.1f * 0.01f * white;
        if (early)
            signal += 0.0002f * (o[0] + o[1] + o[2]); // closed mixer levels leak

        filterEnvelope.tick(filterRates, droop);
        // Brings the half-range attack of the envelope to nearly full
        const double scale = 0.98293781 * (early ? 0.93 : 0.88) * 2.0;
        const double env = filterEnvelope.fltOut * scale *
                           static_cast<double>(values.filterEnvAmount + envSum.next());
        cutNoise += (0.01f * white - cutNoise) * pole(9.0, fs8);
        float c = keyCutoff + cutBase.next() + static_cast<float>(env);
        c += cutNoise * c;
        if (values.modFltOn)
            c += modSignal * values.modCutoffRange * modAmount;
        const float cutoff = c > 0.0f ? std::min(c, 1.0f) : 0.0f;
        lanes.cutoff[lane] = cutoff;

        const double level = ampEnvelope.tick(s.ampRates, toPeak, sustain.next());
        lanes.ampOut[lane] = level;
        const int position = static_cast<int>(std::clamp(level, 0.0, 1.0) * 4194304.0);
        const float* const gain = s.ampCurve + position / 2048;
        const float amplitude =
            gain[0] + (gain[1] - gain[0]) * (static_cast<float>(position % 2048) / 2048.0f);
        for (const float x : {signal, cutoff, amplitude, s.resonance}) {
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

    for (std::size_t k = 0; k < 3; ++k)
        lanes.oscillators[k].store(lane, osc[k]);
    lanes.noise.store(lane, noise);
    lanes.drift.store(lane, drift);
    lanes.filterEnvelope.store(lane, filterEnvelope);
    lanes.ampEnvelope.store(lane, ampEnvelope);
}

/// The yardstick of the voice kernels: one voice after the other, one sample after the other, in
/// the order in which the sound is defined.
inline void renderPlainVoices(const VoiceStretch& stretch, VoiceLanes& lanes,
                              const LanePlace& place) noexcept
{
    for (int i = place.first; i < place.first + place.lanes; ++i) {
        const auto lane = static_cast<std::size_t>(i);
        float* const frame = place.frames + i;
        if (stretch.running[lane] != 0) {
            renderVoice(stretch, lanes, lane, frame, place.frameLanes);
            continue;
        }
        for (int sample = 0; sample < stretch.count; ++sample) {
            float* const idle = frame + std::ptrdiff_t{4} * place.frameLanes * sample;
            idle[0] = idle[2 * place.frameLanes] = stretch.idleLevel[lane];
            idle[place.frameLanes] = stretch.idleCutoff[lane];
            idle[3 * place.frameLanes] = 0.0f;
        }
    }
}

} // namespace zephra::test
