// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Random15.h"
#include "common/Ring.h"
#include "common/Shared.h"
#include "common/Simd.h"
#include "effects/SvfLowPass.h"

#include <array>
#include <cstdint>
#include <vector>

namespace zephra {

/// Stereo figure-of-eight tank before the delay, in place at the host rate. Nothing above 8 kHz
/// enters it. Two half-tanks of unlike lengths, one per channel, each feeding the other:
///
///     in ──> 8 kHz low-pass ──(+)──> entry1 ──> entry2 ──> pre ──*──> first ──> middle ──*──┐
///                               ^                                 g1                 g2, g3  │
///     other half ──> 12 kHz ────┘ x lowGain, highGain   ┌────────────────────────────────────┘
///                                                       └──> second ──> last ──*──> other half
///                                                                              g4
///
/// `first` holds an all-pass inside its own loop, `second` two, and is read at a moving place.
/// The taps g1, g2 and g4 go to the half's own channel, g3 to the other one.
///
/// [audio] unless marked otherwise; allocates only in setSampleRate. Silence costs what sound
/// costs, if the caller has flush-to-zero set; once it is complete, the caller may let it rest.
class PlateReverb {
public:
    explicit PlateReverb(std::uint32_t seed); ///< of the wander; at 44100 Hz, all controls at 0
    PlateReverb(const PlateReverb&) = delete;
    PlateReverb& operator=(const PlateReverb&) = delete;

    /// [!processing] Hz, 44100..384000; clears when int(fs) changes, else does nothing.
    void setSampleRate(double newRate);

    void setTime(float control) noexcept;   ///< [any] 0..1, clipped; at 1 the tail never ends
    void setColor(float control) noexcept;  ///< [any] 0..1, clipped; below 0.5 the lows ring longer
    void setWidth(float control) noexcept;  ///< [any] 0..1, clipped; 0 is a mono reverb
    void setDryWet(float control) noexcept; ///< [any] 0..1, clipped

    /// `fade` 0..1 scales the wet share, 0.0001 at least while it is 1.
    void process(float* left, float* right, int frames, float fade) noexcept;

    /// Whether no smoothed value moves any more.
    bool hasArrived(float fade) noexcept;
    /// What process() does with `frames` of silence once its memory is clear and it has arrived.
    void rest(int frames) noexcept;

    void reset() noexcept; ///< tank, filters and wander to zero; controls and smoothers stay

private:
    /// Delays of one half-tank in samples.
    struct TankDelays {
        int entry1, entry2;
        int pre;
        int first, firstInner;
        int middle, middleCross;                ///< taps to the own and to the other channel
        int second, secondInner1, secondInner2; ///< the outer one is modulated
        int last;                               ///< tap to the own channel
        int out;                                ///< where the other half is fed
    };
    struct HalfTank {
        HalfTank() = default;
        HalfTank(const HalfTank&) = delete; // the rings point at its own head
        HalfTank& operator=(const HalfTank&) = delete;

        RingHead head;
        Ring entry1{head}, entry2{head}, pre{head}, first{head}, firstInner{head}, middle{head},
            second{head}, secondInner1{head}, secondInner2{head}, last{head};
        float feedback = 0.0f;   ///< what the other half gets
        float feedbackLp = 0.0f; ///< the same below 12 kHz
        float crossLp = 0.0f;    ///< what comes from the other half, below 540 Hz
    };
    /// Butterworth low-pass of order 16 as a pipeline: left and right run through the first four
    /// stages in lanes 0 and 1, while the sample before runs through the other four in 2 and 3.
    struct InputFilter {
        Float4 a[4]{}, b[4]{}, c[4]{};
        SvfLowPass<Float4> stage[4];
        Float4 out{};

        void setSampleRate(double rate) noexcept;
        void tick(float left, float right) noexcept;
    };
    /// Where a block moves to, from the controls.
    struct Targets {
        double lowGain = 0.0, highGain = 0.0;
        float wet = 0.0f, spreadMono = 0.0f;
        float k1 = 0.0f, k2 = 0.0f; ///< gains of the two nested all-passes, not smoothed
    };

    static TankDelays tankDelays(int ch, double rate) noexcept;
    const Targets& targets(float fade) noexcept;
    void moveWander() noexcept;
    float modulated(const Ring& ring, int ch) const noexcept;
    void runHalfTank(int ch, float x, float (&acc)[2]) noexcept;

    double fs = 0.0;                           ///< [Hz]
    float c5 = 0.0f, c540 = 0.0f, c12k = 0.0f; ///< one-pole steps, by corner in Hz

    Shared<float> timeControl{0.0f}, colorControl{0.0f};   ///< 0..1
    Shared<float> widthControl{0.0f}, dryWetControl{0.0f}; ///< 0..1

    std::array<float, 5> followed{-1.0f}; ///< controls and fade that the targets follow from
    Targets to;

    // Smoothed at 5 Hz. The gains are double: in single precision they would stop short of 1.
    double lowGain = 0.0, highGain = 0.0; ///< of a pass through a half-tank, about 540 Hz
    float wet = 0.0f, spreadMono = 0.0f;

    std::vector<float> memory; ///< of all rings
    InputFilter inputFilter;
    HalfTank half[2];
    TankDelays delays[2]{};
    float outHp[2] = {}; ///< below 5 Hz, taken away from the output

    Random15 random;
    double wander = 0.0, wanderTarget = 0.0; ///< 0..1, moves the modulated reads
    double wanderStep = 0.0;                 ///< per sample
};

} // namespace zephra
