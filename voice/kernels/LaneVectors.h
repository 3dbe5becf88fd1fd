// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Simd.h"
#include "voice/FilterEnvelope.h"
#include "voice/LaneRows.h"

#include <array>
#include <numbers>

namespace zephra {
inline namespace ZEPHRA_ISA {

/// Nothing wider is used: compilers take comparisons of vectors that are too wide for the
/// instruction set apart lane by lane.
inline constexpr int kVectorBytes = kIsa == Isa::baseline ? 16 : 32;

template <class Element, int kLanes> struct VectorOf {
    typedef Element Type __attribute__((vector_size(kLanes * sizeof(Element)))); // NOLINT
};
template <class Element, int kLanes> using Vector = typename VectorOf<Element, kLanes>::Type;

/// Envelopes and pitch run in doubles, for a part of a kernel's lanes at a time.
using D = Vector<double, kVectorBytes / 8>;
inline constexpr int kPartLanes = kLanesOf<D>;
using PartFloats = Vector<float, kPartLanes>;
using PartInts = Vector<int, kPartLanes>;

/// How a kernel of kLanes lanes holds a row of state: numbers in one vector, doubles in parts.
template <class T, int kLanes> struct RowOf {
    using Type = T[kLanes];
};
template <class T, int kLanes>
requires std::is_arithmetic_v<T>
struct RowOf<T, kLanes> : VectorOf<T, kLanes> {
};
template <int kLanes> struct RowOf<double, kLanes> {
    using Type = D[kLanes / kPartLanes];
};
template <int kLanes> struct RowOf<EnvelopeStage, kLanes> : RowOf<int, kLanes> {
};
template <int kLanes> struct Held {
    template <class T> using Row = typename RowOf<T, kLanes>::Type;
};

/// Lanes from `at` on.
template <class V, class T> inline V load(const Lanes<T>& row, int at) noexcept
{
    return loadLanes<V>(row.data() + at);
}
/// The floats or integers beside doubles of part `part`.
template <class P, class V> inline P partOf(const V& row, int part) noexcept
{
    return loadLanes<P>(reinterpret_cast<const P*>(&row) + part);
}

/// x in every lane. (x - 0 is x, of either sign.)
template <class V, class T> inline V everywhere(T x) noexcept { return x - V{}; }

/// The smaller, the greater, as std::min and std::max take them: the first where both are equal.
template <class T> inline T smaller(T a, T b) noexcept { return select(b < a, b, a); }
template <class T> inline T greater(T a, T b) noexcept { return select(a < b, b, a); }
template <class T> inline T magnitude(T x) noexcept { return select(x < T{}, -x, x); }

/// 2^x to one unit of the last place, for |x| up to 1000.
inline D exp2(D x) noexcept
{
    static constexpr auto kTaylor = [] { // of 2^f about 0
        std::array<double, 14> terms{1.0};
        for (std::size_t k = 1; k < terms.size(); ++k)
            terms[k] = terms[k - 1] * std::numbers::ln2 / static_cast<double>(k);
        return terms;
    }();
    constexpr double kWhole = 0x1.8p52; // of a sum with it, the last bits are a whole number
    const D sum = x + kWhole, f = x - (sum - kWhole);
    D y{};
    for (std::size_t k = kTaylor.size(); k-- > 0;)
        y = y * f + kTaylor.data()[k];
    using Bits = MaskOf<D>;
    return __builtin_bit_cast(D, __builtin_bit_cast(Bits, y) +
                                     (__builtin_bit_cast(Bits, sum) << 52)); // into the exponent
}

/// A table entry and the one after it, for each index.
template <class F> struct EntryPair {
    F here, next;
};
template <class F> inline EntryPair<F> entriesAt(const float* table, const int* index) noexcept
{
    if constexpr (kLanesOf<F> == 8) {
        const EntryPair<Float4> low = entriesAt<Float4>(table, index);
        const EntryPair<Float4> high = entriesAt<Float4>(table, index + 4);
        return {__builtin_shufflevector(low.here, high.here, 0, 1, 2, 3, 4, 5, 6, 7),
                __builtin_shufflevector(low.next, high.next, 0, 1, 2, 3, 4, 5, 6, 7)};
    } else {
        const auto pair = [table, index](int lane) {
            double both; // two entries in one read
            __builtin_memcpy(&both, table + index[lane], sizeof both);
            return both;
        };
        const auto a = reinterpret_cast<Float4>(Double2{pair(0), pair(1)});
        const auto b = reinterpret_cast<Float4>(Double2{pair(2), pair(3)});
        return {__builtin_shufflevector(a, b, 0, 2, 4, 6),
                __builtin_shufflevector(a, b, 1, 3, 5, 7)};
    }
}

} // namespace ZEPHRA_ISA
} // namespace zephra
