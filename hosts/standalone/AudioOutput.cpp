// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/AudioOutput.h"

#include "common/AsciiCase.h"
#include "standalone/MutedErrors.h"

#include <RtAudio.h>

#include <algorithm>
#include <cstddef>
#include <stdexcept>

namespace zephra::standalone {
namespace {

constexpr RtAudio::Api kSystems[] = {RtAudio::UNIX_JACK, RtAudio::LINUX_PULSE, RtAudio::LINUX_ALSA};
constexpr unsigned kUsualRate = 48000, kUsualBlock = 256;
constexpr unsigned kBuffers = 2;
constexpr int kStillSecondsOfLoss = 2;

void addDevices(RtAudio::Api api, std::vector<OutputDevice>& devices)
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

std::vector<OutputDevice> outputDevices()
{
    const MutedErrors muted;
    std::vector<OutputDevice> devices;
    for (const RtAudio::Api api : kSystems) {
        try {
            addDevices(api, devices);
        } catch (const RtAudioError&) { // a system that cannot list its devices has none
        }
    }
    return devices;
}

const OutputDevice* findDevice(const std::vector<OutputDevice>& devices, const std::string& wanted)
{
    const auto found = std::ranges::find_if(devices, [&](const OutputDevice& device) {
        return lowerAscii(device.label).find(lowerAscii(wanted)) != std::string::npos;
    });
    return found == devices.end() ? nullptr : &*found;
}

bool OutputDevice::isJack() const noexcept { return api == RtAudio::UNIX_JACK; }

AudioOutput::AudioOutput(LiveInstrument& player) : instrument(player) {}

AudioOutput::~AudioOutput() { close(); }

void AudioOutput::open(const OutputDevice& wantedDevice, unsigned rate, unsigned block)
{
    const MutedErrors muted;
    device = wantedDevice;
    stream = std::make_unique<RtAudio>(static_cast<RtAudio::Api>(device.api));
    stream->showWarnings(false);

    RtAudio::StreamParameters stereo;
    stereo.deviceId = device.number;
    stereo.nChannels = 2;
    RtAudio::StreamOptions options;
    options.flags = RTAUDIO_NONINTERLEAVED | RTAUDIO_SCHEDULE_REALTIME;
    options.numberOfBuffers = kBuffers;
    options.streamName = "Zephra";
    unsigned frames = block ? block : kUsualBlock;
    try {
        stream->openStream(&stereo, nullptr, RTAUDIO_FLOAT32,
                           rate          ? rate
                           : device.rate ? device.rate
                                         : kUsualRate,
                           &frames, &AudioOutput::callback, this, &options);
    } catch (const RtAudioError& error) {
        stream.reset();
        throw std::runtime_error(error.getMessage());
    }
    streamRate = static_cast<int>(stream->getStreamSampleRate());
    streamBlock = static_cast<int>(frames);
    instrument.prepare(streamRate, streamBlock);
}

void AudioOutput::start()
{
    const MutedErrors muted;
    renderedBefore = instrument.rendered();
    stillSeconds = 0;
    try {
        stream->startStream();
    } catch (const RtAudioError& error) {
        throw std::runtime_error(error.getMessage());
    }
}

void AudioOutput::close()
{
    const MutedErrors muted;
    stream.reset();
}

bool AudioOutput::isLost()
{
    constexpr std::int64_t kRunningWild = 4; // times the rate; JACK may do that, in freewheel
    const std::int64_t rendered = instrument.rendered() - renderedBefore;
    renderedBefore += rendered;
    stillSeconds = rendered == 0 ? stillSeconds + 1 : 0;
    if (stream && stream->isStreamOpen() && !stream->isStreamRunning())
        return false; // RtAudio itself is still closing it, on a thread of its own
    return !stream || !stream->isStreamOpen() || stillSeconds >= kStillSecondsOfLoss ||
           (!isJack() && rendered > kRunningWild * streamRate);
}

int AudioOutput::callback(void* output, void*, unsigned frames, double, unsigned status, void* self)
{
    auto& audio = *static_cast<AudioOutput*>(self);
    if (status & RTAUDIO_OUTPUT_UNDERFLOW)
        audio.drops = audio.drops + 1;
    auto* const left = static_cast<float*>(output);
    audio.instrument.render(left, left + frames, static_cast<int>(frames), Clock::now());
    return 0;
}

} // namespace zephra::standalone
