// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/Options.h"

#include "song/Failure.h"
#include "synth/VstXSynth.h"

#include <CLI/CLI.hpp>

#include <iostream>

namespace zephra::standalone {

std::optional<Options> readOptions(int argc, const char* const* argv)
{
    Options options;
    CLI::App app{"Plays The Zephra: from MIDI keyboards, which it connects to as they appear, from "
                 "the keys of the computer, and from MIDI files.",
                 "zephra"};
    app.set_version_flag("--version", std::string("zephra ") + VstXSynth::versionString());
    app.add_option("--device", options.device,
                   "sound device, by part of its name in --list-devices; it is remembered, \"any\" "
                   "forgets it")
        ->option_text("NAME");
    app.add_option("--midi", options.midi,
                   "MIDI ports to connect to, likewise; \"none\" connects to no keyboard")
        ->option_text("NAME");
    app.add_option("--rate", options.rate, "sample rate [what the device likes]")
        ->option_text("HZ")
        ->check(CLI::Range(44100, 384000));
    app.add_option("--block", options.block, "samples in a block, 16..8192 [256]; JACK has its own")
        ->option_text("N")
        ->check(CLI::Range(16, 8192));
    app.add_option("--patch", options.patch, "a patch file, or the path of a patch in the library")
        ->option_text("FILE|PATH");
    app.add_option("--play", options.song,
                   "play a MIDI file; without a terminal to play on, the program ends with it")
        ->option_text("SONG.mid");
    app.add_flag("--list-devices", options.listDevices,
                 "print sound devices and MIDI ports and exit");
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        std::cout << app.help();
        return std::nullopt;
    } catch (const CLI::CallForVersion& version) {
        std::cout << version.what() << '\n';
        return std::nullopt;
    } catch (const CLI::ParseError& error) {
        throw Failure(error.what(), kUsageStatus);
    }
    return options;
}

} // namespace zephra::standalone
