// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Simd.h"
#include "voice/VoiceLanes.h"

#include <cstdint>

namespace zephra {
inline namespace ZEPHRA_ISA {

/// N elements side by side.
template <class Element, int kWidth> struct VectorOf {
    typedef Element type __attribute__((vector_size(kWidth * sizeof(Element)))); // NOLINT
};
template <class Element, int kWidth> using Vector = typename VectorOf<Element, kWidth>::type;

// What one instruction moves. Wider vectors work as well, but compilers take their comparisons
// apart lane by lane.
#if defined(__AVX__)
inline constexpr int kNativeFloats = 8, kNativeDoubles = 4;
#else
inline constexpr int kNativeFloats = 4, kNativeDoubles = 2;
#endif

template <class V, class Element> inline V load(const Lanes<Element>& lanes, int at) noexcept
{
    return loadLanes<V>(lanes.data() + at);
}
template <class V, class Element> inline void store(Lanes<Element>& lanes, int at, V x) noexcept
{
    storeLanes(lanes.data() + at, x);
}

/// The smaller, the greater, as std::min and std::max take them: the first where both are equal.
template <class T> inline T smaller(T a, T b) noexcept { return select(b < a, b, a); }
template <class T> inline T greater(T a, T b) noexcept { return select(a < b, b, a); }
template <class T> inline T magnitude(T x) noexcept { return select(x < T{}, -x, x); }

/// A table entry and the one after it, for each index.
template <class F> struct EntryPair {
    F here, next;
};
inline EntryPair<Float4> entryPairs(const float* table, const int* index) noexcept
{
    using Double2 = Vector<double, 2>;
    const auto pair = [table, index](int lane) {
        double both; // two entries in one read
        __builtin_memcpy(&both, table + index[lane], sizeof both);
        return both;
    };
    const auto a = (Float4)Double2{pair(0), pair(1)};
    const auto b = (Float4)Double2{pair(2), pair(3)};
    return {__builtin_shufflevector(a, b, 0, 2, 4, 6), __builtin_shufflevector(a, b, 1, 3, 5, 7)};
}
/// For as many lanes as F has.
template <class F> inline EntryPair<F> entriesAt(const float* table, const int* index) noexcept
{
    if constexpr (kLanesOf<F> == 4) {
        return entryPairs(table, index);
    } else {
        const EntryPair<Float4> low = entryPairs(table, index);
        const EntryPair<Float4> high = entryPairs(table, index + 4);
        return {__builtin_shufflevector(low.here, high.here, 0, 1, 2, 3, 4, 5, 6, 7),
                __builtin_shufflevector(low.next, high.next, 0, 1, 2, 3, 4, 5, 6, 7)};
    }
}

} // namespace ZEPHRA_ISA
} // namespace zephra
