// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/Pitch.h"

#include "voice/Waves.h"

#include <algorithm>
#include <cmath>

namespace zephra {

namespace {

/// Semitones of the ranges "LO", "32'", "16'", "8'", "4'", "2'".
constexpr std::array<double, 6> kRangeSemitones = {-48, -24, -12, 0, 12, 24};

/// The same as factors on the fixed rate of oscillator 3. Kept: 520 at the top, not 512.
constexpr std::array<double, 6> kFixedRateFactor = {1, 32, 64, 128, 256, 520};

/// Constant detune of the oscillators in semitones, [voice][oscillator]: no two voices of the
/// instrument are tuned alike.
constexpr double kSpread[8][3] = {
    {0, 0.0011, -0.0015},           {-0.00251, -0.00201, 0.001392},
    {0.00221, 0.0022317, 0.001291}, {-0.002711, 0.002212, -0.0002391},
    {0.0001, 0.0012, -0.00105},     {-0.0025, 0.002, 0.001392},
    {0.0022, 0.00123143, 0.001271}, {-0.002411, -0.0002211, -0.0002391},
};

/// Unison: lanes 0 and 1 lie around the pitch, lanes 2 and 3 about twice as far, unevenly.
double unisonFactor(const EngineValues& values, int lane) noexcept
{
    if (values.polyMode != PolyMode::Unison)
        return 1.0;
    const double d = static_cast<double>(values.unisonDetune);
    const double x = 0.06 * d * d * d;
    const double a = 1.0 - x;
    const double b = 1.0 - 1.99 * x;
    switch (lane) {
    case 0: return a;
    case 1: return 1.0 / a;
    case 2: return b;
    default: return 1.0 / b;
    }
}

} // namespace

std::array<double, 3> oscillatorBases(const EngineValues& values, int lane, double fs8) noexcept
{
    // The slope K stretches the keyboard around note 102 (12 * 2.75 above 69), where the exponent
    // of the correction vanishes. 65.406 Hz is C2, 2.75 octaves below A4 at K = 2; what is left
    // there is a factor 1.000006.
    const double slope = values.oscKeytrackSlope;
    const double unit = 440.0 / fs8 * unisonFactor(values, lane);
    const double base =
        (440.0 * std::pow(slope, -2.75) / 65.406) * unit * values.coarseFactor * values.fineFactor;

    std::array<double, 3> bases{};
    for (std::size_t k = 0; k < 3; ++k) {
        const double semitones = static_cast<double>(values.oscSemi[k]) +
                                 kRangeSemitones[static_cast<std::size_t>(values.oscRange[k])] +
                                 static_cast<double>(values.oscFine[k]) + kSpread[lane][k] - 69.0;
        bases[k] = base * std::pow(slope, semitones / 12.0);
    }
    return bases;
}

float fixedOscillator3Increment(const EngineValues& values) noexcept
{
    const int range = values.oscRange[2];
    const double increment =
        range == 0 && values.osc3LoSync
            ? values.lfoIncrement
            : values.osc3FixedRate * kFixedRateFactor[static_cast<std::size_t>(range)];
    return static_cast<float>(std::min(increment, kMaxIncrement));
}

} // namespace zephra
