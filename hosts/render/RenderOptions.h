// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "song/MidiMessage.h"

#include <optional>
#include <string>
#include <vector>

namespace zephra::render {

enum class SampleFormat { Float32, Int24, Int16 };

/// A control and its control value (not normalised). Not-a-number and infinity are allowed: the
/// instrument itself keeps them from the sound.
struct ControlSetting {
    int id = 0;
    double value = 0.0;
};

struct ControlChange {
    ControlSetting setting;
    double seconds = 0.0;
};

struct PlayedNote {
    int key = 60;               ///< 0..127
    int velocity = 100;         ///< 1..127
    double on = 0.0, off = 0.0; ///< seconds, on < off
    int channel = 0;            ///< 0..15
};

/// A checked command line: every number is finite, in its range, and every control is known.
struct RenderOptions {
    std::string song;                     ///< path, empty for none
    std::string out;                      ///< path, "-" for standard output
    std::string library;                  ///< path of a soundbank root, empty for none
    std::string patch;                    ///< path of a program file, empty for the first state
    std::string savePatch;                ///< path, empty: the state is not saved
    std::vector<ControlSetting> settings; ///< in command-line order, as all lists here
    std::vector<ControlChange> automation;
    std::vector<PlayedNote> notes;
    std::vector<PlayedMessage> controllers; ///< controllers, bends, pressure, program changes
    double tempo = 120.0;          ///< beats per minute before the first tempo event of the song
    int rate = 48000;              ///< Hz, 44100..384000
    int block = 512;               ///< samples, 1..8192
    std::optional<double> seconds; ///< exact length; else the tail decides
    SampleFormat format = SampleFormat::Float32;
    bool snap = true;
    bool quiet = false;
    bool json = false;
    bool listControls = false;
    std::string listPatches; ///< path of a soundbank root to list; nothing is rendered then
    std::string dump;        ///< path of a program file to print; nothing is rendered then
    std::string dumpXml;     ///< likewise, as XML
};

/// Reads the command line. Throws Failure; on --help prints the help to standard output and
/// returns nothing.
std::optional<RenderOptions> readOptions(int argc, const char* const* argv);

} // namespace zephra::render
