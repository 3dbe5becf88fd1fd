// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "standalone/AudioOutput.h"

#include <jack/jack.h>

#include <memory>
#include <vector>

namespace zephra::standalone {

/// As a client of a JACK server, with its keyboards: their messages keep their sample. Rate and
/// block are the server's.
///
/// This speaks to JACK itself, since RtAudio gives up when the block size of the server changes and
/// may crash when the server ends, and RtMidi drops the times of messages within a block.
class JackOutput : public AudioOutput, public MidiSystem {
public:
    /// See openOutput.
    explicit JackOutput(LiveInstrument& player);
    ~JackOutput() override;
    JackOutput(const JackOutput&) = delete;
    JackOutput& operator=(const JackOutput&) = delete;

    static void addDevice(std::vector<OutputDevice>& devices); ///< if there is a server

    // --- AudioOutput ---
    void start() override;
    int rate() const noexcept override;
    int block() const noexcept override;
    int dropped() const noexcept override { return drops; }
    bool isLost() override { return serverGone; }
    MidiSystem* midi() noexcept override { return this; }

    // --- MidiSystem ---
    std::vector<std::string> ports() override;
    std::shared_ptr<void> connect(const std::string& port) override;

private:
    struct Close {
        void operator()(jack_client_t* one) const { jack_client_close(one); }
    };
    using Client = std::unique_ptr<jack_client_t, Close>;

    static Client openClient();
    void process(jack_nframes_t frames) noexcept;
    jack_port_t* addPort(const char* name, const char* type, unsigned long direction);
    std::vector<std::string> portsOf(const char* type, unsigned long flags) const;

    LiveInstrument& instrument;
    Client client;
    jack_port_t *left = nullptr, *right = nullptr, *keys = nullptr; ///< the client's
    Shared<int> drops{0};
    Shared<bool> serverGone{false};
};

} // namespace zephra::standalone
