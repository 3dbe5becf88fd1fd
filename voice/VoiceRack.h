// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/kernels/VoiceKernel.h"
#include "voice/LaneBuffer.h"
#include "voice/ToneSample.h"
#include "voice/Voice.h"
#include "voice/VoiceRates.h"

#include <array>
#include <cstdint>

namespace zephra {

/// The eight voices and what they share. [audio] unless marked otherwise.
class VoiceRack {
public:
    /// `engineNumber` counts the engines of this process, so that no two draw the same numbers.
    explicit VoiceRack(std::uint32_t engineNumber,
                       VoiceKernel kernel = voiceKernel(chosenIsa())) noexcept;
    VoiceRack(const VoiceRack&) = delete;
    VoiceRack& operator=(const VoiceRack&) = delete;

    /// [!processing] Adopts the host rate and silences all voices; allocates.
    void setSampleRate(double fs);
    /// [!processing] Every voice back to its start values.
    void reset() noexcept;

    /// Oscillator 3 as the common low-frequency oscillator: voices 1..7 take over its state from
    /// voice 0, which keeps them together.
    void shareOscillator3() noexcept;

    /// Renders `count` voice-rate samples (a multiple of 8) from `firstSample` of the sub-block
    /// on into the lanes of the mode. Voice 0 always runs, in Unison all four; an ended voice
    /// costs one fill.
    void render(const EngineValues& values, const Performance& performance, LaneBuffer& buffer,
                int firstSample, int count) noexcept;

    Voice& operator[](int i) noexcept { return voices[static_cast<std::size_t>(i)]; }
    const Voice& operator[](int i) const noexcept { return voices[static_cast<std::size_t>(i)]; }
    std::array<Voice, kVoices>::iterator begin() noexcept { return voices.begin(); }
    std::array<Voice, kVoices>::iterator end() noexcept { return voices.end(); }

    VoiceLanes lanes;

private:
    VoiceKernel renderLanes;
    std::array<Voice, kVoices> voices;
    VoiceRates rates;
    ToneSample tone;
    std::uint32_t noiseSeed = 1; ///< one white noise for all voices, drawn in voice order
};

} // namespace zephra
