// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "standalone/MidiQueue.h"

#include <algorithm>
#include <chrono>
#include <cmath>

namespace zephra::standalone {

/// Tells on which sample of a block a message falls, so that a rhythm keeps its timing whatever
/// the block size. Sound systems ask for blocks more or less late, or for several at once: this
/// clock moves on by the length of the blocks along the earliest of those moments, and leans only
/// slowly toward later ones. A message sounds one block after it came in. [audio]
class BlockClock {
public:
    /// [!processing] Hz
    void setRate(double rate) noexcept
    {
        secondsPerSample = 1.0 / rate;
        running = false;
    }

    /// A block of `frames` samples is asked for.
    void startBlock(Clock::time_point now, int frames) noexcept
    {
        const double asked = seconds(now);
        const double expected = due + blockFrames * secondsPerSample;
        const double late = asked - expected;
        const bool astray = !running || std::abs(late) > kMostBlocksOff * frames * secondsPerSample;
        due = astray || late < 0.0 ? asked : expected + kLean * late;
        blockFrames = frames;
        running = true;
    }

    /// The sample of this block on which a message falls; from `frames` on that of a later block.
    int sampleOf(Clock::time_point when) const noexcept
    {
        const double sinceDue = (seconds(when) - due) / secondsPerSample;
        const double latest = blockFrames; // any block to come
        return static_cast<int>(std::clamp(std::floor(sinceDue + blockFrames), 0.0, latest));
    }

private:
    static constexpr double kLean = 0.002;        ///< part of the lateness that a block makes good
    static constexpr double kMostBlocksOff = 4.0; ///< beyond, the stream has stood still

    static double seconds(Clock::time_point when) noexcept
    {
        return std::chrono::duration<double>(when.time_since_epoch()).count();
    }

    double secondsPerSample = 1.0 / 48000.0;
    double due = 0.0; ///< seconds; when the present block ought to have been asked for
    int blockFrames = 0;
    bool running = false;
};

} // namespace zephra::standalone
