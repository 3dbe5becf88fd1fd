// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "standalone/AudioOutput.h"
#include "standalone/LiveInstrument.h"
#include "standalone/MidiInputs.h"
#include "standalone/Options.h"
#include "standalone/Signals.h"
#include "standalone/Terminal.h"
#include "standalone/TypedKeys.h"
#include "synth/FileSettingsStore.h"

#include <memory>
#include <optional>
#include <string>

namespace zephra::standalone {

/// Exit status: there is nothing to play through.
inline constexpr int kNoSoundStatus = 3;

/// Prints all sound devices and MIDI ports.
void listDevices();

/// One run of the program: brings sound device, keyboards, terminal and instrument together, and
/// sees to all that is not sound about twenty times a second. [ui]
class Session {
public:
    /// Begins to play. Throws Failure.
    explicit Session(const Options& commandLine);

    /// Until a signal, the user or the end of the song ends it.
    void run();

private:
    std::string wishFor(const std::optional<std::string>& option, const char* setting);
    void remember(const std::optional<std::string>& option, const char* setting);
    void openDevice();
    void startPatch();
    void startSound();
    void loseSound();
    int dropped() const noexcept;
    void tellWhatPlays();

    bool waitForNews();
    void takeSignals();
    void takeKeys();
    void lookAround();
    void stepPatch(int by);
    void draw();

    Signals signals; ///< first: ahead of all threads
    const Options options;
    FileSettingsStore settings;
    Terminal terminal;
    LiveInstrument instrument;
    OutputDevice device;
    std::unique_ptr<AudioOutput> audio; ///< nullptr while there is no device
    std::optional<MidiInputs> midi;
    TypedKeys keys;

    bool ended = false;
    int droppedBefore = 0; ///< blocks, by devices that have gone
    std::string keyboards; ///< connected ones, for the line
    Clock::time_point nextLook{};
};

} // namespace zephra::standalone
