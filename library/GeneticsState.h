// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/PatchEntry.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zephra {

/// What is to be bred, and how the last breed went. Copied by value. [ui]
struct GeneticsState {
    static constexpr std::size_t kMostParents = 3;
    static constexpr float kDefaultMix = 0.5f;

    float mix = kDefaultMix;                      ///< 0: all from parent 1, 1: all parents alike
    std::uint32_t seed = 0;                       ///< of the last pass of the last breed
    std::array<std::int32_t, 100> genes{};        ///< 0..2 each, for display only
    std::size_t parentCount = 0;                  ///< 0..kMostParents
    std::array<PatchEntry, kMostParents> parents; ///< in the order in which they were added

    /// False, and nothing changes, if the file is a parent already. The oldest of three parents
    /// makes room for a fourth.
    bool addParent(const PatchEntry& entry);
    /// Mix and seed stay.
    void clear();
    bool canBreed() const noexcept { return parentCount == 2 || parentCount == 3; }
};

} // namespace zephra
