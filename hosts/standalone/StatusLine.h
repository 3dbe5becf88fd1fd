// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

namespace zephra::standalone {

/// What the line in the terminal tells.
struct Status {
    std::string patch;
    float peak = 0.0f; ///< since the last line, 0..1 and above
    int octave = 3;
    bool pedal = false;
    int dropped = 0;       ///< blocks
    bool hasSound = true;  ///< false while the device has gone
    std::string keyboards; ///< connected ones, empty: none
};

/// The line, at most `columns` characters wide.
std::string statusLine(const Status& status, int columns);

} // namespace zephra::standalone
