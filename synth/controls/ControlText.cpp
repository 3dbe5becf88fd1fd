// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlText.h"

#include "controls/ControlTable.h"
#include "controls/SyncCycles.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <span>

namespace zephra {

namespace {

/// With that many decimals, rounded to nearest from the exact binary value.
std::string fixed(double x, int decimals)
{
    char digits[330]; // the largest double has 309 places before the stop
    const auto end =
        std::to_chars(digits, std::end(digits), x, std::chars_format::fixed, decimals).ptr;
    return {digits, end};
}

std::string withPlus(bool plus, const std::string& digits)
{
    std::string text(plus ? "+" : "");
    return text.append(digits);
}

/// The offset of a bipolar knob: a plus sign right of its centre.
std::string bipolar(double v, double factor, int decimals)
{
    return withPlus(v > 0.5, fixed(factor * v - factor * 0.5, decimals));
}

std::string octaves(double v)
{
    const int octave = wholeStep(v) - 2;
    return withPlus(octave > 0, std::to_string(octave));
}

std::string row(std::span<const char* const> texts, double v, const char* other)
{
    const int index = wholeStep(v);
    const bool exists = index >= 0 && index < static_cast<int>(texts.size());
    return exists ? texts[static_cast<std::size_t>(index)] : other;
}

std::string nearestRow(std::span<const char* const> texts, double v)
{
    return row(texts, std::clamp(v, 0.0, static_cast<double>(texts.size() - 1)), "");
}

/// Truncated towards zero, of a product in single precision, as presets hold the value.
std::string hundredths(double v)
{
    const float product = 100.0f * static_cast<float>(v);
    return std::to_string(static_cast<int>(std::clamp(product, -1e9f, 1e9f)));
}

/// 25 Hz at the bottom, a little more than an octave each tenth of the way.
std::string cutoff(double v)
{
    const double hz = 25.0 * std::pow(2.02, 10.0 * v);
    if (hz < 1000.0)
        return fixed(hz, 0) + " Hz";
    return fixed(hz / 1000.0, hz < 14000.0 ? 1 : 0) + " kHz";
}

struct Knot {
    double x; ///< control value
    double ms;
};
using Knots = std::array<Knot, 7>;

// Times as the panel is labelled. They are near to what the engine does, not equal.
constexpr Knots kAttackKnots{{
    {0.0, 2.0},
    {0.1, 10.0},
    {0.4, 600.0},
    {0.6, 1000.0},
    {0.7, 5000.0},
    {0.8667, 10000.0},
    {1.0, 35000.0},
}};
constexpr Knots kDecayKnots = [] {
    Knots knots = kAttackKnots;
    knots[3] = {0.6, 3000.0};
    return knots;
}();
constexpr Knots kReverbKnots{{
    {0.0, 600.0},
    {0.1, 1000.0},
    {0.2, 1500.0},
    {0.4, 2000.0},
    {0.6, 4000.0},
    {0.8, 8000.0},
    {1.0, 60000.0},
}};

/// Milliseconds at v: a parabola from knot to knot, flat at the left one.
double walkKnots(const Knots& knots, double v)
{
    v = std::clamp(v, knots.front().x, knots.back().x);
    const auto right = std::find_if(knots.begin() + 1, knots.end() - 1,
                                    [v](const Knot& knot) { return v < knot.x; });
    const Knot& a = right[-1];
    const Knot& b = right[0];
    const double u = (v - a.x) / (b.x - a.x);
    return a.ms + u * u * (b.ms - a.ms);
}

std::string time(const Knots& knots, double v)
{
    const double ms = walkKnots(knots, v);
    if (ms < 1000.0)
        return fixed(ms, 0) + " ms";
    const double seconds = ms / 1000.0;
    return fixed(seconds, seconds <= 9.9 ? 1 : 0) + " s";
}

/// Oscillator 3 runs at a note length instead of a pitch.
bool showsNoteLength(const TextContext& context)
{
    return context.osc3LoSync >= 1.0 && snapped(osc_3_range, context.osc3Range) == 0.0;
}

} // namespace

std::string controlText(int id, double v, const TextContext& context)
{
    const ControlInfo* control = findControl(id);
    if (!control)
        return {};
    if (std::isnan(v))
        v = defaultValue(id);

    switch (control->text) {
    case TextRule::Plain: return fixed(10.0 * v, 2);
    case TextRule::Centred: return fixed(10.0 * v - 5.0, 2);
    case TextRule::Osc3Semitones:
        if (showsNoteLength(context))
            return kLongSync[static_cast<std::size_t>(syncIndex(std::clamp(v, 0.0, 1.0)))];
        [[fallthrough]];
    case TextRule::Semitones: return bipolar(v, 14.0, 2);
    case TextRule::OscCents: return bipolar(v, 100.0, 1);
    case TextRule::FineCents: return bipolar(v, 200.0, 1);
    case TextRule::Octaves: return octaves(v);
    case TextRule::Whole: return std::to_string(wholeStep(v));
    case TextRule::Hundredths: return hundredths(v);
    case TextRule::SpacedPercent: return hundredths(v) + " %";
    case TextRule::MixPercent: return std::string("Mix ").append(hundredths(v)) + "%";
    case TextRule::TwoWords: return control->texts[v == 1.0 ? 1 : 0];
    case TextRule::List: return nearestRow(control->texts, v);
    case TextRule::Waveform: return row(control->texts, v, "Saw");
    case TextRule::Range: return row(control->texts, v, " ");
    case TextRule::Cutoff: return cutoff(v);
    case TextRule::AttackTime: return time(kAttackKnots, v);
    case TextRule::DecayTime: return time(kDecayKnots, v);
    case TextRule::ReverbTime: return v >= 1.0 ? "Inf." : time(kReverbKnots, v);
    case TextRule::Phase: return v < 0.001 ? "Free" : fixed(10.0 * v, 2);
    case TextRule::LinLog: return "LIN <> LOG";
    }
    return {};
}

} // namespace zephra
