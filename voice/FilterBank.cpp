// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/FilterBank.h"

#include "common/Maths.h"
#include "voice/VoiceRates.h"

#include <cmath>
#include <span>

namespace zephra {

namespace {

using Tap = FilterStretch::Tap;
constexpr float kComp = 0.7692308f;           // 1 / 1.3
constexpr float kBandPass24Comp = 1.5384616f; // 2 / 1.3
// clang-format off
constexpr Tap kTaps[2][2] = {                               // [24 dB][band pass]
    {{0, 1, 0, 0, kComp}, {1, -1, 0, 0, kComp}},            // 12 dB
    {{0, 0, 0, 1, kComp}, {0, 1, -2, 1, kBandPass24Comp}},  // 24 dB
};
// clang-format on

/// Kept: the symmetry never reaches zero; close to it, it sits on the positive side.
float biased(float symmetry) noexcept
{
    constexpr float kLeast = 0.001f;
    return symmetry > -kLeast && symmetry < kLeast ? kLeast : symmetry;
}

struct PanGains {
    float left, right;
};

/// Balance at position 0..1: the far side falls off, the near side stays at 1.
PanGains panAt(double position) noexcept
{
    if (position > 0.5)
        return {static_cast<float>(2.0 - 2.0 * position), 1.0f};
    return {1.0f, static_cast<float>(2.0 * position)};
}

PanGains panOfLane(const EngineValues& values, int lane) noexcept
{
    const double spread = values.unisonSpread;
    if (values.polyMode == PolyMode::Unison)
        return panAt((lane / 1.5 - 1.0) * spread * 0.5 + 0.5);
    const double s = 0.5 * spread + 0.5;
    return panAt(lane % 2 == 0 ? s : 1.0 - s);
}

/// State words that are no longer finite become 0. True if there were any.
bool clearBroken(FilterLanes& lanes) noexcept
{
    bool broken = false;
    using Words = std::span<FilterLanes::Word>;
    for (const Words words : {Words(lanes.iterated), Words(lanes.linearised), Words(lanes.around)})
        for (FilterLanes::Word& word : words)
            for (float& x : word)
                if (x - x != 0.0f) {
                    broken = true;
                    x = 0.0f;
                }
    return broken;
}

/// What follows from the controls alone.
FilterStretch stretchOf(const EngineValues& values) noexcept
{
    FilterStretch s;
    s.eight = values.polyMode == PolyMode::Poly8;
    s.iterated = !s.eight && values.revision == Revision::Late;
    s.mono = values.polyMode == PolyMode::Mono;
    s.drive = values.drive + 0.325f;
    s.asym = biased(values.symmetry);
    s.sat = 2.0f * values.saturation + 2.0f;
    s.fbGain = values.feedback;
    s.tap = kTaps[values.filter24dB ? 1 : 0][values.filterBandPass ? 1 : 0];
    for (int lane = 0; lane < 4; ++lane) {
        const PanGains pan = panOfLane(values, lane);
        s.pan.left[lane] = pan.left;
        s.pan.right[lane] = pan.right;
    }
    return s;
}

} // namespace

FilterBank::FilterBank(Isa isa) noexcept
    : kernel(kernelFor(isa, []<Isa kIsa>() { return &filterStretch<kIsa>; }))
{
}

void FilterBank::setSampleRate(double fs)
{
    const double fs8 = fs * kOversampling;
    const auto at = [fs8](double hz) { return static_cast<float>(tanCoeff(hz, fs8)); };
    lateCoeffs = {at(12.0), at(20.0), at(24.4), at(29.04)};
    earlyCoeffs = {at(8.0), at(12.0), at(16.0), at(9.0), at(15.0)};
    tables.setSampleRate(fs);
}

void FilterBank::reset() noexcept { lanes = {}; }

void FilterBank::process(const EngineValues& values, const LaneBuffer& buffer, int count,
                         float* left, float* right) noexcept
{
    FilterStretch s = stretchOf(values);
    s.cutoffTable = s.iterated ? tables.late() : tables.early();
    s.coeffs = s.iterated ? lateCoeffs : earlyCoeffs;
    kernel(s, lanes, buffer, count, left, right);
    if (clearBroken(lanes)) { // later stages have memories of their own to keep clean
        for (int i = 0; i < count; ++i)
            if (!std::isfinite(left[i]) || !std::isfinite(right[i]))
                left[i] = right[i] = 0.0f;
    }
}

} // namespace zephra
