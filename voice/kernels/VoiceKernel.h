// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Isa.h"
#include "voice/EngineValues.h"
#include "voice/VoiceLanes.h"
#include "voice/VoiceRates.h"

#include <array>
#include <cstdint>

namespace zephra {

struct ShapeTables;

/// What the voices of one stretch, between two note events, render from. Lanes whose voice is
/// silent have idle values: increment bases and depths of 0, and a state that stands still.
struct VoiceStretch {
    const EngineValues* values = nullptr;
    const VoiceRates* rates = nullptr;
    const ShapeTables* shapes = nullptr;
    const float* ampCurve = nullptr;
    const std::int16_t* tone = nullptr; ///< the noise recording at the host rate, a loop
    int toneLength = 0;
    int count = 0; ///< voice-rate samples, a multiple of 8

    // Common to all lanes
    std::array<float, 3> threshold{}; ///< of the pulse waves, 0..1
    std::array<float, 3> gain{};      ///< oscillator level times its wave's factor
    float resonance = 0.0f;           ///< loop gain
    double ampSustain = 0.0;          ///< 0..0.8
    double octavesPerSemitone = 0.0;
    FilterEnvelopeRates filterRates{};
    AmpEnvelopeRates ampRates{};

    // By lane
    Lanes<int> running{};                   ///< -1, or 0 for a silent voice
    Lanes<float> idleLevel{}, idleCutoff{}; ///< what a silent voice hands to the filter
    Lanes<std::uint32_t> noiseSeed{};
    Lanes<double> note{}, bend{};           ///< targets; note number, semitones
    std::array<Lanes<double>, 3> base{};    ///< increment at pitch 0
    Lanes<float> fixedIncrement{};          ///< of oscillator 3 while it ignores the keyboard
    Lanes<float> depth{};                   ///< target of the modulation depth, 0..1
    Lanes<float> cutoff{}, env{}, volume{}; ///< targets of cutBase, envSum, volMod
    Lanes<double> filterRelease{};          ///< factor per voice-rate sample
};

/// Where a group of lanes goes in the frames of a lane buffer.
struct LanePlace {
    float* frames = nullptr; ///< [voice sample][stream][lane]
    int frameLanes = 4;      ///< 4 or 8
    int first = 0;           ///< lane that the group starts with
    int lanes = 4;           ///< 4 or 8
};

/// Plays a group of voices over one stretch: oscillators, mixer, noise and both envelopes.
template <Isa isa>
void renderVoices(const VoiceStretch& stretch, VoiceLanes& lanes, const LanePlace& place) noexcept;

using VoiceKernel = decltype(&renderVoices<Isa::baseline>);

inline VoiceKernel voiceKernel(Isa isa) noexcept
{
    return kernelFor(isa, []<Isa kIsa>() -> VoiceKernel { return &renderVoices<kIsa>; });
}

} // namespace zephra
