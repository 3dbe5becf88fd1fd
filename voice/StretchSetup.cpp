// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/StretchSetup.h"

#include "voice/AmpCurve.h"
#include "voice/Pitch.h"
#include "voice/ShapeTables.h"
#include "voice/Waves.h"

#include <algorithm>
#include <cmath>

namespace zephra {

namespace {

void followControllers(Voice& voice, const Performance& p) noexcept
{
    constexpr float kStep = 0.08f; // per stretch, however long
    const auto c = static_cast<std::size_t>(voice.channel);
    voice.smoothAftertouch += (p.aftertouch[c] - voice.smoothAftertouch) * kStep;
    voice.smoothBreath += (p.breath[c] - voice.smoothBreath) * kStep;
    voice.smoothExpression += (p.expression[c] - voice.smoothExpression) * kStep;
    voice.smoothFoot += (p.foot[c] - voice.smoothFoot) * kStep;
    voice.smoothTimbre += (p.timbre[c] - voice.smoothTimbre) * kStep;
}

float sourceValue(ModSource source, const Voice& voice, const Performance& performance) noexcept
{
    switch (source) {
    case ModSource::Off: break;
    case ModSource::Velocity: return voice.velocity;
    case ModSource::Aftertouch: return voice.smoothAftertouch;
    case ModSource::Foot: return voice.smoothFoot;
    case ModSource::Expression: return voice.smoothExpression;
    case ModSource::Timbre: return voice.smoothTimbre;
    case ModSource::ModWheel: return performance.modWheelNow;
    }
    return 0.0f;
}

struct SlotSums {
    float cutoff = 0.0f;
    float modDepth = 0.0f; ///< 0..1
    float env = 0.0f;
    float volume = 1.0f; ///< 0..1
};

SlotSums sumSlots(const EngineValues& values, const Voice& voice,
                  const Performance& performance) noexcept
{
    SlotSums sums;
    for (const ModSlot& slot : values.modSlots) {
        if (slot.source == ModSource::Off)
            continue; // an unused slot does not mute the voice
        float x = slot.amount * sourceValue(slot.source, voice, performance);
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

} // namespace

VoiceStretch stretchOf(const EngineValues& values, const VoiceRates& rates, const ToneSample& tone,
                       int count) noexcept
{
    VoiceStretch s{
        .values = &values,
        .rates = &rates,
        .shapes = &shapeTables(),
        .ampCurve = ampCurve().data(),
        .tone = tone.data(),
        .toneLength = tone.length(),
        .count = count,
        .resonance = values.resonance * values.resonanceRange,
        .ampSustain = values.ampSustain * 0.8,
        .octavesPerSemitone = std::log2(values.oscKeytrackSlope) / 12.0,
        .filterRates =
            {
                .attack = values.filterAttack,
                .release = 0.0, // by lane
                .decayOhms = values.filterDecay / (kLn10 * FilterEnvelope::kFarads),
                .sustain = values.filterSustain * 0.9 * 0.5,
                .droopStart = 132.0 * std::exp(14.0 * static_cast<double>(values.filterAttackNorm)),
                .fs8 = rates.fs8,
            },
        .ampRates =
            {
                .attack = values.ampAttack,
                .decay = values.ampDecay,
                .release = values.ampRelease,
                .linearFall = 1.0 / (values.ampReleaseMs * 0.001 * rates.fs8),
                .linearRelease = values.ampReleaseNorm < 0.01f,
            },
    };
    for (std::size_t k = 0; k < 3; ++k) {
        const Wave wave = values.oscWave[k];
        s.threshold[k] = values.revision == Revision::Early
                             ? pulseThreshold<Revision::Early>(k, wave)
                             : pulseThreshold<Revision::Late>(k, wave);
        s.gain[k] = values.mixLevel[k] * kWaveLevel[static_cast<std::size_t>(wave)];
    }
    return s;
}

void startLane(VoiceStretch& stretch, Voice& voice, const Performance& performance) noexcept
{
    const auto lane = static_cast<std::size_t>(voice.lane);
    const EngineValues& values = *stretch.values;
    const double fs8 = stretch.rates->fs8;
    stretch.running[lane] = -1;

    // Modulation
    followControllers(voice, performance);
    const SlotSums sums = sumSlots(values, voice, performance);
    const float s = values.modShape;
    const float d = sums.modDepth;
    // Kept: the Early cutoff sits 1.1 semitones lower at half travel; its table takes that back.
    const float scale = values.revision == Revision::Early ? 0.982f : 1.0f;
    stretch.depth[lane] = (1.0f - s) * d + s * d * d * d;
    stretch.cutoff[lane] = values.cutoff * values.cutoffRangeFactor * scale + sums.cutoff;
    stretch.env[lane] = sums.env;
    stretch.volume[lane] = sums.volume;

    // Pitch
    const std::array<double, 3> bases = oscillatorBases(values, voice.lane, fs8);
    for (std::size_t k = 0; k < 3; ++k)
        stretch.base[k][lane] = bases[k];
    if (!values.osc3KeyTrack)
        stretch.fixedIncrement[lane] = fixedOscillator3Increment(values);
    const auto channel = static_cast<std::size_t>(voice.channel);
    const double bendNow = static_cast<double>(performance.pitchBendNow[channel]);
    stretch.bend[lane] = bendNow * (bendNow > 0.0 ? values.bendRangeUp : values.bendRangeDown);
    stretch.note[lane] = voice.note;

    // Envelopes
    if (voice.released && performance.pedalUp) {
        voice.lanes->filterEnvelope.fltState[lane] = EnvelopeStage::Release;
        voice.lanes->ampEnvelope.ampState[lane] = EnvelopeStage::Release;
    }
    const double fallSeconds = voice.released ? values.filterRelease : values.filterDecay;
    stretch.filterRelease[lane] = std::pow(0.1, 1.0 / (fallSeconds * fs8));
}

void finishLane(const EngineValues& values, Voice& voice) noexcept
{
    const auto lane = static_cast<std::size_t>(voice.lane);
    VoiceLanes& lanes = *voice.lanes;
    if (lanes.ampEnvelope.ampState[lane] == EnvelopeStage::Release && lanes.ampOut[lane] < 1e-6) {
        voice.ended = true;
        if (isPolyphonic(values.polyMode))
            lanes.filterEnvelope.fltOut[lane] = 0.0;
    }
}

} // namespace zephra
