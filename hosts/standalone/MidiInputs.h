// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "standalone/MidiQueue.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace zephra::standalone {

/// A sound system that MIDI ports belong to. [ui]
class MidiSystem {
public:
    virtual ~MidiSystem() = default;

    /// Labels of all ports that send, as "ALSA: Keystation:Keystation MIDI 1 20:0".
    virtual std::vector<std::string> ports() = 0;
    /// A connection to a port for as long as the result lives; nullptr if the port has gone.
    virtual std::shared_ptr<void> connect(const std::string& port) = 0;
};

/// A channel message out of its bytes; false if they are anything else. [any]
bool readMessage(std::span<const std::uint8_t> bytes, MidiMessage& message) noexcept;

/// Connects to keyboards, which may come and go. [ui]
class MidiInputs {
public:
    /// A text that stands for no keyboard at all, where others are looked for in port labels.
    static constexpr const char* kNone = "none";

    /// Connects to all ports whose label holds `wantedPort`, whatever the case; if that is empty,
    /// to all keyboards there are. Ports are those of ALSA and of `another` system, unless that is
    /// nullptr. Both arguments outlive this object.
    MidiInputs(MidiQueue& midiQueue, std::string wantedPort, MidiSystem* another);
    ~MidiInputs();
    MidiInputs(const MidiInputs&) = delete;
    MidiInputs& operator=(const MidiInputs&) = delete;

    /// Looks which ports are there. True if a connection has been made or lost.
    bool refresh();

    std::vector<std::string> connected() const; ///< labels
    std::vector<std::string> ports() const;     ///< labels of all

private:
    struct Connection {
        std::string label;
        std::shared_ptr<void> held;
    };

    bool isWanted(const MidiSystem* system, const std::string& label) const;

    MidiQueue& queue;
    std::string wanted;
    std::unique_ptr<MidiSystem> alsa;
    std::vector<MidiSystem*> systems; ///< by preference
    std::vector<Connection> connections;
};

} // namespace zephra::standalone
