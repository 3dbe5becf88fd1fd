// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Maths.h"

namespace zephra {

/// Coefficients of SvfLowPass, made outside the sample loop.
struct SvfCoeffs {
    float a = 0.0f, b = 0.0f, c = 0.0f;
};

/// Corner in Hz; `k` is 1 / Q, twice the damping.
inline SvfCoeffs svfLowPassCoeffs(double hz, double k, double fs) noexcept
{
    const double w = tanCoeff(hz, fs);
    const double a = 1.0 / (1.0 + (k + w) * w);
    const double b = a * w;
    const double c = b * w;
    return {static_cast<float>(a), static_cast<float>(b), static_cast<float>(c)};
}

/// Low-pass of second order in state-variable form with trapezoidal integrators (the bilinear
/// transform of w^2 / (s^2 + k w s + w^2)), DC gain 1. T is float or Float4; coefficients of a
/// Float4 are one per lane.
template <class T> struct SvfLowPass {
    T s1{}, s2{}; ///< integrators: band-pass and low-pass

    T tick(T x, T a, T b, T c) noexcept
    {
        const T e = x - s2;
        const T v1 = a * s1 + b * e;
        const T v2 = b * s1 + s2 + c * e;
        s1 = 2.0f * v1 - s1;
        s2 = 2.0f * v2 - s2;
        return v2;
    }
};

} // namespace zephra
