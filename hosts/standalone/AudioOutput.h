// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "standalone/LiveInstrument.h"

#include <memory>
#include <string>
#include <vector>

class RtAudio;

namespace zephra::standalone {

/// A stereo output of a sound system.
struct OutputDevice {
    int api = 0;         ///< as RtAudio counts them
    unsigned number = 0; ///< in that system
    std::string label;   ///< "JACK: system"
    unsigned rate = 0;   ///< Hz, that it likes best

    bool isJack() const noexcept;
};

/// All of them, by preference: JACK, PulseAudio, ALSA, and of each the default one first.
std::vector<OutputDevice> outputDevices();

/// The first whose label holds `wanted`, whatever the case; nullptr: none. An empty text is held
/// by any.
const OutputDevice* findDevice(const std::vector<OutputDevice>& devices, const std::string& wanted);

/// Plays an instrument through a sound device. [ui]
class AudioOutput {
public:
    /// `player` outlives this object.
    explicit AudioOutput(LiveInstrument& player);
    ~AudioOutput();
    AudioOutput(const AudioOutput&) = delete;
    AudioOutput& operator=(const AudioOutput&) = delete;

    /// Opens a device, not yet sounding, and prepares the instrument for it. `rate` in Hz and
    /// `block` in samples are wishes, 0: as the device likes it. Throws std::runtime_error.
    void open(const OutputDevice& wantedDevice, unsigned rate, unsigned block);
    void start(); ///< throws std::runtime_error
    void close();

    int rate() const noexcept { return streamRate; }   ///< Hz
    int block() const noexcept { return streamBlock; } ///< samples
    bool isJack() const noexcept { return device.isJack(); }
    const std::string& label() const noexcept { return device.label; }
    /// Blocks that came too late for the sound card.
    int dropped() const noexcept { return drops; }
    /// Whether the device has gone: to be asked about once a second.
    bool isLost();

private:
    static int callback(void* output, void* input, unsigned frames, double time, unsigned status,
                        void* self);

    LiveInstrument& instrument;
    std::unique_ptr<RtAudio> stream;
    OutputDevice device;
    int streamRate = 0, streamBlock = 0;
    Shared<int> drops{0};
    std::int64_t renderedBefore = 0; ///< samples at the last look for a loss
    int stillSeconds = 0;            ///< without a block
};

} // namespace zephra::standalone
