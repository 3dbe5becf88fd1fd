// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace zephra::standalone {

struct Options {
    /// Stands for "whatever there is" in place of a device or port, and ends the remembering.
    static constexpr const char* kAny = "any";

    std::optional<std::string> device; ///< part of a label
    std::optional<std::string> midi;   ///< likewise
    unsigned rate = 0;                 ///< Hz, 0: as the device likes it
    unsigned block = 0;                ///< samples, likewise
    std::string patch;                 ///< a file, or a path in the library; empty: the first
    std::string song;                  ///< path of a Standard MIDI File, empty: none
    bool listDevices = false;
};

/// Reads the command line. Throws Failure; on --help or --version prints that to standard output
/// and returns nothing.
std::optional<Options> readOptions(int argc, const char* const* argv);

} // namespace zephra::standalone
