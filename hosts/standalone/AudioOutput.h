// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "standalone/LiveInstrument.h"
#include "standalone/MidiInputs.h"

#include <memory>
#include <string>
#include <vector>

namespace zephra::standalone {

/// A stereo output of a sound system.
struct OutputDevice {
    static constexpr int kJack = -1;

    int api = kJack;     ///< kJack, or as RtAudio counts them
    unsigned number = 0; ///< in that system
    std::string label{}; ///< "ALSA: hw:USB,0"
    unsigned rate = 0;   ///< Hz, that it likes best
};

/// All of them, by preference: JACK, PulseAudio, ALSA, and of each the default one first.
std::vector<OutputDevice> outputDevices();

/// The first whose label holds `wanted`, whatever the case; nullptr: none. An empty text is held
/// by any.
const OutputDevice* findDevice(const std::vector<OutputDevice>& devices, const std::string& wanted);

/// Plays an instrument through a device. [ui]
class AudioOutput {
public:
    virtual ~AudioOutput() = default;

    virtual void start() = 0;                 ///< throws std::runtime_error
    virtual int rate() const noexcept = 0;    ///< Hz
    virtual int block() const noexcept = 0;   ///< samples
    virtual int dropped() const noexcept = 0; ///< blocks that came too late for the sound card
    /// Whether the device has gone: to be asked about once a second.
    virtual bool isLost() = 0;
    /// The keyboards that come with it; nullptr: none.
    virtual MidiSystem* midi() noexcept { return nullptr; }
};

/// Opens a device, not yet sounding, and prepares the instrument for it. `rate` in Hz and `block`
/// in samples are wishes, 0: as the device likes it. Throws std::runtime_error. `player` outlives
/// the output.
std::unique_ptr<AudioOutput> openOutput(const OutputDevice& device, LiveInstrument& player,
                                        unsigned rate, unsigned block);

} // namespace zephra::standalone
