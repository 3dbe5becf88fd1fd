// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Random15.h"

#include <chrono>
#include <cstdint>

namespace zephra {

/// Random numbers of Genetics: the sequence behind all noise of the instrument, read with all 16
/// upper bits and before the step instead of after it. [ui]
class GeneticsRng {
public:
    explicit GeneticsRng(std::uint32_t start = 0) noexcept : state(nextSeed(start)) {}

    void seed(std::uint32_t start) noexcept { *this = GeneticsRng(start); }

    /// 0..65535
    std::uint32_t next() noexcept
    {
        const std::uint32_t drawn = state >> 16;
        state = nextSeed(state);
        return drawn;
    }

private:
    std::uint32_t state;
};

/// A start value, 0..65535: milliseconds of a clock that nobody sets back.
inline std::uint32_t geneticsSeedOfClock() noexcept
{
    using namespace std::chrono;
    const auto now = duration_cast<milliseconds>(steady_clock::now().time_since_epoch());
    return static_cast<std::uint32_t>(now.count()) & 0xffffu;
}

} // namespace zephra
