// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

/// Transfer of the amplifier's VCA: gain over envelope level, 2,048 steps for 0..1. Silent below
/// 1/64, at its ceiling from 3/4 on. The last two entries are equal, so that level 1 can read the
/// entry after its own.
/// Built at the first call; make that one when an engine is built, not on the audio thread.
const std::array<float, 2050>& ampCurve() noexcept;

/// The curve at envelope level `v`, 0..1, linear between entries. Other values are limited to
/// that range; a NaN counts as 0.
inline float ampCurveAt(const float* curve, double v) noexcept
{
    // 11 bits of entry, 11 bits of fraction
    const int position = v > 0.0 ? static_cast<int>((v < 1.0 ? v : 1.0) * 4194304.0) : 0;
    const int entry = position >> 11;
    const float fraction = static_cast<float>(position & 2047) * (1.0f / 2048.0f);
    return curve[entry] + (curve[entry + 1] - curve[entry]) * fraction;
}

} // namespace zephra
