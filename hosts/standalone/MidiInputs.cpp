// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/MidiInputs.h"

#include "common/AsciiCase.h"
#include "standalone/MutedErrors.h"

#include <RtMidi.h>

#include <algorithm>
#include <span>
#include <utility>

namespace zephra::standalone {
namespace {

constexpr const char* kClient = "Zephra";
constexpr const char* kThrough = "midi through"; // of ALSA, which is no keyboard
constexpr std::uint8_t kFirstStatus = 0x80, kFirstSystemStatus = 0xf0;

bool holds(const std::string& text, const std::string& part)
{
    return lowerAscii(text).find(lowerAscii(part)) != std::string::npos;
}

/// On the thread of the sound system.
void receive(double, std::vector<unsigned char>* bytes, void* queue)
{
    const std::span<const unsigned char> message = *bytes;
    if (message.size() < 2 || message[0] < kFirstStatus || message[0] >= kFirstSystemStatus)
        return;
    const std::uint8_t second = message.size() > 2 ? message[2] : 0;
    static_cast<MidiQueue*>(queue)->push({Clock::now(), {message[0], message[1], second}});
}

void ignoreError(RtMidiError::Type, const std::string&, void*) {}

} // namespace

/// ALSA or JACK.
class MidiInputs::System {
public:
    /// Throws RtMidiError if the system is not there.
    System(RtMidi::Api midiApi, MidiQueue& midiQueue)
        : api(midiApi), queue(midiQueue), scanner(api, kClient), socket(newInput())
    {
        scanner.setErrorCallback(ignoreError);
        socket->openVirtualPort("MIDI in"); // for other programs to connect to
    }

    std::vector<std::string> labels()
    {
        std::vector<std::string> found;
        for (unsigned number = 0; number < scanner.getPortCount(); ++number)
            found.push_back(label(scanner, number));
        return found;
    }

    /// Nothing if the port has gone meanwhile.
    std::unique_ptr<RtMidiIn> connect(const std::string& port)
    {
        auto input = newInput();
        for (unsigned number = 0; number < input->getPortCount(); ++number) {
            if (label(*input, number) != port)
                continue;
            input->openPort(number, "MIDI in");
            return input->isPortOpen() ? std::move(input) : nullptr;
        }
        return nullptr;
    }

private:
    std::unique_ptr<RtMidiIn> newInput()
    {
        auto input = std::make_unique<RtMidiIn>(api, kClient);
        input->setErrorCallback(ignoreError);
        input->setCallback(receive, &queue);
        return input;
    }
    std::string label(RtMidiIn& input, unsigned number) const
    {
        return RtMidi::getApiDisplayName(api) + ": " + input.getPortName(number);
    }

    RtMidi::Api api;
    MidiQueue& queue;
    RtMidiIn scanner;
    std::unique_ptr<RtMidiIn> socket;
};

struct MidiInputs::Connection {
    std::string label;
    std::unique_ptr<RtMidiIn> input;
};

MidiInputs::MidiInputs(MidiQueue& midiQueue, std::string wantedPort, bool withJack)
    : queue(midiQueue), wanted(std::move(wantedPort))
{
    const MutedErrors muted;
    for (const RtMidi::Api api : {RtMidi::LINUX_ALSA, RtMidi::UNIX_JACK}) {
        if (api == RtMidi::UNIX_JACK && !withJack)
            continue;
        try {
            systems.push_back(std::make_unique<System>(api, queue));
        } catch (const RtMidiError&) { // not on this machine
        }
    }
}

MidiInputs::~MidiInputs()
{
    const MutedErrors muted;
    connections.clear();
    systems.clear();
}

/// The same keyboard often shows up in ALSA and in JACK: without a wish the first system does.
bool MidiInputs::isWanted(const System& system, const std::string& label) const
{
    if (wanted == kNone || holds(label, std::string(": ") + kClient))
        return false;
    if (wanted.empty())
        return &system == systems.front().get() && !holds(label, kThrough);
    return holds(label, wanted);
}

bool MidiInputs::refresh()
{
    const MutedErrors muted;
    bool changed = false;
    std::vector<std::string> present;
    for (const auto& system : systems) {
        for (const std::string& label : system->labels()) {
            present.push_back(label);
            const bool known = std::ranges::count(connections, label, &Connection::label) > 0;
            if (known || !isWanted(*system, label))
                continue;
            if (auto input = system->connect(label)) {
                connections.push_back({label, std::move(input)});
                changed = true;
            }
        }
    }
    const auto gone = std::erase_if(connections, [&](const Connection& connection) {
        return std::ranges::count(present, connection.label) == 0;
    });
    if (gone > 0) // keys may have been down
        for (int channel = 0; channel < 16; ++channel)
            queue.push({Clock::now(), allNotesOff(channel)});
    return changed || gone > 0;
}

std::vector<std::string> MidiInputs::connected() const
{
    std::vector<std::string> labels;
    for (const Connection& connection : connections)
        labels.push_back(connection.label);
    return labels;
}

std::vector<std::string> MidiInputs::ports() const
{
    std::vector<std::string> all;
    for (const auto& system : systems)
        std::ranges::move(system->labels(), std::back_inserter(all));
    return all;
}

} // namespace zephra::standalone
