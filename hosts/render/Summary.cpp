// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/Summary.h"

#include <cmath>
#include <cstdio>

namespace zephra::render {
namespace {

double decibels(double amplitude) noexcept { return 20.0 * std::log10(amplitude); }

std::string number(const char* form, double value)
{
    char text[64];
    std::snprintf(text, sizeof text, form, value);
    return text;
}

std::string jsonNumber(const char* form, double value)
{
    return std::isfinite(value) ? number(form, value) : "null";
}

} // namespace

void LevelMeter::add(const float* left, const float* right, int count) noexcept
{
    for (int i = 0; i < count; ++i) {
        for (const double sample : {left[i], right[i]}) {
            peak = std::fmax(peak, std::fabs(sample));
            squares += sample * sample;
        }
    }
    samples += 2 * static_cast<std::int64_t>(count);
}

double LevelMeter::peakDb() const noexcept { return decibels(peak); }

double LevelMeter::rmsDb() const noexcept
{
    return decibels(samples > 0 ? std::sqrt(squares / static_cast<double>(samples)) : 0.0);
}

double Summary::speed() const noexcept
{
    return elapsedSeconds > 0.0 ? seconds() / elapsedSeconds : 0.0;
}

std::string Summary::text() const
{
    return number("%.3f s", seconds()) + number(", peak %.2f dBFS", levels.peakDb()) +
           number(", RMS %.2f dBFS", levels.rmsDb()) + ", " + std::to_string(notes) +
           (notes == 1 ? " note" : " notes") + number(", %.1f times real time", speed());
}

std::string Summary::json() const
{
    return "{\"seconds\": " + jsonNumber("%.6f", seconds()) +
           ", \"samples\": " + std::to_string(samples) + ", \"rate\": " + std::to_string(rate) +
           ", \"peak_dbfs\": " + jsonNumber("%.4f", levels.peakDb()) +
           ", \"rms_dbfs\": " + jsonNumber("%.4f", levels.rmsDb()) +
           ", \"notes\": " + std::to_string(notes) + ", \"speed\": " + jsonNumber("%.2f", speed()) +
           "}";
}

} // namespace zephra::render
