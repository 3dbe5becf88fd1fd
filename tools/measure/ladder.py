# SPDX-License-Identifier: GPL-3.0-or-later
"""Both filter solvers in double precision, many settings side by side, one voice sample at a time.
Inputs and coefficients are arrays of one value per setting; results have shape (samples, settings)."""

import numpy as np

from .theory import th


def ra(v):
    v2 = v * v
    return (945 + 105 * v2 + v2 * v2) / (945 + 420 * v2 + 15 * v2 * v2)


def iterated(count, x, g, k, fs8, tolerance, start=0.3):
    """Four trapezoidal stages th(y[k-1]) - th(y[k]), solved at each sample by Newton's method until
    the first and the last residual are within the tolerance. x is constant."""
    w = np.tan(np.pi * 29.04 / fs8)
    y = [np.full_like(g, start) for _ in range(4)]
    d = [np.zeros_like(g) for _ in range(4)]
    low = np.zeros_like(g)
    out = np.empty((count, len(g)))
    for n in range(count):
        before = [v.copy() for v in y]
        for _ in range(5):
            t = [th(v) for v in y]
            h = (w * y[3] + low) / (1 + w)
            tu = th(x - k * (y[3] - h))
            inputs = [tu, t[0], t[1], t[2]]
            f = [before[i] - y[i] + g * (inputs[i] - t[i] + d[i]) for i in range(4)]
            going = (abs(f[0]) >= tolerance) | (abs(f[3]) >= tolerance)
            if not going.any():
                break
            b = [g * (1 - v * v) for v in t]
            c = g * (tu * tu - 1) * k / (1 + w)
            # Newton step: with the first unknown s, each next one is p + q * s.
            p, q = [0.0], [1.0]
            for i in (1, 2, 3):
                p.append((f[i] - b[i - 1] * p[-1]) / (-1 - b[i]))
                q.append(-b[i - 1] * q[-1] / (-1 - b[i]))
            s = (f[0] - c * p[3]) / (-1 - b[0] + c * q[3])
            for i in range(4):
                y[i] = y[i] - np.where(going, p[i] + q[i] * s, 0.0)
        t = [th(v) for v in y]
        h = (w * y[3] + low) / (1 + w)
        tu = th(x - k * (y[3] - h))
        d = [tu - t[0], t[0] - t[1], t[1] - t[2], t[2] - t[3]]
        low = h + w * (y[3] - h)
        out[n] = y[3]
    return out


def linearised(count, x, g, k, fs8, start=0.3):
    """Each stage's curve replaced by a gain taken from its integrator; one pass a sample."""
    w1, w2 = np.tan(np.pi * 9 / fs8), np.tan(np.pi * 15 / fs8)
    p1, p2 = 1 / (1 + w1), 1 / (1 + w2)
    q = 1 + p2 * w2
    i1, i2, i3, i4 = (np.full_like(g, start) for _ in range(4))
    s1, s2 = np.zeros_like(g), np.zeros_like(g)
    out = np.empty((count, len(g)))
    for n in range(count):
        t0 = ra(x - k * (i4 - s1 - s2))
        t1, t2, t3, t4 = ra(i1), ra(i2), ra(i3), ra(i4)
        e1, e2, e3, e4 = (1 / (1 + g * t) for t in (t1, t2, t3, t4))
        gamma = g ** 4 * e1 * e2 * e3 * e4
        known = i4 * e4 + g * e3 * e4 * t3 * i3 + g * g * e2 * e3 * e4 * t2 * t3 * i2
        known = known + g ** 3 * e1 * e2 * e3 * e4 * t1 * t2 * t3 * i1
        driven = t0 * gamma * t1 * t2 * t3
        y4 = (driven * (x + k * (s2 * p2 + s1 * p1 * q)) + known) / (1 - driven * (p1 * w1 * q - 1) * k)
        h1 = s1 * p1
        h2 = -h1 * w2 * p2 + s2 * p2
        v0 = t0 * (x - k * (y4 - h1 - h2))
        y1 = e1 * (g * v0 + i1)
        y2 = e2 * (g * y1 + i2)
        y3 = e3 * (g * y2 + i3)
        v1, v2, v3, v4 = t1 * y1, t2 * y2, t3 * y3, t4 * y4
        i1 = i1 + 2 * g * (v0 - v1)
        i2 = i2 + 2 * g * (v1 - v2)
        i3 = i3 + 2 * g * (v2 - v3)
        i4 = i4 + 2 * g * (v3 - v4)
        s1 = s1 + 2 * w1 * (y4 - h1)
        s2 = s2 + 2 * w2 * (y4 - h1 - h2)
        out[n] = y4
    return out
