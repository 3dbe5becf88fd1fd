// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/AmpEnvelope.h"
#include "voice/Drift.h"
#include "voice/FilterEnvelope.h"
#include "voice/LaneRows.h"

namespace zephra {

// What changes per sample or per tick.

template <template <class> class Row> struct OscillatorRows : LaneAccess<OscillatorRows, Row> {
    Row<float> phase{};    ///< 0 up to 1, cycles
    Row<float> heldNext{}; ///< ramp or pulse value of the next sample, with its step correction
    Row<float> triLow{};   ///< 200 Hz low-pass under the Late triangle
    Row<int> pulseHigh{};  ///< 0 before the pulse threshold in the cycle, 1 after it

    static void visit(auto each, auto&... of) noexcept
    {
        (each(of.phase...), each(of.heldNext...), each(of.triLow...), each(of.pulseHigh...));
    }
};
using OscillatorState = OscillatorRows<Single>;
using OscillatorLanes = OscillatorRows<Lanes>;

/// Noise: the slow noise that a tick draws from the recording, and its two colourings as sound and
/// as modulation.
template <template <class> class Row> struct NoiseRows : LaneAccess<NoiseRows, Row> {
    Row<float> pinkLp1{}, pinkLp2{}; ///< 100 Hz low-passes of pink noise as modulation
    Row<float> whiteLp{};            ///< 80 Hz low-pass that white noise is freed of
    Row<float> pinkLow{};            ///< the slow noise, held between ticks
    Row<float> slowNoise{};          ///< its 10 Hz part
    Row<int> tonePos{};              ///< read position in the recording

    static void visit(auto each, auto&... of) noexcept
    {
        (each(of.pinkLp1...), each(of.pinkLp2...), each(of.whiteLp...), each(of.pinkLow...),
         each(of.slowNoise...), each(of.tonePos...));
    }
};
using NoiseState = NoiseRows<Single>;

template <template <class> class Row> struct VoiceRows {
    OscillatorRows<Row> oscillators[3];
    NoiseRows<Row> noise;
    DriftRows<Row> drift;
    FilterEnvelopeRows<Row> filterEnvelope;
    AmpEnvelopeRows<Row> ampEnvelope;

    Row<double> glidePitch{}; ///< sounding pitch, note number with a fraction
    Row<double> bendSmooth{}; ///< semitones
    Row<float> modAmount{};   ///< smoothed modulation depth, 0..1
    Row<float> modSignal{};   ///< modulation source of the last sample

    // Ramped across each stretch, from the end of the last one
    Row<float> gain[3]{}; ///< oscillator level times its wave's factor
    Row<float> cutBase{};
    Row<float> envSum{};
    Row<float> volMod{};       ///< 0..1, 1 at start
    Row<double> sustainRamp{}; ///< 0..0.8

    Row<float> cutNoise{};  ///< 9 Hz wobble of the cutoff
    Row<float> cutoff{};    ///< the last cutoff value, 0..1
    Row<double> ampOut{};   ///< the last level of the amplifier envelope, 0..1
    Row<Random15> random{}; ///< start phases and drift

    static void visit(auto each, auto&... of) noexcept
    {
        for (int k = 0; k < 3; ++k)
            OscillatorRows<Row>::visit(each, of.oscillators[k]...);
        NoiseRows<Row>::visit(each, of.noise...);
        DriftRows<Row>::visit(each, of.drift...);
        FilterEnvelopeRows<Row>::visit(each, of.filterEnvelope...);
        AmpEnvelopeRows<Row>::visit(each, of.ampEnvelope...);
        visitRamps(each, of...);
        (each(of.glidePitch...), each(of.bendSmooth...), each(of.modAmount...),
         each(of.modSignal...), each(of.sustainRamp...), each(of.cutNoise...), each(of.cutoff...),
         each(of.ampOut...), each(of.random...));
    }
    /// The ramps of single precision.
    static void visitRamps(auto each, auto&... of) noexcept
    {
        (each(of.gain[0]...), each(of.gain[1]...), each(of.gain[2]...), each(of.cutBase...),
         each(of.envSum...), each(of.volMod...));
    }
};

struct alignas(64) VoiceLanes : VoiceRows<Lanes> {
    void copyLane(const VoiceLanes& from, std::size_t lane) noexcept
    {
        visit([lane](auto& to, const auto& row) { to[lane] = row[lane]; }, *this, from);
    }
};

} // namespace zephra
