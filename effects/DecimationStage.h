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
    static constexpr unsigned kEntries = 64;
    static constexpr unsigned kWalked = 61; ///< groups of two taps, the last of them zero

    /// Left and right of an even voice-rate sample in lanes 0 and 1, of the odd sample before it
    /// in lanes 2 and 3: one four-lane multiply serves two taps of both channels.
    std::array<Float4, kEntries> ring{};
    std::array<Float4, kEntries> coef{}; ///< even taps in lanes 0 and 1, odd ones in 2 and 3
    unsigned ringPos = 0;                ///< masked on use
};

} // namespace zephra
