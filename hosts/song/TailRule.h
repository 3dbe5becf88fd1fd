// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>

namespace zephra {

/// Decides sample by sample where the file ends, so that the length does not depend on blocks:
/// after an exact number of samples, or behind the last event as soon as both channels have
/// been silent for half a second, at most 30 seconds behind it.
class TailRule {
public:
    static constexpr float kSilence = 1e-5f; ///< samples below count as silent, -100 dBFS
    static constexpr double kSilentSeconds = 0.5;
    static constexpr double kLongestTailSeconds = 30.0;

    /// `lastEvent` is a sample, `rate` in Hz; `exactLength` in samples overrides the rest.
    TailRule(std::int64_t lastEvent, double rate, std::optional<std::int64_t> exactLength);

    /// Longest file that can come out, in samples.
    std::int64_t longest() const noexcept { return longestLength; }

    /// How many of the next `count` samples belong to the file; fewer than `count` once it ends.
    int take(const float* left, const float* right, int count) noexcept;
    bool finished() const noexcept { return done; }

private:
    std::int64_t lastEventSample;
    std::int64_t silentNeeded; ///< samples
    std::int64_t longestLength;
    bool exact;
    std::int64_t position = 0;  ///< samples taken
    std::int64_t silentRun = 0; ///< silent samples up to here since the last event
    bool done = false;
};

} // namespace zephra
