// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Maths.h"
#include "voice/CutoffTables.h"
#include "voice/EngineValues.h"
#include "voice/LaneBuffer.h"

#include <cmath>
#include <valarray>

namespace zephra::test {

/// The filter bank as plain numbers, one operation after the other: what every vector form must
/// equal to the bit. It keeps one mode and engine until it is reset.
class PlainFilter {
public:
    explicit PlainFilter(double fs) : fs8(8.0 * fs) { tables.setSampleRate(fs); }

    void reset(const EngineValues& values)
    {
        eight = values.polyMode == PolyMode::Poly8;
        iterated = !eight && values.revision == Revision::Late;
        n = eight ? 8 : 4;
        for (Lanes* word : state)
            *word = Lanes(n);
    }

    void process(const EngineValues& values, const LaneBuffer& buffer, int count, float* left,
                 float* right)
    {
        for (int i = 0; i < count; ++i)
            render(values,
                   (eight ? buffer.eight.data() : buffer.four.data()) + 4 * n * std::size_t(i),
                   left[i], right[i]);
        for (float& x : amHp)
            if (!eight && std::fabs(x) <= 1e-9f)
                x = 0.0f;
        bool broken = false;
        for (Lanes* word : state)
            for (float& x : *word)
                if (!std::isfinite(x)) {
                    broken = true;
                    x = 0.0f;
                }
        for (int i = 0; broken && i < count; ++i)
            if (!std::isfinite(left[i]) || !std::isfinite(right[i]))
                left[i] = right[i] = 0.0f;
    }

    int failedSolves = 0; ///< of the iterated ladder, so far

private:
    using Lanes = std::valarray<float>;

    void render(const EngineValues& values, const float* frame, float& left, float& right)
    {
        const Lanes r = tick(values, Lanes(frame, n), Lanes(frame + n, n), Lanes(frame + 2 * n, n),
                             Lanes(frame + 3 * n, n));
        if (values.polyMode == PolyMode::Mono) {
            left = right = std::fabs(2.0f * r[0]) < 1e-6f ? 0.0f : 2.0f * r[0];
            return;
        }
        const double spread = values.unisonSpread;
        Lanes l(4), k(4);
        for (std::size_t lane = 0; lane < 4; ++lane) {
            const float x = eight ? r[lane] + r[lane + 4] : r[lane];
            const double at = values.polyMode == PolyMode::Unison // 0 left, 1 right
                                  ? (static_cast<double>(lane) / 1.5 - 1.0) * spread * 0.5 + 0.5
                                  : lane % 2 == 0 ? 0.5 * spread + 0.5 : 1.0 - (0.5 * spread + 0.5);
            l[lane] = x * (at > 0.5 ? static_cast<float>(2.0 - 2.0 * at) : 1.0f);
            k[lane] = x * (at > 0.5 ? 1.0f : static_cast<float>(2.0 * at));
        }
        left = (l[0] + l[2]) + (l[1] + l[3]);
        right = (k[0] + k[2]) + (k[1] + k[3]);
    }

    float pole(double hz) const { return static_cast<float>(tanCoeff(hz, fs8)); }

    Lanes tick(const EngineValues& values, const Lanes& signal, const Lanes& cutoff,
               const Lanes& amplitude, const Lanes& k)
    {
        const float asym = std::fabs(values.symmetry) < 0.001f ? 0.001f : values.symmetry;
        Lanes x = signal * (values.drive + 0.325f) + 0.25f * th(fbState);
        inHp += (x - inHp) * pole(iterated ? 12.0 : 8.0);
        x -= inHp;
        x += asym * amplitude + 3.0f * asym;
        Lanes g(n);
        for (std::size_t lane = 0; lane < n; ++lane) {
            const int entry = static_cast<int>(cutoff[lane] * CutoffTables::kTopEntry);
            g[lane] = iterated ? tables.late()[entry] : tables.early()[entry];
        }

        if (iterated)
            iterate(x, cutoff, k, g, values.polyMode == PolyMode::Mono ? 1 : n);
        else
            predict(x, k, g);
        const bool band = values.filterBandPass;
        Lanes z(n);
        if (values.filter24dB)
            z = y1 * 0.0f + y2 * (band ? 1.0f : 0.0f) + y3 * (band ? -2.0f : 0.0f) + y4 * 1.0f;
        else
            z = y1 * (band ? 1.0f : 0.0f) + y2 * (band ? -1.0f : 1.0f) + y3 * 0.0f + y4 * 0.0f;

        outLp += (z - outLp) * pole(iterated ? 20.0 : 12.0);
        z = (z - outLp) * (values.filter24dB && band ? 1.5384616f : 0.7692308f);
        z = iterated ? Lanes(th(z) - 0.001f * amplitude) : Lanes(z - 0.02f * amplitude);
        z = th(Lanes(amplitude * z * (2.0f * values.saturation + 2.0f)));
        amHp += (z - amHp) * pole(iterated ? 24.4 : 16.0);
        const Lanes r = z - amHp;
        fbState = values.feedback * r;
        return r;
    }

