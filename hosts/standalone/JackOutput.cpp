// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/JackOutput.h"

#include "common/Uncancelled.h"
#include "standalone/MutedErrors.h"

#include <jack/midiport.h>

#include <stdexcept>
#include <string_view>

namespace zephra::standalone {
namespace {

constexpr std::string_view kPortLabel = "JACK: ";
constexpr const char* kName = "Zephra";

} // namespace

JackOutput::Client JackOutput::openClient()
{
    return Client(jack_client_open(kName, JackNoStartServer, nullptr));
}

void JackOutput::addDevice(std::vector<OutputDevice>& devices)
{
    if (const Client look = openClient())
        devices.push_back({OutputDevice::kJack, 0, "JACK", jack_get_sample_rate(look.get())});
}

JackOutput::JackOutput(LiveInstrument& player) : instrument(player), client(openClient())
{
    if (!client)
        throw std::runtime_error("the JACK server does not answer");
    left = addPort("left", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput);
    right = addPort("right", JACK_DEFAULT_AUDIO_TYPE, JackPortIsOutput);
    keys = addPort("MIDI in", JACK_DEFAULT_MIDI_TYPE, JackPortIsInput);
    instrument.prepare(JackOutput::rate(), JackOutput::block());

    jack_set_process_callback(
        client.get(),
        [](jack_nframes_t frames, void* self) {
            uncancelled([&] { static_cast<JackOutput*>(self)->process(frames); });
            return 0;
        },
        this);
    jack_set_buffer_size_callback(
        client.get(),
        [](jack_nframes_t frames, void* self) {
            static_cast<JackOutput*>(self)->instrument.synth().setBlockSize(
                static_cast<int>(frames));
            return 0;
        },
        this);
    jack_set_xrun_callback(
        client.get(),
        [](void* self) {
            auto& count = static_cast<JackOutput*>(self)->drops;
            count = count + 1;
            return 0;
        },
        this);
    jack_on_shutdown(
        client.get(), [](void* self) { static_cast<JackOutput*>(self)->serverGone = true; }, this);
}

JackOutput::~JackOutput()
{
    const MutedErrors muted; // if the server has gone
    client.reset();
}

jack_port_t* JackOutput::addPort(const char* name, const char* type, unsigned long direction)
{
    jack_port_t* const port = jack_port_register(client.get(), name, type, direction, 0);
    if (!port)
        throw std::runtime_error("the JACK server has no room for another port");
    return port;
}

int JackOutput::rate() const noexcept
{
    return static_cast<int>(jack_get_sample_rate(client.get()));
}

int JackOutput::block() const noexcept
{
    return static_cast<int>(jack_get_buffer_size(client.get()));
}

void JackOutput::start()
{
    const MutedErrors muted;
    if (jack_activate(client.get()) != 0)
        throw std::runtime_error("the JACK server does not start the client");
    const auto speakers = portsOf(JACK_DEFAULT_AUDIO_TYPE, JackPortIsPhysical | JackPortIsInput);
    if (speakers.size() < 2)
        return; // somebody will connect it
    jack_connect(client.get(), jack_port_name(left), speakers[0].c_str());
    jack_connect(client.get(), jack_port_name(right), speakers[1].c_str());
}

void JackOutput::process(jack_nframes_t frames) noexcept
{
    void* const arrived = jack_port_get_buffer(keys, frames);
    for (std::uint32_t i = 0; i < jack_midi_get_event_count(arrived); ++i) {
        jack_midi_event_t event = {};
        MidiMessage message;
        if (jack_midi_event_get(&event, arrived, i) == 0 &&
            readMessage({event.buffer, event.size}, message))
            instrument.addMessage(static_cast<int>(event.time), message);
    }
    instrument.render(static_cast<float*>(jack_port_get_buffer(left, frames)),
                      static_cast<float*>(jack_port_get_buffer(right, frames)),
                      static_cast<int>(frames), Clock::now());
}

std::vector<std::string> JackOutput::portsOf(const char* type, unsigned long flags) const
{
    std::vector<std::string> names;
    const std::unique_ptr<const char*, void (*)(void*)> found(
        jack_get_ports(client.get(), nullptr, type, flags), jack_free);
    for (const char* const* name = found.get(); name && *name; ++name)
        names.emplace_back(*name);
    return names;
}

std::vector<std::string> JackOutput::ports()
{
    auto names = portsOf(JACK_DEFAULT_MIDI_TYPE, JackPortIsOutput);
    for (std::string& name : names)
        name.insert(0, kPortLabel);
    return names;
}

/// JACK itself ends the connection with either port.
std::shared_ptr<void> JackOutput::connect(const std::string& port)
{
    const std::string name = port.substr(kPortLabel.size());
    return jack_connect(client.get(), name.c_str(), jack_port_name(keys)) == 0
               ? std::make_shared<bool>()
               : nullptr;
}

} // namespace zephra::standalone
