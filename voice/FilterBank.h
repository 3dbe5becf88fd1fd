// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Simd.h"
#include "voice/CutoffTables.h"
#include "voice/EngineValues.h"
#include "voice/Ladder.h"
#include "voice/LaneBuffer.h"

#include <array>

namespace zephra {

/// Filter, amplifier and pan of all voices: from the lane buffer to stereo at the voice rate. The
/// state belongs to the lanes, not to the notes: a new note sounds through the ring of the old
/// one. [audio] unless marked otherwise.
class FilterBank {
public:
    FilterBank() = default;
    FilterBank(const FilterBank&) = delete;
    FilterBank& operator=(const FilterBank&) = delete;

    /// [!processing] Rebuilds the tables of the rate; allocates the first time.
    void setSampleRate(double fs);
    /// Clears the state of all lanes.
    void reset() noexcept;

    /// `count` (0..512) voice-rate samples from the start of the buffer to left and right.
    void process(const EngineValues& values, const LaneBuffer& buffer, int count, float* left,
                 float* right) noexcept;

private:
    /// State of four lanes.
    struct Group {
        IteratedLadder<Float4> iterated;
        LinearisedLadder<Float4> linearised;
        Float4 fbState{}; ///< output of the last sample times the feedback gain
        Float4 inHp{};    ///< low-pass under the input high-pass
        Float4 outLp{};   ///< low-pass under the DC removal before the amplifier
        Float4 amHp{};    ///< low-pass under the DC removal after it
    };
    /// Constants of the one-poles at one rate: tan(pi * Hz / fs8), used directly.
    struct Coefficients {
        float inHp = 0.0f, outLp = 0.0f, amHp = 0.0f;
    };
    struct Stretch; ///< constants of one sub-block
    struct Pan {
        Float4 left{}, right{}; ///< gain per lane
    };

    template <bool kIterated>
    Float4 tick(Group& group, const Stretch& s, Float4 signal, Float4 cutoff, Float4 amplitude,
                Float4 resonance) noexcept;
    template <bool kIterated>
    void processFour(const Stretch& s, const LaneBuffer& buffer, int count, float* left,
                     float* right) noexcept;
    void processEight(const Stretch& s, const LaneBuffer& buffer, int count, float* left,
                      float* right) noexcept;
    static bool clearBroken(Group& group) noexcept;

    std::array<Group, 2> groups; ///< lanes 0..3 and 4..7
    CutoffTables tables;
    Coefficients lateCoeffs, earlyCoeffs;
    float lateResonanceHp = 0.0f; ///< constant of the 29.04 Hz high-pass
    ResonancePath earlyResonancePath{0.0f, 0.0f};
};

} // namespace zephra
