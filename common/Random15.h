// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace zephra {

/// One step of the linear congruential sequence behind all noise of the instrument.
constexpr std::uint32_t nextSeed(std::uint32_t seed) noexcept { return seed * 214013u + 2531011u; }

/// Private 15-bit generator: results do not hang on what else in the process draws numbers.
class Random15 {
public:
    void seed(std::uint32_t start) noexcept { state = start; }

    /// 0..32767
    int next() noexcept
    {
        state = nextSeed(state);
        return static_cast<int>((state >> 16) & 0x7fffu);
    }

private:
    std::uint32_t state = 1;
};

/// Start value of generator `lane` (voices 0..7, reverb 8) of the engine built as number
/// `engineNumber` in this process. Spread over all bits: neighbouring plain seeds would start
/// all voices at nearly one phase.
constexpr std::uint32_t engineSeed(std::uint32_t engineNumber, std::uint32_t lane) noexcept
{
    return (16u * engineNumber + lane + 1u) * 2654435761u;
}

} // namespace zephra
