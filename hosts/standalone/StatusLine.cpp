// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/StatusLine.h"

#include "common/Utf8.h"
#include "standalone/Terminal.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace zephra::standalone {
namespace {

constexpr int kMeterWidth = 20;       // characters
constexpr double kMeterFloor = -60.0; // dBFS

/// "[############........] -24 dB", with a "!" from full scale on.
std::string meter(float peak)
{
    const double level = 20.0 * std::log10(std::max(static_cast<double>(peak), 1e-9));
    const double part = std::clamp(1.0 - level / kMeterFloor, 0.0, 1.0);
    const auto lit = static_cast<std::size_t>(std::lround(part * kMeterWidth));
    char text[16] = "        ";
    if (level > kMeterFloor)
        std::snprintf(text, sizeof text, "%+3.0f dB%c", level, peak >= 1.0f ? '!' : ' ');
    std::string bar = "[";
    return bar.append(lit, '#').append(kMeterWidth - lit, '.').append("] ").append(text);
}

/// The start of a text, by characters.
std::string cut(const std::string& text, int columns)
{
    std::size_t bytes = text.size();
    const auto most = static_cast<std::size_t>(std::max(columns, 0));
    while (codePoints(std::string_view(text).substr(0, bytes)) > most)
        bytes = utf8Prefix(text, bytes - 1).size();
    return text.substr(0, bytes);
}

} // namespace

std::string statusLine(const Status& status, int columns)
{
    std::string line = status.hasSound ? meter(status.peak) : "The sound device has gone; waiting.";
    line += "  " + printable(status.patch);
    line += "  octave " + std::to_string(status.octave);
    line += status.pedal ? "  pedal" : "";
    line += "  dropped " + std::to_string(status.dropped);
    if (!status.keyboards.empty())
        line += "  " + printable(status.keyboards);
    return cut(line, columns - 1); // the last column would make some terminals wrap
}

} // namespace zephra::standalone
