// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Isa.h"

#include <cmath>

namespace zephra {
inline namespace ZEPHRA_ISA {

inline constexpr double kPi = 3.14159265358979323846;
inline constexpr double kTwoPi = 2.0 * kPi;
inline constexpr double kLn10 = 2.30258509299404568402;

/// The only tanh of the sound path: the [5/4] Pade form of tanh. Within 5e-4 up to |v| = 3; no
/// limiter: it passes 1 above 3.65 and rises as v / 15. For float and Float4.
template <class T> inline T th(T v) noexcept
{
    const T v2 = v * v;
    return v * (945.0f + 105.0f * v2 + v2 * v2) / (945.0f + 420.0f * v2 + 15.0f * (v2 * v2));
}

/// th(v) / v, computed so that it is 1 at v = 0.
template <class T> inline T ra(T v) noexcept
{
    const T v2 = v * v;
    return (945.0f + 105.0f * v2 + v2 * v2) / (945.0f + 420.0f * v2 + 15.0f * (v2 * v2));
}

/// Geometric map of x in 0..1 to a..b.
inline double geometricMap(double x, double a, double b) noexcept { return a * std::pow(b / a, x); }

/// The geometric map of controls: the quotient in single precision, the rest in double.
inline float expMap(double x, float lo, float hi) noexcept
{
    const float quotient = hi / lo;
    return static_cast<float>(static_cast<double>(lo) *
                              std::exp(x * std::log(static_cast<double>(quotient))));
}

/// Coefficient c of the one-pole form state += (x - state) * c, for a corner in Hz.
inline double onePoleCoeff(double hz, double rate) noexcept
{
    return 1.0 - std::exp(-kTwoPi * hz / rate);
}

/// The same form with the plain tangent as constant.
inline double tanCoeff(double hz, double rate) noexcept { return std::tan(kPi * hz / rate); }

} // namespace ZEPHRA_ISA
} // namespace zephra
