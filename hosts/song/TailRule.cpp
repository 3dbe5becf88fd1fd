// SPDX-License-Identifier: GPL-3.0-or-later
#include "song/TailRule.h"

#include "song/MidiMessage.h"

#include <algorithm>
#include <cmath>

namespace zephra {

TailRule::TailRule(std::int64_t lastEvent, double rate, std::optional<std::int64_t> exactLength)
    : lastEventSample(lastEvent), silentNeeded(sampleAt(kSilentSeconds, rate)),
      longestLength(exactLength.value_or(lastEvent + sampleAt(kLongestTailSeconds, rate))),
      exact(exactLength.has_value()), done(longestLength == 0)
{
}

int TailRule::take(const float* left, const float* right, int count) noexcept
{
    if (exact) {
        const auto taken =
            static_cast<int>(std::min<std::int64_t>(count, longestLength - position));
        position += taken;
        done = position == longestLength;
        return taken;
    }
    for (int i = 0; i < count; ++i) {
        if (done)
            return i;
        const bool silent = std::abs(left[i]) < kSilence && std::abs(right[i]) < kSilence;
        silentRun = silent && position >= lastEventSample ? silentRun + 1 : 0;
        ++position;
        done = silentRun == silentNeeded || position == longestLength;
    }
    return count;
}

} // namespace zephra
