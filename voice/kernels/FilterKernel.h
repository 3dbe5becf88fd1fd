// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Isa.h"
#include "voice/LaneBuffer.h"

#include <array>

namespace zephra {

/// State of all lanes of a FilterBank between two sub-blocks: words of eight lanes, in the order
/// in which the kernel visits them.
struct FilterLanes {
    using Word = std::array<float, 8>;
    alignas(32) std::array<Word, 9> iterated{};
    alignas(32) std::array<Word, 6> linearised{};
    alignas(32) std::array<Word, 4> around{}; ///< of the stages before and after the ladder
};

/// What is constant during one sub-block.
struct FilterStretch {
    /// Constants of the one-poles at one rate: tan(pi * Hz / fs8), used directly.
    struct OnePoles {
        float inHp = 0.0f, outLp = 0.0f, amHp = 0.0f;
        float loopHp1 = 0.0f, loopHp2 = 0.0f; ///< in the resonance path; iterated has one
    };
    /// Output tap as weights of the ladder stages, with the gain that brings the four modes to
    /// one loudness.
    struct Tap {
        float y1 = 0.0f, y2 = 0.0f, y3 = 0.0f, y4 = 0.0f, comp = 0.0f;
    };
    struct Pan {
        float left[4]{}, right[4]{}; ///< gain per lane; lanes 4..7 are as 0..3
    };

    bool iterated = false; ///< the ladder, else the linearised one
    bool eight = false;    ///< lanes, else four
    bool mono = false;     ///< the first lane decides alone and is heard in the middle
    float drive = 0.0f;
    float asym = 0.0f; ///< bias of the ladder
    float sat = 0.0f;  ///< gain into the amplifier's clipper
    float fbGain = 0.0f;
    Tap tap;
    const float* cutoffTable = nullptr; ///< g by cutoff times CutoffTables::kTopEntry
    OnePoles coeffs;
    Pan pan;
};

/// `count` frames of four streams to left and right, for 4 or 8 lanes.
template <Isa isa>
void filterStretch(const FilterStretch& stretch, FilterLanes& lanes, const LaneBuffer& buffer,
                   int count, float* left, float* right) noexcept;

} // namespace zephra