    /// Newton's method from the last sample's solution, all lanes until the first `deciding` ones
    /// have converged.
    void iterate(const Lanes& x, const Lanes& cutoff, const Lanes& k, const Lanes& g,
                 std::size_t deciding)
    {
        const float w = pole(29.04), loopGain = 1.0f / (1.0f + w);
        const Lanes tolerance = 1e-7f + 1e-5f * cutoff * cutoff;
        const Lanes last1 = y1, last2 = y2, last3 = y3, last4 = y4;
        Lanes tu(n);
        for (int i = 0; i < 6; ++i) {
            const Lanes h = (w * y4 + loopLp) * loopGain;
            tu = th(Lanes(x - k * (y4 - h)));
            const Lanes t1 = th(y1), t2 = th(y2), t3 = th(y3), t4 = th(y4);
            const Lanes f1 = (last1 - y1) + g * (tu - t1 + d1);
            const Lanes f2 = (last2 - y2) + g * (t1 - t2 + d2);
            const Lanes f3 = (last3 - y3) + g * (t2 - t3 + d3);
            const Lanes f4 = (last4 - y4) + g * (t3 - t4 + d4);
            bool converged = true;
            for (std::size_t lane = 0; lane < deciding; ++lane)
                converged = converged && std::fabs(f1[lane]) < tolerance[lane] &&
                            std::fabs(f4[lane]) < tolerance[lane];
            if (converged) {
                d1 = tu - t1;
                d2 = t1 - t2;
                d3 = t2 - t3;
                d4 = t3 - t4;
                loopLp = h + w * (y4 - h);
                return;
            }
            const Lanes b1 = g * (1.0f - t1 * t1), b2 = g * (1.0f - t2 * t2),
                        b3 = g * (1.0f - t3 * t3), b4 = g * (1.0f - t4 * t4);
            const Lanes a1 = -1.0f - b1, a2 = -1.0f - b2, a3 = -1.0f - b3, a4 = -1.0f - b4;
            const Lanes c = g * (tu * tu - 1.0f) * k * loopGain;
            const Lanes a12 = a1 * a2, b12 = b1 * b2;
            const Lanes determinant = a12 * a3 * a4 - c * b12 * b3;
            const Lanes e4 =
                (a12 * (a3 * f4 - b3 * f3) + b3 * b2 * (a1 * f2 - b1 * f1)) / determinant;
            const Lanes e1 = (f1 - c * e4) / a1, e2 = (f2 - b1 * e1) / a2;
            const Lanes e3 = (f3 - b2 * e2) / a3;
            y1 -= e1;
            y2 -= e2;
            y3 -= e3;
            y4 -= e4;
        }
        ++failedSolves;
        for (Lanes* word : {&y1, &y2, &y3, &y4, &d2, &d3, &d4, &loopLp})
            *word = 0.0f;
        for (std::size_t lane = 0; lane < n; ++lane)
            d1[lane] = std::isfinite(tu[lane]) ? tu[lane] : 0.0f;
    }

    /// The linearised ladder: d1..d4 are its integrators.
    void predict(const Lanes& x, const Lanes& k, const Lanes& g)
    {
        const float w1 = pole(9.0), w2 = pole(15.0);
        const float p1 = 1.0f / (1.0f + w1), p2 = 1.0f / (1.0f + w2), q = 1.0f + p2 * w2;
        Lanes &i1 = d1, &i2 = d2, &i3 = d3, &i4 = d4;
        const Lanes t0 = ra(Lanes(x - k * (i4 - s1 - s2)));
        const Lanes t1 = ra(i1), t2 = ra(i2), t3 = ra(i3), t4 = ra(i4), g2 = 2.0f * g;
        const Lanes e1 = 1.0f / (1.0f + g * t1), e2 = 1.0f / (1.0f + g * t2);
        const Lanes e3 = 1.0f / (1.0f + g * t3), e4 = 1.0f / (1.0f + g * t4);
        const Lanes gt3 = g * e4 * t3, gt2 = gt3 * (g * e3 * t2), gt1 = gt2 * (g * e2 * t1);
        const Lanes loop = gt1 * (g * e1 * t0);
        const Lanes numerator = loop * (x + k * (s2 * p2 + s1 * (p1 * q))) + i4 * e4 +
                                gt3 * e3 * i3 + gt2 * e2 * i2 + gt1 * e1 * i1;
        y4 = numerator / (1.0f - loop * (p1 * w1 * q - 1.0f) * k);
        const Lanes h1 = s1 * p1, h2 = s2 * p2 - h1 * (w2 * p2);
        const Lanes v0 = t0 * (x - k * (y4 - h1 - h2));
        y1 = e1 * (g * v0 + i1);
        y2 = e2 * (g * y1 + i2);
        y3 = e3 * (g * y2 + i3);
        const Lanes v1 = t1 * y1, v2 = t2 * y2, v3 = t3 * y3, v4 = t4 * y4;
        i1 += g2 * (v0 - v1);
        i2 += g2 * (v1 - v2);
        i3 += g2 * (v2 - v3);
        i4 += g2 * (v3 - v4);
        s1 += 2.0f * w1 * (y4 - h1);
        s2 += 2.0f * w2 * (y4 - h1 - h2);
    }

    const double fs8;
    CutoffTables tables;
    bool eight = false, iterated = false;
    std::size_t n = 4;
    Lanes y1, y2, y3, y4, d1, d2, d3, d4, loopLp, s1, s2, fbState, inHp, outLp, amHp;
    Lanes* const state[15] = {&y1,     &y2, &y3, &y4,      &d1,   &d2,    &d3,  &d4,
                              &loopLp, &s1, &s2, &fbState, &inHp, &outLp, &amHp};
};

} // namespace zephra::test
