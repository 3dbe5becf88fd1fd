// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra {

/// Voice-rate samples of one sub-block.
inline constexpr int kMaxStretch = 512;

/// What a voice hands to the filter per voice-rate sample.
enum class Stream : int { Signal = 0, Cutoff = 1, Amplitude = 2, Resonance = 3 };

/// The voices' streams of one sub-block, one vector of lanes per stream and voice-rate sample.
/// Poly-8 uses the eight-lane form, all other modes the four-lane form.
struct LaneBuffer {
    alignas(128) float four[kMaxStretch][4][4]{};  ///< [voice sample][stream][lane]
    alignas(128) float eight[kMaxStretch][4][8]{}; ///< [voice sample][stream][lane]
};

/// One lane of a LaneBuffer, from a given voice-rate sample on.
class LaneWriter {
public:
    LaneWriter(LaneBuffer& buffer, bool eightLanes, int firstSample, int lane) noexcept
        : at(eightLanes ? &buffer.eight[firstSample][0][lane] : &buffer.four[firstSample][0][lane]),
          lanes(eightLanes ? 8 : 4)
    {
    }

    void write(float signal, float cutoff, float amplitude, float resonance) noexcept
    {
        at[0] = signal;
        at[lanes] = cutoff;
        at[2 * lanes] = amplitude;
        at[3 * lanes] = resonance;
        at += 4 * lanes;
    }

private:
    float* at;
    int lanes;
};

} // namespace zephra
