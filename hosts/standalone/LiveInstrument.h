// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "song/BlockMessages.h"
#include "song/SongCursor.h"
#include "song/TailRule.h"
#include "standalone/BlockClock.h"
#include "standalone/MidiQueue.h"
#include "synth/HostPeer.h"
#include "synth/VstXSynth.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

namespace zephra::standalone {

/// The instrument with what plays it: messages that come in live, and a song if there is one.
/// [ui] unless marked otherwise.
class LiveInstrument : HostPeer {
public:
    /// `options.host` is this object.
    explicit LiveInstrument(VstXSynthOptions options);

    VstXSynth& synth() noexcept { return *plugin; }
    MidiQueue& midi() noexcept { return queue; }

    /// [!processing] Hz and the usual length of a block. A song begins anew.
    void prepare(double rate, int blockSize);
    /// [!processing] Plays a song from the next block on.
    void play(Song newSong);

    /// [audio] A message that falls on this sample of the next block.
    void addMessage(int sample, const MidiMessage& message) noexcept
    {
        messages.add(sample, message);
    }
    /// [audio] The next samples, asked for now.
    void render(float* left, float* right, int frames, Clock::time_point now) noexcept;

    /// Whether the song has come to its end and has died away; false without a song.
    bool songIsOver() const noexcept { return songDone; }
    /// Highest sample since the last call, 0..1 and above.
    float takePeak() noexcept { return peak.exchange(0.0f); }
    /// Samples rendered since the program started.
    std::int64_t rendered() const noexcept { return samples; }

    /// Called when another patch has come up, or has got another name.
    std::function<void()> onNewProgram;

private:
    struct Playing {
        Playing(SongEvents songEvents, double rate)
            : events(std::move(songEvents)), cursor(events),
              tail(events.lastMessage(), rate, std::nullopt)
        {
        }
        SongEvents events;
        SongCursor cursor;
        TailRule tail;
    };

    HostTime time(std::uint32_t) noexcept override { return {tempo, HostTime::kTempoValid}; }
    void updateDisplay() override;
    void takeLiveMessages(int frames) noexcept;
    void measure(const float* left, const float* right, int frames) noexcept;

    double tempo = 120.0; ///< [audio] beats per minute
    std::unique_ptr<VstXSynth> plugin;
    BlockMessages messages;
    MidiQueue queue;
    BlockClock clock;
    Song song;
    std::optional<Playing> playing;
    std::atomic<float> peak{0.0f};
    Shared<bool> songDone{false};
    Shared<std::int64_t> samples{0};
};

} // namespace zephra::standalone
