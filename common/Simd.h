// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra {

/// Four voices side by side, one a lane. The compilers' own vector type: arithmetic and
/// comparison operators work lane by lane, a comparison gives an Int4 of 0 and -1.
using Float4 = float __attribute__((vector_size(16)));
using Int4 = int __attribute__((vector_size(16)));

// A kernel written as a template over its value type chooses and asks through these, so that it
// compiles for one plain float as well: that form is the reference in the tests.

/// The first choice where the mask holds, else the second.
inline float select(bool mask, float yes, float no) noexcept { return mask ? yes : no; }
inline Float4 select(Int4 mask, Float4 yes, Float4 no) noexcept
{
    return reinterpret_cast<Float4>((mask & reinterpret_cast<Int4>(yes)) |
                                    (~mask & reinterpret_cast<Int4>(no)));
}

/// Whether the mask holds in every lane.
inline bool all(bool mask) noexcept { return mask; }
inline bool all(Int4 mask) noexcept { return (mask[0] & mask[1] & mask[2] & mask[3]) != 0; }

/// The first lane of a value or mask.
inline bool firstLane(bool mask) noexcept { return mask; }
inline bool firstLane(Int4 mask) noexcept { return mask[0] != 0; }

/// Sum over the lanes.
inline float laneSum(float x) noexcept { return x; }
inline float laneSum(Float4 x) noexcept { return (x[0] + x[2]) + (x[1] + x[3]); }

} // namespace zephra
