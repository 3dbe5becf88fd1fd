// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Maths.h"
#include "common/Simd.h"

namespace zephra {
inline namespace ZEPHRA_ISA {

// Four-stage transistor ladder with a tanh in each stage and in its feedback, at the voice rate,
// with a high-pass in the resonance path. Two solvers: one iterates to the solution of the
// trapezoidal equations, one predicts it in a single pass. Templates over the value type: Float4
// runs four voices a vector.

/// What both solvers read in one sample.
template <class T> struct LadderInput {
    T x;         ///< driven input
    T cutoff;    ///< 0..1, sets the tolerance of the iteration
    T resonance; ///< loop gain, 0..6
    T g;         ///< tan(pi * cutoff frequency / voice rate)
};

/// Outputs of the four stages.
template <class T> struct LadderStages {
    T y1{}, y2{}, y3{}, y4{};
};

/// Iterated ladder. With y0 the driven input minus the resonance path and t_k = th(y_k), each
/// stage is y_k[n] = y_k[n-1] + g ((t_(k-1)[n] - t_k[n]) + d_k[n-1]), d_k = t_(k-1) - t_k.
template <class T> struct IteratedLadder {
    LadderStages<T> y;        ///< of the last sample
    T d1{}, d2{}, d3{}, d4{}; ///< stage differences of the last sample
    T loopLp{};               ///< low-pass under the high-pass of the resonance path
    LadderStages<T> t;        ///< th() of y: follows from it, taken over from the last evaluation

    /// After y was set from outside.
    void takeState() noexcept { t = {th(y.y1), th(y.y2), th(y.y3), th(y.y4)}; }

    static constexpr int kEvaluations = 6;

    /// One sample by Newton's method, from the last sample's solution. `w` is the constant of the
    /// resonance path's high-pass. All lanes step together until each has converged, of which
    /// `firstLaneOnly` tests one alone. A solve that fails clears the ladder of all lanes.
    LadderStages<T> tick(const LadderInput<T>& in, float w, bool firstLaneOnly) noexcept
    {
        const T tolerance = 1e-7f + 1e-5f * in.cutoff * in.cutoff;
        const float loopGain = 1.0f / (1.0f + w);
        T y1 = y.y1, y2 = y.y2, y3 = y.y3, y4 = y.y4;
        T t1 = t.y1, t2 = t.y2, t3 = t.y3, t4 = t.y4;
        T tu{};
        for (int i = 0; i < kEvaluations; ++i) {
            const T h = (w * y4 + loopLp) * loopGain;
            tu = th(in.x - in.resonance * (y4 - h));
            const T f1 = (y.y1 - y1) + in.g * (tu - t1 + d1);
            const T f2 = (y.y2 - y2) + in.g * (t1 - t2 + d2);
            const T f3 = (y.y3 - y3) + in.g * (t2 - t3 + d3);
            const T f4 = (y.y4 - y4) + in.g * (t3 - t4 + d4);

            const auto converged =
                (f4 < tolerance) & (f4 > -tolerance) & (f1 < tolerance) & (f1 > -tolerance);
            if (firstLaneOnly ? converged[0] != 0 : all(converged)) {
                d1 = tu - t1;
                d2 = t1 - t2;
                d3 = t2 - t3;
                d4 = t3 - t4;
                loopLp = h + w * (y4 - h);
                y = {y1, y2, y3, y4};
                t = {t1, t2, t3, t4};
                return y;
            }

            // Jacobian: a1..a4 on the diagonal, b1..b3 below it, c top right; solved by Cramer's
            // rule for y4, then forward.
            const T b1 = in.g * (1.0f - t1 * t1);
            const T b2 = in.g * (1.0f - t2 * t2);
            const T b3 = in.g * (1.0f - t3 * t3);
            const T b4 = in.g * (1.0f - t4 * t4);
            const T a1 = -1.0f - b1, a2 = -1.0f - b2, a3 = -1.0f - b3, a4 = -1.0f - b4;
            const T c = in.g * (tu * tu - 1.0f) * in.resonance * loopGain;
            const T a12 = a1 * a2;
            const T b12 = b1 * b2;
            const T determinant = a12 * a3 * a4 - c * b12 * b3;
            const T e4 = (a12 * (a3 * f4 - b3 * f3) + b3 * b2 * (a1 * f2 - b1 * f1)) / determinant;
            const T e1 = (f1 - c * e4) / a1;
            const T e2 = (f2 - b1 * e1) / a2;
            const T e3 = (f3 - b2 * e2) / a3;
            y1 -= e1;
            y2 -= e2;
            y3 -= e3;
            y4 -= e4;
            t1 = th(y1);
            t2 = th(y2);
            t3 = th(y3);
            t4 = th(y4);
        }
        y = {};
        t = {};
        loopLp = d2 = d3 = d4 = T{};
        d1 = select(tu - tu == T{}, tu, T{}); // the last drive, where it is finite
        return y;
    }
};

/// Constants of the linearised ladder's resonance path: two high-passes.
struct ResonancePath {
    float w1 = 0.0f, w2 = 0.0f;
    float p1 = 1.0f / (1.0f + w1), p2 = 1.0f / (1.0f + w2);
    float q = 1.0f + p2 * w2;
};

/// Linearised ladder: each tanh is replaced by its gain at the last sample's state, and the
/// delay-free loop is then solved in closed form.
template <class T> struct LinearisedLadder {
    T i1{}, i2{}, i3{}, i4{}; ///< integrators; i4 is the resonance tap as well
    T s1{}, s2{};             ///< integrators of the high-passes in the resonance path

    LadderStages<T> tick(const LadderInput<T>& in, const ResonancePath& path) noexcept
    {
        const T g = in.g, k = in.resonance, x = in.x;
        const float w1 = path.w1, w2 = path.w2, p1 = path.p1, p2 = path.p2, q = path.q;

        const T u0 = x - k * (i4 - s1 - s2);
        const T t0 = ra(u0), t1 = ra(i1), t2 = ra(i2), t3 = ra(i3), t4 = ra(i4);
        const T e1 = 1.0f / (1.0f + g * t1);
        const T e2 = 1.0f / (1.0f + g * t2);
        const T e3 = 1.0f / (1.0f + g * t3);
        const T e4 = 1.0f / (1.0f + g * t4);

        // The prediction of y4
        const T gt3 = g * e4 * t3; // from stage 3 to the output
        const T gt2 = gt3 * (g * e3 * t2);
        const T gt1 = gt2 * (g * e2 * t1);
        const T loop = gt1 * (g * e1 * t0);
        const T numerator = loop * (x + k * (s2 * p2 + s1 * (p1 * q))) + i4 * e4 + gt3 * e3 * i3 +
                            gt2 * e2 * i2 + gt1 * e1 * i1;
        const T y4 = numerator / (1.0f - loop * (p1 * w1 * q - 1.0f) * k);

        const T h1 = s1 * p1;
        const T h2 = s2 * p2 - h1 * (w2 * p2);
        const T u = x - k * (y4 - h1 - h2);
        const T v0 = t0 * u;
        // Kept: y2 and y3 take their inputs without the gains t1 and t2 of the prediction.
        const T y1 = e1 * (g * v0 + i1);
        const T y2 = e2 * (g * y1 + i2);
        const T y3 = e3 * (g * y2 + i3);

        const T v1 = t1 * y1, v2 = t2 * y2, v3 = t3 * y3, v4 = t4 * y4;
        const T g2 = 2.0f * g;
        i1 += g2 * (v0 - v1);
        i2 += g2 * (v1 - v2);
        i3 += g2 * (v2 - v3);
        i4 += g2 * (v3 - v4);
        s1 += 2.0f * w1 * (y4 - h1);
        s2 += 2.0f * w2 * (y4 - h1 - h2);
        return {y1, y2, y3, y4};
    }
};

} // namespace ZEPHRA_ISA
} // namespace zephra
