// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Maths.h"

namespace zephra {

/// Voices and filter run at this multiple of the host rate, whatever the host rate is.
inline constexpr int kOversampling = 8;

/// Voice-rate samples between two control ticks; ticks thus run at the host rate.
inline constexpr int kTick = 8;

/// Everything in a voice that follows from the host rate alone.
struct VoiceRates {
    explicit VoiceRates(double hostRate = 44100.0) noexcept
        : fs(hostRate), fs8(hostRate * kOversampling), bend(onePoleCoeff(15.0, fs)),
          modAmount(static_cast<float>(onePoleCoeff(12.0, fs))),
          slowNoise(static_cast<float>(onePoleCoeff(10.0, fs))), driftStep(kDriftSpeed / fs),
          triLow(static_cast<float>(onePoleCoeff(200.0, fs8))),
          pinkLp(static_cast<float>(onePoleCoeff(100.0, fs8))),
          whiteLp(static_cast<float>(onePoleCoeff(80.0, fs8))),
          cutNoise(static_cast<float>(onePoleCoeff(9.0, fs8))), droopStep(192000.0 / fs)
    {
    }

    double fs;  ///< host rate, Hz
    double fs8; ///< voice rate, Hz

    // Per control tick
    double bend;      ///< 15 Hz, pitch bend
    float modAmount;  ///< 12 Hz, modulation depth
    float slowNoise;  ///< 10 Hz, slow part of the pink noise
    double driftStep; ///< way of a drift walker

    // Per voice-rate sample
    float triLow;   ///< 200 Hz, body of the Late triangle
    float pinkLp;   ///< 100 Hz, pink noise as modulation
    float whiteLp;  ///< 80 Hz, floor of the white noise
    float cutNoise; ///< 9 Hz, wobble of the cutoff

    double droopStep; ///< running time of the filter decay per tick, in 1/192000 s

private:
    static constexpr double kDriftSpeed = 0.5; ///< of the walker's whole way, per second
};

} // namespace zephra
