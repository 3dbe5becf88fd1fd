// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/VoiceRenderer.h"

#include "voice/AmpCurve.h"
#include "voice/Waves.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace zephra {

namespace {

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

/// Kept: the Early cutoff sits 1.1 semitones lower at half travel, which its table takes back.
template <Revision kRevision>
constexpr float kCutoffScale = kRevision == Revision::Early ? 0.982f : 1.0f;

} // namespace

template <Revision kRevision>
VoiceRenderer<kRevision>::VoiceRenderer(Voice& playedVoice, const VoiceContext& stretch) noexcept
    : voice(playedVoice), context(stretch), values(stretch.values), lanes(*playedVoice.lanes),
      lane(static_cast<std::size_t>(playedVoice.lane))
{
}

template <Revision kRevision> void VoiceRenderer<kRevision>::followControllers() noexcept
{
    constexpr float kStep = 0.08f; // per stretch, however long
    const auto c = static_cast<std::size_t>(voice.channel);
    const Performance& p = context.performance;
    voice.smoothAftertouch += (p.aftertouch[c] - voice.smoothAftertouch) * kStep;
    voice.smoothBreath += (p.breath[c] - voice.smoothBreath) * kStep;
    voice.smoothExpression += (p.expression[c] - voice.smoothExpression) * kStep;
    voice.smoothFoot += (p.foot[c] - voice.smoothFoot) * kStep;
    voice.smoothTimbre += (p.timbre[c] - voice.smoothTimbre) * kStep;
}

template <Revision kRevision>
float VoiceRenderer<kRevision>::sourceValue(ModSource source) const noexcept
{
    switch (source) {
    case ModSource::Off: break;
    case ModSource::Velocity: return voice.velocity;
    case ModSource::Aftertouch: return voice.smoothAftertouch;
    case ModSource::Foot: return voice.smoothFoot;
    case ModSource::Expression: return voice.smoothExpression;
    case ModSource::Timbre: return voice.smoothTimbre;
    case ModSource::ModWheel: return context.performance.modWheelNow;
    }
    return 0.0f;
}

template <Revision kRevision> auto VoiceRenderer<kRevision>::sumSlots() const noexcept -> SlotSums
{
    SlotSums sums;
    for (const ModSlot& slot : values.modSlots) {
        if (slot.source == ModSource::Off)
            continue; // an unused slot does not mute the voice
        float x = slot.amount * sourceValue(slot.source);
        if (slot.source == ModSource::Velocity && slot.target != ModTarget::Volume)
            x -= slot.amount * 0.5f; // velocity swings about the middle
        switch (slot.target) {
        case ModTarget::Off: break;
        case ModTarget::Filter: sums.cutoff += x; break;
        case ModTarget::ModAmount: sums.modDepth = std::clamp(sums.modDepth + x, 0.0f, 1.0f); break;
        case ModTarget::EnvAmount: sums.env += x; break;
        case ModTarget::Volume: // only takes away
            sums.volume = std::clamp(sums.volume + x - slot.amount, 0.0f, 1.0f);
            break;
        }
    }
    return sums;
}

template <Revision kRevision>
FilterEnvelopeRates VoiceRenderer<kRevision>::filterEnvelopeRates() const noexcept
{
    const double fs8 = context.rates.fs8;
    const double fallSeconds = voice.released ? values.filterRelease : values.filterDecay;
    return {
        .attack = values.filterAttack,
        .release = std::pow(0.1, 1.0 / (fallSeconds * fs8)),
        .decayOhms = values.filterDecay / (kLn10 * FilterEnvelope::kFarads),
        .sustain = values.filterSustain * 0.9 * 0.5,
        .droopStart = 132.0 * std::exp(14.0 * static_cast<double>(values.filterAttackNorm)),
        .fs8 = fs8,
    };
}

template <Revision kRevision>
AmpEnvelopeRates VoiceRenderer<kRevision>::ampEnvelopeRates() const noexcept
{
    return {
        .attack = values.ampAttack,
        .decay = values.ampDecay,
        .release = values.ampRelease,
        .linearFall = 1.0 / (values.ampReleaseMs * 0.001 * context.rates.fs8),
        .linearRelease = values.ampReleaseNorm < 0.01f,
    };
}

