// SPDX-License-Identifier: GPL-3.0-or-later
#include "effects/OutputStage.h"

#include "common/Maths.h"

namespace zephra {

void OutputStage::setSampleRate(double fs) noexcept
{
    rate = fs;
    const double g = tanCoeff(11000.0, fs);
    const double b = 1.0 / (1.0 + g);
    hpB = static_cast<float>(b);
    hpA = static_cast<float>((g - 1.0) * b);
    mainsPhase = 0.0f;
    treblePulse = {};
}

float OutputStage::treble(TreblePulse& state, float raw) const noexcept
{
    const float hp = (raw - state.hpIn) * hpB - state.hpOut * hpA;
    state.hpIn = raw;
    state.hpOut = hp;
    return hp;
}

/// A parabolic sine of amplitude 0.25, bent to -0.1875..0.3125.
float OutputStage::ripple(float phase) noexcept
{
    const float t = 2.0f * phase - 1.0f;
    const float s = t < 0.0f ? t + t * t : t - t * t;
    return s + s * s;
}

void OutputStage::process(float* left, float* right, int frames, float volumeTarget,
                          bool mains50Hz) noexcept
{
    constexpr float kVolumeStep = 0.001f;
    constexpr float kRippleDepth = 0.0784f;
    const auto phaseStep = static_cast<float>((mains50Hz ? 50.0 : 60.0) / rate);
    for (int i = 0; i < frames; ++i) {
        outVolume += (volumeTarget - outVolume) * kVolumeStep;
        mainsPhase += phaseStep;
        if (mainsPhase > 1.0f)
            mainsPhase -= 1.0f;
        const float hum = ripple(mainsPhase) * kRippleDepth;
        left[i] = (left[i] + treble(treblePulse[0], left[i]) * hum) * outVolume;
        right[i] = (right[i] + treble(treblePulse[1], right[i]) * hum) * outVolume;
    }
    for (TreblePulse& pulse : treblePulse) {
        for (float* state : {&pulse.hpIn, &pulse.hpOut})
            if (!(std::fabs(*state) >= 1e-6f)) // nor does what is not a number stay
                *state = 0.0f;
    }
}

} // namespace zephra
