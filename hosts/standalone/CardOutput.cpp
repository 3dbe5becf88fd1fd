// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/CardOutput.h"

#include "standalone/MutedErrors.h"

#include <RtAudio.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cstddef>
#include <stdexcept>

namespace zephra::standalone {
namespace {

constexpr unsigned kUsualRate = 48000, kUsualBlock = 256;
constexpr unsigned kBuffers = 2;
constexpr int kStillSecondsOfLoss = 2;
constexpr std::int64_t kRunningWild = 4; // times the rate: nobody takes the blocks any more

/// RtAudio dies of a PulseAudio server without any sink: let a child be the first to ask.
bool survivesAsking(RtAudio::Api api)
{
    constexpr unsigned kMostSeconds = 5;
    const pid_t child = fork();
    if (child == 0) {
        alarm(kMostSeconds);
        RtAudio(api).getDeviceCount();
        _exit(0);
    }
    int status = 1;
    return child > 0 && waitpid(child, &status, 0) == child && status == 0;
}

void addDevicesOf(RtAudio::Api api, std::vector<OutputDevice>& devices)
{
    RtAudio system(api);
    system.showWarnings(false);
    const std::size_t first = devices.size();
    for (unsigned number = 0; number < system.getDeviceCount(); ++number) {
        const RtAudio::DeviceInfo info = system.getDeviceInfo(number);
        if (!info.probed || info.outputChannels < 2)
            continue;
        const OutputDevice device{api, number, RtAudio::getApiDisplayName(api) + ": " + info.name,
                                  info.preferredSampleRate};
        devices.insert(info.isDefaultOutput ? devices.begin() + static_cast<std::ptrdiff_t>(first)
                                            : devices.end(),
                       device);
    }
}

} // namespace

void CardOutput::addDevices(std::vector<OutputDevice>& devices)
{
    for (const RtAudio::Api api : {RtAudio::LINUX_PULSE, RtAudio::LINUX_ALSA}) {
        try {
            if (api != RtAudio::LINUX_PULSE || survivesAsking(api))
                addDevicesOf(api, devices);
        } catch (const RtAudioError&) { // a system that cannot list its devices has none
        }
    }
}

CardOutput::CardOutput(const OutputDevice& device, LiveInstrument& player, unsigned rate,
                       unsigned block)
    : instrument(player), stream(std::make_unique<RtAudio>(static_cast<RtAudio::Api>(device.api)))
{
    stream->showWarnings(false);
    RtAudio::StreamParameters stereo;
    stereo.deviceId = device.number;
    stereo.nChannels = 2;
    RtAudio::StreamOptions options;
    options.flags = RTAUDIO_NONINTERLEAVED | RTAUDIO_SCHEDULE_REALTIME;
    options.numberOfBuffers = kBuffers;
    options.streamName = "Zephra";
    const unsigned liked = device.rate ? device.rate : kUsualRate;
    unsigned frames = block ? block : kUsualBlock;
    try {
        stream->openStream(&stereo, nullptr, RTAUDIO_FLOAT32, rate ? rate : liked, &frames,
                           &CardOutput::callback, this, &options);
    } catch (const RtAudioError& error) {
        throw std::runtime_error(error.getMessage());
    }
    streamRate = static_cast<int>(stream->getStreamSampleRate());
    streamBlock = static_cast<int>(frames);
    instrument.prepare(streamRate, streamBlock);
}

CardOutput::~CardOutput()
{
    const MutedErrors muted;
    stream.reset();
}

void CardOutput::start()
{
    const MutedErrors muted;
    renderedBefore = instrument.rendered();
    try {
        stream->startStream();
    } catch (const RtAudioError& error) {
        throw std::runtime_error(error.getMessage());
    }
}

bool CardOutput::isLost()
{
    const std::int64_t rendered = instrument.rendered() - renderedBefore;
    renderedBefore += rendered;
    stillSeconds = rendered == 0 ? stillSeconds + 1 : 0;
    return !stream->isStreamRunning() || stillSeconds >= kStillSecondsOfLoss ||
           rendered > kRunningWild * streamRate;
}

int CardOutput::callback(void* output, void*, unsigned frames, double, unsigned status, void* self)
{
    auto& card = *static_cast<CardOutput*>(self);
    if (status & RTAUDIO_OUTPUT_UNDERFLOW)
        card.drops = card.drops + 1;
    auto* const left = static_cast<float*>(output);
    card.instrument.render(left, left + frames, static_cast<int>(frames), Clock::now());
    return 0;
}

} // namespace zephra::standalone
