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

/// On a thread of RtMidi.
void receive(double, std::vector<unsigned char>* bytes, void* queue)
{
    MidiMessage message;
    if (readMessage(*bytes, message))
        static_cast<MidiQueue*>(queue)->push({Clock::now(), message});
}

void ignoreError(RtMidiError::Type, const std::string&, void*) {}

/// Messages go to the queue as they come.
class Alsa : public MidiSystem {
public:
    /// Throws RtMidiError without an ALSA sequencer.
    explicit Alsa(MidiQueue& midiQueue)
        : queue(midiQueue), scanner(RtMidi::LINUX_ALSA, kClient), socket(newInput())
    {
        scanner.setErrorCallback(ignoreError);
        socket->openVirtualPort(kPort); // for other programs to connect to
    }

    std::vector<std::string> ports() override
    {
        std::vector<std::string> labels;
        for (unsigned number = 0; number < scanner.getPortCount(); ++number)
            labels.push_back(label(scanner, number));
        return labels;
    }

    std::shared_ptr<void> connect(const std::string& port) override
    {
        const auto input = newInput();
        for (unsigned number = 0; number < input->getPortCount(); ++number) {
            if (label(*input, number) != port)
                continue;
            input->openPort(number, kPort);
            return input->isPortOpen() ? input : nullptr;
        }
        return nullptr;
    }

private:
    static constexpr const char* kPort = "MIDI in";

    std::shared_ptr<RtMidiIn> newInput()
    {
        auto input = std::make_shared<RtMidiIn>(RtMidi::LINUX_ALSA, kClient);
        input->setErrorCallback(ignoreError);
        input->setCallback(receive, &queue);
        return input;
    }
    static std::string label(RtMidiIn& input, unsigned number)
    {
        return "ALSA: " + input.getPortName(number);
    }

    MidiQueue& queue;
    RtMidiIn scanner;
    std::shared_ptr<RtMidiIn> socket;
};

} // namespace

bool readMessage(std::span<const std::uint8_t> bytes, MidiMessage& message) noexcept
{
    if (bytes.size() < 2 || bytes[0] < kFirstStatus || bytes[0] >= kFirstSystemStatus)
        return false;
    message = {bytes[0], bytes[1], bytes.size() > 2 ? bytes[2] : std::uint8_t{0}};
    return true;
}

MidiInputs::MidiInputs(MidiQueue& midiQueue, std::string wantedPort, MidiSystem* another)
    : queue(midiQueue), wanted(std::move(wantedPort))
{
    const MutedErrors muted;
    try {
        alsa = std::make_unique<Alsa>(queue);
        systems.push_back(alsa.get());
    } catch (const RtMidiError&) { // not on this machine
    }
    if (another)
        systems.push_back(another);
}

MidiInputs::~MidiInputs()
{
    const MutedErrors muted;
    connections.clear();
}

/// The same keyboard often shows up in ALSA and in JACK: without a wish the first system does.
bool MidiInputs::isWanted(const MidiSystem* system, const std::string& label) const
{
    if (wanted == kNone || holds(label, std::string(": ") + kClient))
        return false;
    if (wanted.empty())
        return system == systems.front() && !holds(label, kThrough);
    return holds(label, wanted);
}

bool MidiInputs::refresh()
{
    const MutedErrors muted;
    bool changed = false;
    std::vector<std::string> present;
    for (MidiSystem* const system : systems) {
        for (const std::string& label : system->ports()) {
            present.push_back(label);
            const bool known = std::ranges::count(connections, label, &Connection::label) > 0;
            if (known || !isWanted(system, label))
                continue;
            if (auto held = system->connect(label)) {
                connections.push_back({label, std::move(held)}); // NOLINT(*-NewDeleteLeaks): kept
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
    for (MidiSystem* const system : systems)
        std::ranges::move(system->ports(), std::back_inserter(all));
    return all;
}

} // namespace zephra::standalone
