// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

enum class PolyMode : int { Mono = 0, Unison = 2, Poly4 = 3, Poly8 = 5 };
enum class Revision : int { Late = 0, Early = 1 };
enum class Wave : int { Triangle, Shark, Saw, RevSaw, Pulse, Wide, Narrow };
enum class ModSource : int {
    Off = 0,
    Velocity = 1,
    Aftertouch = 2,
    Foot = 3,
    Expression = 4,
    Timbre = 5,
    ModWheel = 6
};
enum class ModTarget : int { Off = 0, Filter = 1, ModAmount = 2, EnvAmount = 3, Volume = 4 };

/// One routing slot: source times amount goes to the target.
struct ModSlot {
    ModSource source = ModSource::Off;
    float amount = 0.0f; ///< 0..1
    ModTarget target = ModTarget::Off;
};

constexpr int voicesOf(PolyMode mode) noexcept
{
    switch (mode) {
    case PolyMode::Mono: return 1;
    case PolyMode::Unison:
    case PolyMode::Poly4: return 4;
    case PolyMode::Poly8: return 8;
    }
    return 1;
}

constexpr bool isPolyphonic(PolyMode mode) noexcept
{
    return mode == PolyMode::Poly4 || mode == PolyMode::Poly8;
}

/// What voices, filter and output stage read in one sub-block of at most 64 host samples: a plain
/// copy of the engine's targets, those marked "smoothed" on their way there. [audio]
struct EngineValues {
    // Modes
    PolyMode polyMode = PolyMode::Mono;
    Revision revision = Revision::Late;
    bool notePriorityLast = true; ///< else lowest note, or round robin
    bool monoRetrig = false;      ///< else legato

    // Pitch
    double glideRate = 0.0;                 ///< semitones per control tick
    double unisonSpread = 0.0;              ///< smoothed, 0..1
    float unisonDetune = 0.0f;              ///< 0..1
    double coarseFactor = 1.0;              ///< 0.25, 0.5, 1, 2, 4
    double fineFactor = 1.0;                ///< smoothed, 2^(-1/12)..2^(1/12)
    int bendRangeUp = 0, bendRangeDown = 0; ///< semitones
    double oscKeytrackSlope = 2.0;          ///< frequency ratio of an octave of keys
    double oscDrift = 0.0;                  ///< 0..0.0025, relative frequency

    // Oscillators, [0..2]
    std::array<Wave, 3> oscWave{};
    std::array<int, 3> oscRange{};        ///< 0 "LO" .. 5 "2'"
    std::array<float, 3> oscSemi{};       ///< smoothed, semitones, -7..7
    std::array<float, 3> oscFine{};       ///< semitones, -0.5..0.5
    std::array<float, 3> oscStartPhase{}; ///< 0..1; up to 0.001 free-running
    bool osc3KeyTrack = false;
    bool osc3LoSync = false;
    double osc3FixedRate = 0.0; ///< cycles per voice-rate sample in range "LO"
    double lfoIncrement = 0.0;  ///< the same from the tempo

    // Mixer
    std::array<float, 3> mixLevel{}; ///< smoothed, 0 while the oscillator is off
    float noiseLevel = 0.0f;         ///< smoothed
    bool noiseIsPink = true;
    float drive = 0.0f;       ///< smoothed, 0..1
    float feedback = 0.0f;    ///< smoothed, 0..8
    float filterInput = 0.0f; ///< smoothed; no stage reads it yet

    // Filter
    bool filter24dB = true;
    bool filterBandPass = false;
    float cutoff = 0.0f;            ///< smoothed, 0..0.952
    float cutoffRangeFactor = 1.0f; ///< 0.952..1.05
    float resonance = 0.0f;         ///< smoothed, 0..1
    float resonanceRange = 5.0f;    ///< 5..6, loop gain at full resonance
    float keytrack = 0.0f;          ///< smoothed, 0, 1/3, 2/3, 1
    float symmetry = 0.001f;        ///< smoothed, -0.1..0.1
    float saturation = 0.0f;        ///< smoothed, 0..1

    // Filter envelope
    float filterEnvAmount = 0.0f; ///< smoothed, 0..1
    double filterAttack = 0.0;    ///< smoothed, factor per voice-rate sample
    double filterDecay = 0.003;   ///< smoothed, seconds
    double filterSustain = 0.0;   ///< smoothed, 0.035..1.027
    double filterRelease = 0.003; ///< smoothed, seconds
    double filterAttackSeconds = 0.0009;
    float filterAttackNorm = 0.0f;  ///< the control itself, 0..1
    float filterReleaseNorm = 0.0f; ///< the control itself, 0..1

    // Amplifier envelope
    double ampAttack = 0.0;      ///< smoothed, factor per voice-rate sample
    double ampDecay = 0.0;       ///< smoothed, factor per voice-rate sample
    double ampSustain = 0.0;     ///< smoothed, 0..1
    double ampRelease = 0.0;     ///< smoothed, factor per voice-rate sample
    double ampReleaseMs = 2.5;   ///< time of the linear fall
    float ampReleaseNorm = 0.0f; ///< the control itself, 0..1

    // Modulation
    std::array<ModSlot, 3> modSlots{};
    float modulationMix = 0.0f; ///< 0: oscillator 3, 1: noise
    bool modOscOn = false, modFltOn = false;
    float modPitchRange = 1.0f;  ///< 0.5..2
    float modCutoffRange = 1.0f; ///< 0.5..2
    float modShape = 0.0f;       ///< 0 linear, 1 cubic
    float monoAftertouch = 0.0f; ///< smoothed follower of any channel's pressure

    // Output
    bool mains50Hz = true;
};

} // namespace zephra
