// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Simd.h"

#include <array>

namespace zephra {

/// From the voice rate to the host rate: a 119-tap windowed-sinc low-pass at 0.48 of the host
/// rate, computed for every eighth sample only. DC gain 0.99959. [audio]
class DecimationStage {
public:
    DecimationStage() noexcept;

    /// 8 * `count` voice-rate samples in, `count` host-rate samples out.
    void process(const float* overLeft, const float* overRight, int count, float* left,
                 float* right) noexcept;
    void reset() noexcept;

    static constexpr int kTaps = 119;
    /// Tap n = 0..118 of the impulse response, at the voice rate.
    static double tap(int n) noexcept;

private:
    static constexpr int kMost = 64;               ///< host-rate samples taken at once
    static constexpr int kPairs = (kTaps + 1) / 2; ///< of taps; the oldest tap is zero
    static constexpr int kKept = kTaps;            ///< voice-rate samples that outlive a call

    template <int kOutputs> void filter(int first, float* left, float* right) const noexcept;

    /// Left and right by turns: one four-lane multiply serves two taps of both channels.
    alignas(16) std::array<float, 2 * (kKept + 8 * kMost)> history{};
    std::array<Float4, kPairs> coef{}; ///< oldest pair first; odd taps in lanes 0 and 1
};

} // namespace zephra
