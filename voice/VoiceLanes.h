// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/AmpEnvelope.h"
#include "voice/Drift.h"
#include "voice/FilterEnvelope.h"

#include <array>

namespace zephra {

inline constexpr int kVoices = 8;

template <class T> using Lanes = std::array<T, kVoices>;

// State that changes per sample or per tick, eight voices side by side, so that one kernel can
// move all lanes at once. A stretch takes a lane's state to locals and puts it back at its end.

/// State of one oscillator of one voice.
struct OscillatorState {
    float phase = 0.0f;    ///< 0 up to 1, cycles
    float heldNext = 0.0f; ///< ramp or pulse value of the next sample, with its step correction
    float triLow = 0.0f;   ///< 200 Hz low-pass under the Late triangle
    int pulseHigh = 0;     ///< 0 before the pulse threshold in the cycle, 1 after it
};

struct OscillatorLanes {
    Lanes<float> phase{}, heldNext{}, triLow{};
    Lanes<int> pulseHigh{};

    OscillatorState load(std::size_t lane) const noexcept
    {
        return {phase[lane], heldNext[lane], triLow[lane], pulseHigh[lane]};
    }
    void store(std::size_t lane, const OscillatorState& s) noexcept
    {
        phase[lane] = s.phase;
        heldNext[lane] = s.heldNext;
        triLow[lane] = s.triLow;
        pulseHigh[lane] = s.pulseHigh;
    }
};

/// Noise of one voice: the slow noise that a tick draws from the recording, and its two
/// colourings as sound and as modulation.
struct NoiseState {
    float pinkLp1 = 0.0f, pinkLp2 = 0.0f; ///< 100 Hz low-passes of pink noise as modulation
    float whiteLp = 0.0f;                 ///< 80 Hz low-pass that white noise is freed of
    float pinkLow = 0.0f;                 ///< the slow noise, held between ticks
    float slowNoise = 0.0f;               ///< its 10 Hz part
    int tonePos = 0;                      ///< read position in the recording
};

struct NoiseLanes {
    Lanes<float> pinkLp1{}, pinkLp2{}, whiteLp{}, slowNoise{}, pinkLow{};
    Lanes<int> tonePos{};

    NoiseState load(std::size_t lane) const noexcept
    {
        return {pinkLp1[lane], pinkLp2[lane],   whiteLp[lane],
                pinkLow[lane], slowNoise[lane], tonePos[lane]};
    }
    void store(std::size_t lane, const NoiseState& s) noexcept
    {
        pinkLp1[lane] = s.pinkLp1;
        pinkLp2[lane] = s.pinkLp2;
        whiteLp[lane] = s.whiteLp;
        pinkLow[lane] = s.pinkLow;
        slowNoise[lane] = s.slowNoise;
        tonePos[lane] = s.tonePos;
    }
};

struct DriftLanes {
    Lanes<double> drift1{}, drift2{}, driftTarget1{}, driftTarget2{};

    DriftState load(std::size_t lane) const noexcept
    {
        return {drift1[lane], drift2[lane], driftTarget1[lane], driftTarget2[lane]};
    }
    void store(std::size_t lane, const DriftState& s) noexcept
    {
        drift1[lane] = s.drift1;
        drift2[lane] = s.drift2;
        driftTarget1[lane] = s.driftTarget1;
        driftTarget2[lane] = s.driftTarget2;
    }
};

struct FilterEnvelopeLanes {
    Lanes<EnvelopeStage> fltState{};
    Lanes<double> fltCharge{}, fltLevel{}, fltOut{}, fltStart{}, fltScale{}, droopTime{};

    FilterEnvelope load(std::size_t lane) const noexcept
    {
        FilterEnvelope e;
        e.fltState = fltState[lane];
        e.fltCharge = fltCharge[lane];
        e.fltLevel = fltLevel[lane];
        e.fltOut = fltOut[lane];
        e.fltStart = fltStart[lane];
        e.fltScale = fltScale[lane];
        e.droopTime = droopTime[lane];
        return e;
    }
    void store(std::size_t lane, const FilterEnvelope& e) noexcept
    {
        fltState[lane] = e.fltState;
        fltCharge[lane] = e.fltCharge;
        fltLevel[lane] = e.fltLevel;
        fltOut[lane] = e.fltOut;
        fltStart[lane] = e.fltStart;
        fltScale[lane] = e.fltScale;
        droopTime[lane] = e.droopTime;
    }
};

struct AmpEnvelopeLanes {
    Lanes<EnvelopeStage> ampState{};
    Lanes<double> ampLevel{}, ampLinear{};

    AmpEnvelope load(std::size_t lane) const noexcept
    {
        return {ampState[lane], ampLevel[lane], ampLinear[lane]};
    }
    void store(std::size_t lane, const AmpEnvelope& e) noexcept
    {
        ampState[lane] = e.ampState;
        ampLevel[lane] = e.ampLevel;
        ampLinear[lane] = e.ampLinear;
    }
};

struct alignas(64) VoiceLanes {
    std::array<OscillatorLanes, 3> oscillators;
    NoiseLanes noise;
    DriftLanes drift;
    FilterEnvelopeLanes filterEnvelope;
    AmpEnvelopeLanes ampEnvelope;

    Lanes<double> glidePitch{}; ///< sounding pitch, note number with a fraction
    Lanes<double> bendSmooth{}; ///< semitones
    Lanes<float> modAmount{};   ///< smoothed modulation depth, 0..1
    Lanes<float> modSignal{};   ///< modulation source of the last sample

    // Ramped across each stretch, from the end of the last one
    std::array<Lanes<float>, 3> gain{}; ///< oscillator level times its wave's factor
    Lanes<float> cutBase{};
    Lanes<float> envSum{};
    Lanes<float> volMod{};       ///< 0..1, 1 at start
    Lanes<double> sustainRamp{}; ///< 0..0.8

    Lanes<float> cutNoise{}; ///< 9 Hz wobble of the cutoff
    Lanes<float> cutoff{};   ///< the last cutoff value, 0..1
    Lanes<double> ampOut{};  ///< the last level of the amplifier envelope, 0..1

    Lanes<Random15> random{}; ///< start phases and drift

    void copyLane(const VoiceLanes& from, std::size_t lane) noexcept
    {
        for (std::size_t k = 0; k < 3; ++k) {
            oscillators[k].store(lane, from.oscillators[k].load(lane));
            gain[k][lane] = from.gain[k][lane];
        }
        noise.store(lane, from.noise.load(lane));
        drift.store(lane, from.drift.load(lane));
        filterEnvelope.store(lane, from.filterEnvelope.load(lane));
        ampEnvelope.store(lane, from.ampEnvelope.load(lane));
        for (auto part :
             {&VoiceLanes::modAmount, &VoiceLanes::modSignal, &VoiceLanes::cutBase,
              &VoiceLanes::envSum, &VoiceLanes::volMod, &VoiceLanes::cutNoise, &VoiceLanes::cutoff})
            (this->*part)[lane] = (from.*part)[lane];
        for (auto part : {&VoiceLanes::glidePitch, &VoiceLanes::bendSmooth,
                          &VoiceLanes::sustainRamp, &VoiceLanes::ampOut})
            (this->*part)[lane] = (from.*part)[lane];
        random[lane] = from.random[lane];
    }
};

} // namespace zephra
