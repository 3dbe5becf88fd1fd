// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "standalone/MidiQueue.h"

#include <memory>
#include <string>
#include <vector>

namespace zephra::standalone {

/// Hands what MIDI keyboards play to a queue. Keyboards may come and go. [ui]
class MidiInputs {
public:
    /// A text that stands for no keyboard at all, where others are looked for in port names.
    static constexpr const char* kNone = "none";

    /// Connects to all ports whose label holds `wantedPort`, whatever the case; if that is empty,
    /// to all keyboards there are. `withJack`: there is a JACK server to ask. `midiQueue` outlives
    /// this object.
    MidiInputs(MidiQueue& midiQueue, std::string wantedPort, bool withJack);
    ~MidiInputs();
    MidiInputs(const MidiInputs&) = delete;
    MidiInputs& operator=(const MidiInputs&) = delete;

    /// Looks which ports are there. True if a connection has been made or lost.
    bool refresh();

    /// Labels of the connected ports, as "ALSA: Keystation:Keystation MIDI 1 20:0".
    std::vector<std::string> connected() const;
    /// Labels of all ports there are.
    std::vector<std::string> ports() const;

private:
    class System;
    struct Connection;

    bool isWanted(const System& system, const std::string& label) const;

    MidiQueue& queue;
    std::string wanted;
    std::vector<std::unique_ptr<System>> systems; ///< by preference
    std::vector<Connection> connections;
};

} // namespace zephra::standalone