template <Revision kRevision>
void VoiceRenderer<kRevision>::render(LaneWriter& out, int count) noexcept
{
    const VoiceRates& rates = context.rates;
    const ShapeTables& shapes = shapeTables();
    const float* const curve = ampCurve().data();

    // Modulation of this stretch
    followControllers();
    const SlotSums sums = sumSlots();
    const float s = values.modShape;
    const float d = sums.modDepth;
    const float depth = (1.0f - s) * d + s * d * d * d;

    // Pitch
    const std::array<double, 3> bases = oscillatorBases(values, voice.lane, rates.fs8);
    const auto channel = static_cast<std::size_t>(voice.channel);
    const double bendNow = static_cast<double>(context.performance.pitchBendNow[channel]);
    const double bend = bendNow * (bendNow > 0.0 ? values.bendRangeUp : values.bendRangeDown);
    double glidePitch = lanes.glidePitch[lane];
    double bendSmooth = lanes.bendSmooth[lane];
    float modAmount = lanes.modAmount[lane];
    float modSignal = lanes.modSignal[lane];
    double lastPitch = std::numeric_limits<double>::quiet_NaN(); // that f belongs to
    double f = 1.0;
    DriftState drift = lanes.drift.load(lane);

    // Oscillators
    std::array<OscillatorState, 3> osc;
    std::array<float, 3> inc{};
    std::array<float, 3> threshold{};
    for (std::size_t k = 0; k < 3; ++k) {
        osc[k] = lanes.oscillators[k].load(lane);
        threshold[k] = pulseThreshold<kRevision>(k, values.oscWave[k]);
    }
    if (!values.osc3KeyTrack)
        inc[2] = fixedOscillator3Increment(values);

    // Mixer
    const auto levelOf = [this](std::size_t k) {
        return values.mixLevel[k] * kWaveLevel[static_cast<std::size_t>(values.oscWave[k])];
    };
    Ramp<float> gain1(lanes.gain[0][lane], levelOf(0), count);
    Ramp<float> gain2(lanes.gain[1][lane], levelOf(1), count);
    Ramp<float> gain3(lanes.gain[2][lane], levelOf(2), count);
    Ramp<float> volMod(lanes.volMod[lane], sums.volume, count);
    NoiseState noise = lanes.noise.load(lane);

    // Filter envelope and cutoff
    if (voice.released && context.performance.pedalUp) {
        lanes.filterEnvelope.fltState[lane] = EnvelopeStage::Release;
        lanes.ampEnvelope.ampState[lane] = EnvelopeStage::Release;
    }
    FilterEnvelope filterEnvelope = lanes.filterEnvelope.load(lane);
    const FilterEnvelopeRates filterRates = filterEnvelopeRates();
    double droop = 0.0;
    const float cutoffTarget =
        values.cutoff * values.cutoffRangeFactor * kCutoffScale<kRevision> + sums.cutoff;
    Ramp<float> cutBase(lanes.cutBase[lane], cutoffTarget, count);
    Ramp<float> envSum(lanes.envSum[lane], sums.env, count);
    const double keytrack = static_cast<double>(values.keytrack) * kCutoffPerSemitone;
    float keyCutoff = 0.0f;
    float cutNoise = lanes.cutNoise[lane];
    float cutoff = lanes.cutoff[lane];
    const float resonance = values.resonance * values.resonanceRange;

    // Amplifier envelope
    AmpEnvelope ampEnvelope = lanes.ampEnvelope.load(lane);
    const AmpEnvelopeRates ampRates = ampEnvelopeRates();
    double toPeak = 1.0 - ampEnvelope.ampLevel;
    double level = 0.0;
    Ramp<double> sustainRamp(lanes.sustainRamp[lane], values.ampSustain * 0.8, count);

    for (int i = 0; i < count; ++i) {
        if (i % kTick == 0) {
            glidePitch = glided(glidePitch, voice.note, values.glideRate);
            drift.tick(voice.random, rates.driftStep);
            bendSmooth += (bend - bendSmooth) * rates.bend;

            double pitch = glidePitch + bendSmooth;
            if (values.modOscOn)
                pitch += static_cast<double>(modSignal) * kModSemitones *
                         static_cast<double>(modAmount) * static_cast<double>(values.modPitchRange);
            if (pitch != lastPitch) {
                lastPitch = pitch;
                f = std::pow(values.oscKeytrackSlope, pitch / 12.0);
            }
            const double drift1 = drift.drift1 * values.oscDrift;
            const double drift2 = drift.drift2 * values.oscDrift;
            // Kept: oscillators 2 and 3 drift in opposite directions.
            inc[0] = static_cast<float>(std::min(bases[0] * f * (1.0 + drift1), kMaxIncrement));
            inc[1] = static_cast<float>(std::min(bases[1] * f * (1.0 - drift2), kMaxIncrement));
            if (values.osc3KeyTrack)
                inc[2] = static_cast<float>(std::min(bases[2] * f * (1.0 + drift2), kMaxIncrement));

            modAmount += (depth - modAmount) * rates.modAmount;
            noise.tick(context.tone, rates);
            if (filterEnvelope.fltState == EnvelopeStage::Decay)
                droop = filterEnvelope.droopConductance();
            filterEnvelope.droopTime += rates.droopStep;
            keyCutoff = static_cast<float>((glidePitch - kKeytrackCentre) * keytrack);
        }

        std::array<float, 3> o{};
        for (std::size_t k = 0; k < 3; ++k)
            o[k] = oscillatorSample<kRevision>(osc[k], k, values.oscWave[k], inc[k], threshold[k],
                                               rates.triLow, shapes);

        float mix = o[0] * gain1.next() + o[1] * gain2.next() + o[2] * gain3.next();
        const float white = whiteNoise(context.noiseSeed);
        context.noiseSeed = nextSeed(context.noiseSeed);
        const NoiseState::Sample n =
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

        level = ampEnvelope.tick(ampRates, toPeak, sustainRamp.next());
        out.write(signal, cutoff, ampCurveAt(curve, level), resonance);
    }

    // What has faded away becomes exactly zero.
    if (ampEnvelope.ampLevel < 1e-8)
        ampEnvelope.ampLevel = 0.0;
    if (filterEnvelope.fltOut < 1e-6)
        filterEnvelope.fltOut = 0.0;
    if (modAmount < 1e-4f && depth < 1e-4f)
        modAmount = 0.0f;
    if (ampEnvelope.ampState == EnvelopeStage::Release && level < 1e-6) {
        voice.ended = true;
        if (isPolyphonic(values.polyMode))
            filterEnvelope.fltOut = 0.0;
    }

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

template class VoiceRenderer<Revision::Late>;
template class VoiceRenderer<Revision::Early>;

} // namespace zephra
