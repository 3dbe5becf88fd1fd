// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/FilterEnvelope.h"

#include <algorithm>

namespace zephra {

/// What the amplifier envelope reads in one stretch.
struct AmpEnvelopeRates {
    double attack, decay, release; ///< factors per voice-rate sample
    double linearFall;             ///< way of the linear release per voice-rate sample
    bool linearRelease;            ///< the shortest releases fall in a straight line
};

/// The amplifier envelope: multiplicative stages, and a linear release beside the multiplicative
/// one.
template <template <class> class Row> struct AmpEnvelopeRows : LaneAccess<AmpEnvelopeRows, Row> {
    static constexpr double kAttackEnd = 0.8;

    Row<EnvelopeStage> ampState{};
    Row<double> ampLevel{};  ///< 0..1
    Row<double> ampLinear{}; ///< follows ampLevel, falls in a straight line in the release

    static void visit(auto each, auto&... of) noexcept
    {
        (each(of.ampState...), each(of.ampLevel...), each(of.ampLinear...));
    }

    /// One voice-rate sample of a Single: the level 0..1 that goes to the AmpCurve. `toPeak` is 1 -
    /// ampLevel when the stretch starts, and is the attack's own memory through the stretch.
    double tick(const AmpEnvelopeRates& rate, double& toPeak, double sustain) noexcept
    {
        switch (ampState) {
        case EnvelopeStage::Attack:
            toPeak *= rate.attack;
            ampLevel = 1.0 - toPeak;
            if (ampLevel > kAttackEnd)
                ampState = EnvelopeStage::Decay;
            break;
        case EnvelopeStage::Decay:
            if (ampLevel > sustain) {
                ampLevel *= rate.decay;
            } else {
                ampState = EnvelopeStage::Sustain;
                ampLevel = sustain;
            }
            break;
        case EnvelopeStage::Sustain: ampLevel = sustain; break; // follows the knob
        case EnvelopeStage::Release:
            ampLevel *= rate.release;
            ampLinear = std::max(0.0, ampLinear - rate.linearFall);
            return rate.linearRelease ? ampLinear : ampLevel;
        }
        ampLinear = ampLevel;
        return ampLevel;
    }
};
using AmpEnvelope = AmpEnvelopeRows<Single>;

} // namespace zephra
