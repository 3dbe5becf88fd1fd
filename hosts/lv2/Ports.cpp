// SPDX-License-Identifier: GPL-3.0-or-later
#include "lv2/Ports.h"

#include "controls/ControlTable.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace zephra::lv2 {

namespace {

// The cutoff knob as it is labelled: 25 Hz, times 2.02 with each of its ten marks.
constexpr double kLowestCutoff = 25.0;
constexpr double kHighestCutoff = [] {
    double hz = kLowestCutoff;
    for (int mark = 0; mark < 10; ++mark)
        hz *= 2.02;
    return hz;
}();

constexpr PortScale scaleOf(const ControlInfo& control)
{
    switch (control.text) {
    case TextRule::Plain:
    case TextRule::AttackTime:
    case TextRule::DecayTime:
    case TextRule::ReverbTime:
    case TextRule::Phase:
    case TextRule::LinLog: return {0.0, 10.0};
    case TextRule::Centred: return {-5.0, 5.0};
    case TextRule::Semitones:
    case TextRule::Osc3Semitones: return {-7.0, 7.0, "semitone12TET"};
    case TextRule::OscCents: return {-50.0, 50.0, "cent"};
    case TextRule::FineCents: return {-100.0, 100.0, "cent"};
    case TextRule::Octaves: return {-2.0, control.scale - 2.0, "oct", true};
    case TextRule::Hundredths: return {0.0, 100.0};
    case TextRule::SpacedPercent:
    case TextRule::MixPercent: return {0.0, 100.0, "pc"};
    case TextRule::Cutoff: return {kLowestCutoff, kHighestCutoff, "hz", false, true};
    case TextRule::Whole:
    case TextRule::TwoWords:
    case TextRule::List:
    case TextRule::Waveform:
    case TextRule::Range: break;
    }
    return {0.0, control.scale, nullptr, true};
}

constexpr auto kScales = [] {
    std::array<PortScale, kNumHostParameters> scales{};
    for (const ControlInfo& control : kControls) {
        if (control.isAutomatable())
            scales[static_cast<std::size_t>(control.hostIndex)] = scaleOf(control);
    }
    return scales;
}();

} // namespace

float PortScale::fromNormalised(float normalised) const noexcept
{
    const double n = normalised;
    const double value =
        logarithmic ? minimum * std::pow(maximum / minimum, n) : minimum + n * (maximum - minimum);
    return static_cast<float>(whole ? std::round(value) : value);
}

float PortScale::toNormalised(float value) const noexcept
{
    const double inside = std::clamp<double>(value, minimum, maximum);
    const double n = logarithmic ? std::log(inside / minimum) / std::log(maximum / minimum)
                                 : (inside - minimum) / (maximum - minimum);
    return static_cast<float>(std::clamp(n, 0.0, 1.0));
}

const PortScale& portScale(int index) noexcept { return kScales[static_cast<std::size_t>(index)]; }

} // namespace zephra::lv2
