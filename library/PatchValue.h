// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace zephra {

/// One value of a patch as it is stored.
struct PatchValue {
    static constexpr std::size_t kBytes = 8; ///< id, sub, value; little-endian

    std::uint16_t id = 0;  ///< control id
    std::uint16_t sub = 0; ///< sub-index, 0 for all controls of today
    float value = 0.0f;    ///< control value
};

/// Gives each target value what a stored list, whole PatchValues as bytes, holds for its id and
/// sub-index, or else for its id and sub-index 0; what the list lacks stays. Of duplicates the
/// last one counts. What is not finite is taken as 0; what is below -9990 counts as not stored.
///
/// The target keeps its order and length. Needs memory for the target, not for the list, which may
/// hold anything.
void mergeValues(std::span<PatchValue> target, std::span<const std::uint8_t> stored);

} // namespace zephra
