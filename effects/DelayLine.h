// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Ring.h"
#include "common/Shared.h"
#include "effects/SvfLowPass.h"

#include <vector>

namespace zephra {

/// Tempo-synced stereo echo, last in the chain, in place at the host rate. Two loops without
/// cross-feed; the right one hears its input half a delay later, and that gives the ping-pong.
///
///     in ──(+)──x feedback──> line (D - t1) ──> all-pass (t1) ──> 10 Hz high-pass ──┬──> echo
///           └───────────────────── 4 kHz low-pass <─────────────────────────────────┘
///
/// [audio] unless marked otherwise; allocates only in setSampleRate. Silence costs what sound
/// costs, if the caller has flush-to-zero set.
class DelayLine {
public:
    static constexpr int kNoteLengths = 15;

    DelayLine(); ///< at 44100 Hz, all controls at 0
    DelayLine(const DelayLine&) = delete;
    DelayLine& operator=(const DelayLine&) = delete;

    /// [!processing] Hz, 44100..384000; clears when int(fs) changes.
    void setSampleRate(double newRate);

    void setTime(int index) noexcept;         ///< [any] 0..14, clipped; acts with a jump
    void setFeedback(float control) noexcept; ///< [any] 0..1, clipped
    void setDryWet(float control) noexcept;   ///< [any] 0..1, clipped
    void setWidth(float control) noexcept;    ///< [any] 0..1, clipped; 0 is a mono echo

    /// `bpm` that is not finite or not above 0 counts as 120. `fade` 0..1 scales the wet share;
    /// 0.0001 of it always stays.
    void process(float* left, float* right, int frames, double bpm, float fade) noexcept;

    /// Whether no smoothed value moves any more. If so, after silence in and out for as long as the
    /// longest echo, process() may be left out: what the loops still hold is below 1e-6 and waits
    /// instead of dying away.
    bool hasArrived(float fade) const noexcept;
    int longestEcho() const noexcept
    {
        return lineHead.longest() + apHead.longest();
    } ///< [samples]

    void reset() noexcept; ///< [audio] rings and filters to zero; controls and smoothers stay

private:
    /// Where a block moves to, from the controls.
    struct Targets {
        float feedback, wet, mono;
    };
    Targets targets(float fade) const noexcept;
    int delaySamples(double bpm) const noexcept;

    double fs = 0.0;    ///< [Hz]
    int t1 = 0, t2 = 0; ///< all-pass delays left and right [samples], different on purpose
    float h = 0.0f;     ///< step of the 10 Hz high-pass
    SvfCoeffs lowPass;  ///< 4 kHz, in the echo path

    Shared<int> noteLength{0};                                                    ///< 0..14
    Shared<float> feedbackControl{0.0f}, dryWetControl{0.0f}, widthControl{0.0f}; ///< 0..1

    float feedback = 0.5f, wet = 0.5f, mono = 0.5f; ///< smoothed, 0.01 of the way per sample

    std::vector<float> memory; ///< of all rings
    RingHead lineHead, apHead;
    Ring lineL{lineHead}, lineR{lineHead}; ///< echo memories
    Ring dryR{lineHead};                   ///< right input, read half a delay later
    Ring apL{apHead}, apR{apHead};
    float hpL = 0.0f, hpR = 0.0f; ///< what the high-passes take away
    SvfLowPass<float> svfL, svfR;
};

} // namespace zephra
