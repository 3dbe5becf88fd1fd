// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/ToneSample.h"
#include "voice/VoiceRates.h"

#include <cstdint>

namespace zephra {

/// White noise of a generator state: its upper half as a signed fraction, -0.5 up to 0.5.
inline float whiteNoise(std::uint32_t seed) noexcept
{
    return static_cast<float>(static_cast<std::int16_t>(seed >> 16)) * (1.0f / 65536.0f);
}

/// Noise of one voice: the slow noise that a tick draws from the recording, and its two
/// colourings as sound and as modulation.
struct NoiseState {
    float pinkLp1 = 0.0f, pinkLp2 = 0.0f; ///< 100 Hz low-passes of pink noise as modulation
    float whiteLp = 0.0f;                 ///< 80 Hz low-pass that white noise is freed of
    float pinkLow = 0.0f;                 ///< the slow noise, held between ticks
    float slowNoise = 0.0f;               ///< its 10 Hz part
    int tonePos = 0;                      ///< read position in the recording

    /// One control tick.
    void tick(const ToneSample& tone, const VoiceRates& rates) noexcept
    {
        const float v = static_cast<float>(tone[tonePos]) * (1.0f / 32768.0f) * 0.31f;
        if (++tonePos >= tone.length())
            tonePos = 0;
        slowNoise += (v - slowNoise) * rates.slowNoise;
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

} // namespace zephra
