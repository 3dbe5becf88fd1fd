// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/CutoffTables.h"
#include "voice/EngineValues.h"
#include "voice/kernels/FilterKernel.h"
#include "voice/LaneBuffer.h"

namespace zephra {

/// Filter, amplifier and pan of all voices: from the lane buffer to stereo at the voice rate. The
/// state belongs to the lanes, not to the notes: a new note sounds through the ring of the old
/// one. [audio] unless marked otherwise.
class FilterBank {
public:
    explicit FilterBank(Isa isa = chosenIsa()) noexcept;
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
    decltype(&filterStretch<Isa::baseline>) kernel;
    FilterLanes lanes;
    CutoffTables tables;
    FilterStretch::OnePoles lateCoeffs, earlyCoeffs; ///< of the iterated ladder, the linearised
};

} // namespace zephra
