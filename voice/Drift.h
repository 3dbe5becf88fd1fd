// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Random15.h"
#include "voice/LaneRows.h"

#include <cmath>

namespace zephra {

/// Two walkers that move in straight segments between random targets in 0..1. Pitch follows the
/// first in oscillator 1 and the second in oscillators 2 and 3. They run at any depth.
template <template <class> class Row> struct DriftRows : LaneAccess<DriftRows, Row> {
    Row<double> drift1{}, drift2{}; ///< positions
    Row<double> driftTarget1{}, driftTarget2{};

    static void visit(auto each, auto&... of) noexcept
    {
        (each(of.drift1...), each(of.drift2...), each(of.driftTarget1...),
         each(of.driftTarget2...));
    }

    /// One control tick of a Single; `step` is the way of a tick.
    void tick(Random15& random, double step) noexcept
    {
        if (hasArrived(drift1, driftTarget1, step))
            driftTarget1 = (random.next() + 1) / 32767.0;
        else
            drift1 += drift1 < driftTarget1 ? step : -step;

        if (hasArrived(drift2, driftTarget2, step))
            driftTarget2 = random.next() / 32767.0;
        else
            drift2 += drift2 < driftTarget2 ? step : -step;
    }

private:
    static bool hasArrived(double position, double target, double step) noexcept
    {
        return std::fabs(position - target) <= step;
    }
};
using DriftState = DriftRows<Single>;

} // namespace zephra
