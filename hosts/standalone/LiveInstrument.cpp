// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/LiveInstrument.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace zephra::standalone {
namespace {

constexpr double kUsualTempo = 120.0; // beats per minute

VstXSynthOptions withHost(VstXSynthOptions options, HostPeer& host)
{
    options.host = &host;
    return options;
}

} // namespace

LiveInstrument::LiveInstrument(VstXSynthOptions options)
    : plugin(std::make_unique<VstXSynth>(withHost(std::move(options), *this))), messages(*plugin)
{
}

void LiveInstrument::prepare(double rate, int blockSize)
{
    plugin->setSampleRate(rate);
    plugin->setBlockSize(blockSize);
    plugin->snapSmoothers();
    clock.setRate(rate);
    play(std::move(song));
}

void LiveInstrument::play(Song newSong)
{
    song = std::move(newSong);
    playing.reset();
    songDone = false;
    if (!song.messages.empty())
        playing.emplace(makeSongEvents(song, plugin->sampleRate(), kUsualTempo),
                        plugin->sampleRate());
}

void LiveInstrument::render(float* left, float* right, int frames, Clock::time_point now) noexcept
{
    clock.startBlock(now, frames);
    if (playing && !songDone) {
        playing->cursor.nextBlock(frames, messages);
        tempo = playing->cursor.tempo();
    }
    takeLiveMessages(frames);
    messages.send();

    float* outputs[] = {left, right};
    plugin->processReplacing(nullptr, outputs, frames);

    if (playing && !songDone) {
        playing->tail.take(left, right, frames);
        songDone = playing->tail.finished();
    }
    measure(left, right, frames);
}

void LiveInstrument::takeLiveMessages(int frames) noexcept
{
    if (queue.takeLoss()) // a note-off may have been among them
        for (int channel = 0; channel < 16; ++channel)
            messages.add(0, allNotesOff(channel));
    while (const ArrivedMessage* next = queue.front()) {
        const int sample = clock.sampleOf(next->when);
        if (sample >= frames)
            break;
        messages.add(sample, next->message);
        queue.pop();
    }
}

void LiveInstrument::measure(const float* left, const float* right, int frames) noexcept
{
    float highest = peak;
    for (int i = 0; i < frames; ++i)
        highest = std::max({highest, std::abs(left[i]), std::abs(right[i])});
    peak = highest;
    samples = samples + frames;
}

void LiveInstrument::updateDisplay()
{
    if (onNewProgram)
        onNewProgram();
}

} // namespace zephra::standalone
