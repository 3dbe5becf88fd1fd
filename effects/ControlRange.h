// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

namespace zephra {

/// A control value held to 0..1; not a number counts as 0.
inline float clippedControl(float control) noexcept
{
    return control > 0.0f ? std::min(control, 1.0f) : 0.0f;
}

} // namespace zephra
