// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "standalone/AudioOutput.h"

#include <cstdint>
#include <memory>
#include <vector>

class RtAudio;

namespace zephra::standalone {

/// Through PulseAudio or ALSA.
class CardOutput : public AudioOutput {
public:
    /// See openOutput.
    CardOutput(const OutputDevice& device, LiveInstrument& player, unsigned rate, unsigned block);
    ~CardOutput() override;
    CardOutput(const CardOutput&) = delete;
    CardOutput& operator=(const CardOutput&) = delete;

    static void addDevices(std::vector<OutputDevice>& devices);

    void start() override;
    int rate() const noexcept override { return streamRate; }
    int block() const noexcept override { return streamBlock; }
    int dropped() const noexcept override { return drops; }
    bool isLost() override;

private:
    static int callback(void* output, void* input, unsigned frames, double time, unsigned status,
                        void* self);

    LiveInstrument& instrument;
    std::unique_ptr<RtAudio> stream;
    int streamRate = 0, streamBlock = 0;
    Shared<int> drops{0};
    std::int64_t renderedBefore = 0; ///< samples at the last look for a loss
    int stillSeconds = 0;            ///< without a block
};

} // namespace zephra::standalone
