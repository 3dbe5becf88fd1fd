// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Isa.h"

namespace zephra {
inline namespace ZEPHRA_ISA {

/// Voices side by side, one a lane. The compilers' own vector types: arithmetic and comparison
/// operators work lane by lane, a comparison gives integers of 0 and -1. What the instruction set
/// is too narrow for, the compiler splits.
using Float4 = float __attribute__((vector_size(16)));
using Float8 = float __attribute__((vector_size(32)));
using Double2 = double __attribute__((vector_size(16)));
using Double4 = double __attribute__((vector_size(32)));

template <class T> using MaskOf = decltype(T{} < T{});
template <class T> inline constexpr int kLanesOf = static_cast<int>(sizeof(T) / sizeof(T{}[0]));

/// The first choice where the mask holds, else the second.
template <class T> inline T select(MaskOf<T> mask, T yes, T no) noexcept { return mask ? yes : no; }

/// Whether the mask holds in every lane.
template <class M> inline bool all(M mask) noexcept
{
#if defined(__AVX__)
    if constexpr (sizeof(M) == 32 && kLanesOf<M> == 8)
        return __builtin_ia32_movmskps256(reinterpret_cast<Float8>(mask)) == 0xff;
    if constexpr (sizeof(M) == 32 && kLanesOf<M> == 4)
        return __builtin_ia32_movmskpd256(reinterpret_cast<Double4>(mask)) == 0xf;
#endif
#if defined(__SSE2__)
    if constexpr (sizeof(M) == 16 && kLanesOf<M> == 4)
        return __builtin_ia32_movmskps(reinterpret_cast<Float4>(mask)) == 0xf;
    if constexpr (sizeof(M) == 16 && kLanesOf<M> == 2)
        return __builtin_ia32_movmskpd(reinterpret_cast<Double2>(mask)) == 0x3;
#endif
    auto least = mask[0];
    for (int lane = 1; lane < kLanesOf<M>; ++lane)
        least &= mask[lane];
    return least != 0;
}

/// Whether the mask holds in any lane.
template <class M> inline bool any(M mask) noexcept { return !all(~mask); }

/// Lane by lane as another type, towards zero.
template <class To, class From> inline To convert(From x) noexcept
{
    return __builtin_convertvector(x, To);
}

/// Lanes in memory, at any address.
template <class T, class Element> inline T loadLanes(const Element* from) noexcept
{
    T x;
    __builtin_memcpy(&x, from, sizeof x);
    return x;
}
template <class T, class Element> inline void storeLanes(Element* to, T x) noexcept
{
    __builtin_memcpy(to, &x, sizeof x);
}

/// The upper four lanes added to the lower four.
inline Float4 halvesAdded(Float4 x) noexcept { return x; }
inline Float4 halvesAdded(Float8 x) noexcept
{
    return __builtin_shufflevector(x, x, 0, 1, 2, 3) + __builtin_shufflevector(x, x, 4, 5, 6, 7);
}

/// Sum over the lanes.
inline float laneSum(Float4 x) noexcept { return (x[0] + x[2]) + (x[1] + x[3]); }

} // namespace ZEPHRA_ISA
} // namespace zephra
