// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

/// Voice-rate samples of one sub-block.
inline constexpr int kMaxStretch = 512;

/// What a voice hands to the filter per voice-rate sample.
enum class Stream : int { Signal = 0, Cutoff = 1, Amplitude = 2, Resonance = 3 };

/// The voices' streams of one sub-block, one vector of lanes per stream and voice-rate sample.
/// Poly-8 uses the eight-lane form, all other modes the four-lane form.
struct LaneBuffer {
    alignas(128) std::array<float, kMaxStretch * 16> four{};  ///< [voice sample][stream][lane]
    alignas(128) std::array<float, kMaxStretch * 32> eight{}; ///< [voice sample][stream][lane]
};

} // namespace zephra
