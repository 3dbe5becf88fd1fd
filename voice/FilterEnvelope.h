// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/LaneRows.h"

#include <cmath>

namespace zephra {

/// Only the amplifier envelope has a sustain stage.
enum class EnvelopeStage : int { Attack = 0, Decay = 1, Sustain = 3, Release = 4 };

/// What the filter envelope reads in one stretch.
struct FilterEnvelopeRates {
    double attack;     ///< factor per voice-rate sample
    double release;    ///< factor per voice-rate sample
    double decayOhms;  ///< R through which the capacitor charges
    double sustain;    ///< S, level it charges to
    double droopStart; ///< droopTime at the start of the decay
    double fs8;        ///< voice rate
};

/// The filter envelope: a capacitor charged through a resistor toward the sustain level and, in
/// its decay, discharged by a second resistor that grows with time. The attack ends at half the
/// range: the scale in the cutoff sum brings that to nearly full.
template <template <class> class Row>
struct FilterEnvelopeRows : LaneAccess<FilterEnvelopeRows, Row> {
    static constexpr double kFarads = 1e-5;

    Row<EnvelopeStage> fltState{};
    Row<double> fltCharge{};            ///< distance left in the attack, 1 falling
    Row<double> fltLevel{};             ///< level in attack and decay
    Row<double> fltOut{};               ///< the output
    Row<double> fltStart{}, fltScale{}; ///< offset and scale of the attack
    Row<double> droopTime{};            ///< running time of the decay, in 1/192000 s; never 0

    static void visit(auto each, auto&... of) noexcept
    {
        (each(of.fltState...), each(of.fltCharge...), each(of.fltLevel...), each(of.fltOut...),
         each(of.fltStart...), each(of.fltScale...), each(of.droopTime...));
    }

    /// Conductance of the droop resistor at a running time: 1 / (1.62 t^1.4).
    static double droopConductance(double time) noexcept
    {
        return 1.0 / (1.62 * std::pow(time, 1.4));
    }

    /// One voice-rate sample of a Single; `droop` is the conductance of this tick.
    void tick(const FilterEnvelopeRates& rate, double& droop) noexcept
    {
        switch (fltState) {
        case EnvelopeStage::Attack:
            fltCharge *= rate.attack;
            fltLevel = 1.0 - fltCharge;
            if (fltLevel > 0.5) {
                fltState = EnvelopeStage::Decay;
                droopTime = rate.droopStart;
                droop = droopConductance(droopTime);
                fltLevel = fltOut; // the value already reached
            } else {
                fltOut = fltLevel * fltScale + fltStart;
            }
            break;
        case EnvelopeStage::Decay:
            fltLevel += ((rate.sustain - fltLevel) / rate.decayOhms - droop * fltLevel) /
                        (rate.fs8 * kFarads);
            fltOut = fltLevel;
            break;
        case EnvelopeStage::Sustain: break;
        case EnvelopeStage::Release: fltOut *= rate.release; break;
        }
    }

    /// A new note of a Single. With a long release and a quick attack the attack goes on from the
    /// running output, over a shortened way; else the charge starts at what the output has reached.
    void start(bool keepsRunningOutput) noexcept
    {
        if (keepsRunningOutput) {
            fltStart = fltOut;
            fltScale = fltOut < 1.05 ? std::exp(-3.0 * fltOut) : 0.0;
            fltCharge = 1.0;
        } else {
            fltStart = 0.0;
            fltScale = 1.0;
            fltCharge = 1.0 - fltOut;
        }
        fltState = EnvelopeStage::Attack;
    }
};
using FilterEnvelope = FilterEnvelopeRows<Single>;

} // namespace zephra
