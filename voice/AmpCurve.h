// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>

namespace zephra {

/// Transfer of the amplifier's VCA: gain over envelope level, 2,048 steps for 0..1. Silent below
/// 1/64, at its ceiling from 3/4 on. The last two entries are equal, so that level 1 can read the
/// entry after its own.
/// Built at the first call; make that one when an engine is built, not on the audio thread.
const std::array<float, 2050>& ampCurve() noexcept;

} // namespace zephra
