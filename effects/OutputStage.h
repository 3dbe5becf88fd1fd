// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

/// Mains ripple and volume, at the host rate. The ripple modulates the highest treble of the
/// mix, not its level: a faint hum rides on the fizz, and silence stays silent. [audio]
class OutputStage {
public:
    void setSampleRate(double fs) noexcept; ///< clears phase and filters; volume stays
    void process(float* left, float* right, int frames, float volumeTarget,
                 bool mains50Hz) noexcept;
    void jumpToVolume(float target) noexcept { outVolume = target; }

private:
    /// First-order high-pass at 11 kHz.
    struct TreblePulse {
        float hpIn = 0.0f, hpOut = 0.0f; ///< previous input and output
    };
    float treble(TreblePulse& state, float raw) const noexcept;
    static float ripple(float phase) noexcept;

    double rate = 44100.0;
    float hpA = 0.0f, hpB = 0.0f; ///< feedback and gain of the high-passes
    float mainsPhase = 0.0f;      ///< 0..1
    float outVolume = 0.25f;      ///< follows its target by 0.001 a sample
    std::array<TreblePulse, 2> treblePulse{};
};

} // namespace zephra
