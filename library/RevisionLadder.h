// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/PatchValue.h"

#include <cstdint>
#include <span>

namespace zephra {

/// What the values of a patch mean. It rises whenever the meaning of a stored value changes.
inline constexpr std::uint32_t kPatchRevision = 6;

/// Lifts the values of an old patch to what they mean today, one revision after the other. All
/// arithmetic is in single precision, in which patches are stored. A revision that was never in
/// use (0, or a later one) changes nothing but bend ranges beyond their limit.
void liftRevision(std::span<PatchValue> values, std::uint32_t revision) noexcept;

} // namespace zephra
