// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Simd.h"
#include "voice/VoiceLanes.h"

#include <type_traits>

namespace zephra {
inline namespace ZEPHRA_ISA {

/// More lanes than one instruction moves, as two halves that are moved side by side. (Compilers
/// take comparisons of vectors that are too wide for them apart lane by lane.)
template <class V> struct Two {
    V low, high;
};
template <class V> Two(V, V) -> Two<V>;

template <class T> inline constexpr bool kIsTwo = false;
template <class V> inline constexpr bool kIsTwo<Two<V>> = true;
template <class V> inline constexpr int kLanesOf<Two<V>> = 2 * kLanesOf<V>;

template <class V> inline V lowOf(Two<V> x) noexcept { return x.low; }
template <class V> inline V highOf(Two<V> x) noexcept { return x.high; }
template <class S>
requires std::is_arithmetic_v<S>
inline S lowOf(S x) noexcept { return x; }
template <class S>
requires std::is_arithmetic_v<S>
inline S highOf(S x) noexcept { return x; }

template <class A, class B>
concept WithHalves = kIsTwo<A> || kIsTwo<B>;

// clang-format off
template <class A, class B> requires WithHalves<A, B>
inline auto operator+(A a, B b) noexcept { return Two{lowOf(a) + lowOf(b), highOf(a) + highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator-(A a, B b) noexcept { return Two{lowOf(a) - lowOf(b), highOf(a) - highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator*(A a, B b) noexcept { return Two{lowOf(a) * lowOf(b), highOf(a) * highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator/(A a, B b) noexcept { return Two{lowOf(a) / lowOf(b), highOf(a) / highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator<(A a, B b) noexcept { return Two{lowOf(a) < lowOf(b), highOf(a) < highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator>(A a, B b) noexcept { return Two{lowOf(a) > lowOf(b), highOf(a) > highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator<=(A a, B b) noexcept { return Two{lowOf(a) <= lowOf(b), highOf(a) <= highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator>=(A a, B b) noexcept { return Two{lowOf(a) >= lowOf(b), highOf(a) >= highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator==(A a, B b) noexcept { return Two{lowOf(a) == lowOf(b), highOf(a) == highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator!=(A a, B b) noexcept { return Two{lowOf(a) != lowOf(b), highOf(a) != highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator&(A a, B b) noexcept { return Two{lowOf(a) & lowOf(b), highOf(a) & highOf(b)}; }
template <class A, class B> requires WithHalves<A, B>
inline auto operator|(A a, B b) noexcept { return Two{lowOf(a) | lowOf(b), highOf(a) | highOf(b)}; }
template <class V> inline Two<V> operator>>(Two<V> a, int bits) noexcept { return {a.low >> bits, a.high >> bits}; }
template <class V> inline Two<V> operator~(Two<V> a) noexcept { return {~a.low, ~a.high}; }
template <class V> inline Two<V> operator-(Two<V> a) noexcept { return {-a.low, -a.high}; }
template <class V, class B> inline Two<V>& operator+=(Two<V>& a, B b) noexcept { return a = a + b; }
template <class V, class B> inline Two<V>& operator-=(Two<V>& a, B b) noexcept { return a = a - b; }
template <class V, class B> inline Two<V>& operator*=(Two<V>& a, B b) noexcept { return a = a * b; }
template <class V, class B> inline Two<V>& operator&=(Two<V>& a, B b) noexcept { return a = a & b; }
template <class V, class B> inline Two<V>& operator|=(Two<V>& a, B b) noexcept { return a = a | b; }
// clang-format on

template <class V> inline Two<V> select(Two<MaskOf<V>> mask, Two<V> yes, Two<V> no) noexcept
{
    return {select(mask.low, yes.low, no.low), select(mask.high, yes.high, no.high)};
}
template <class V> inline bool all(Two<V> mask) noexcept { return all(mask.low & mask.high); }
template <class V> inline bool any(Two<V> mask) noexcept { return any(mask.low | mask.high); }

template <class To, class From>
requires kIsTwo<To>
inline To convert(From x) noexcept
{
    using Half = decltype(To{}.low);
    return {convert<Half>(x.low), convert<Half>(x.high)};
}

#if defined(__AVX__)
inline constexpr int kVectorBytes = 32;
#else
inline constexpr int kVectorBytes = 16;
#endif

/// `kLanes` elements in vectors as wide as the instruction set's.
template <class Element, int kLanes, bool kSplit = (kLanes * sizeof(Element) > kVectorBytes)>
struct LaneVector {
    using Half = typename LaneVector<Element, kLanes / 2>::Type;
    using Type = Two<Half>;
};
template <class Element, int kLanes> struct LaneVector<Element, kLanes, false> {
    typedef Element Type __attribute__((vector_size(kLanes * sizeof(Element)))); // NOLINT
};
template <class Element, int kLanes> using Vector = typename LaneVector<Element, kLanes>::Type;

/// Elements of another type in vectors with as many lanes as those of V.
template <class V, class Element> struct LikeVector {
    using Type = typename LaneVector<Element, kLanesOf<V>, false>::Type;
};
template <class V, class Element> struct LikeVector<Two<V>, Element> {
    using Type = Two<typename LikeVector<V, Element>::Type>;
};
template <class V, class Element> using Like = typename LikeVector<V, Element>::Type;

/// Lanes in memory, at any address; vector by vector.
template <class V, class Element> inline V loadFrom(const Element* from) noexcept
{
    if constexpr (kIsTwo<V>)
        return {loadFrom<decltype(V{}.low)>(from),
                loadFrom<decltype(V{}.low)>(from + kLanesOf<V> / 2)};
    else
        return loadLanes<V>(from);
}
template <class V, class Element> inline void storeTo(Element* to, V x) noexcept
{
    if constexpr (kIsTwo<V>) {
        storeTo(to, x.low);
        storeTo(to + kLanesOf<V> / 2, x.high);
    } else {
        storeLanes(to, x);
    }
}
template <class V, class Element> inline V load(const Lanes<Element>& lanes, int at) noexcept
{
    return loadFrom<V>(lanes.data() + at);
}
template <class V, class Element> inline void store(Lanes<Element>& lanes, int at, V x) noexcept
{
    storeTo(lanes.data() + at, x);
}

/// The smaller, the greater, as std::min and std::max take them: the first where both are equal.
template <class T> inline T smaller(T a, T b) noexcept { return select(b < a, b, a); }
template <class T> inline T greater(T a, T b) noexcept { return select(a < b, b, a); }
template <class T> inline T magnitude(T x) noexcept { return select(x < T{}, -x, x); }

/// A table entry and the one after it, for each index.
template <class F> struct EntryPair {
    F here, next;
};
template <class F> inline EntryPair<F> entriesAt(const float* table, const int* index) noexcept
{
    if constexpr (kIsTwo<F>) {
        const auto low = entriesAt<decltype(F{}.low)>(table, index);
        const auto high = entriesAt<decltype(F{}.low)>(table, index + kLanesOf<F> / 2);
        return {{low.here, high.here}, {low.next, high.next}};
    } else if constexpr (kLanesOf<F> == 8) {
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
