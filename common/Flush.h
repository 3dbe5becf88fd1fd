// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cmath>

namespace zephra {

/// 0 in place of a value of magnitude below `limit`: ends tails that nobody hears.
inline float flushed(float x, float limit) noexcept { return std::fabs(x) < limit ? 0.0f : x; }

} // namespace zephra
