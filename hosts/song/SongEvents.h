// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "song/MidiFile.h"

#include <cstdint>
#include <vector>

namespace zephra {

struct TimedMessage {
    std::int64_t sample = 0;
    MidiMessage message;

    bool operator==(const TimedMessage&) const = default;
};

struct TimedTempo {
    std::int64_t sample = 0;
    double beatsPerMinute = 120.0;
};

/// What is played, on the grid of samples; each list in rising order.
struct SongEvents {
    std::vector<TimedMessage> messages;
    std::vector<TimedTempo> tempos; ///< the first at sample 0

    /// Sample of the last message, 0 if there is none.
    std::int64_t lastMessage() const { return messages.empty() ? 0 : messages.back().sample; }
};

/// A song at `rate` Hz, and messages beside it. At one sample controllers, bends, pressure and
/// program changes come before notes, within each group the song before the others and else the
/// given order; but a note-off comes before the first note-on of its key. A note of the song that
/// starts and ends on one sample ends on the next one, so that it is not ended before it starts.
SongEvents makeSongEvents(const Song& song, double rate, double startTempo,
                          const std::vector<TimedMessage>& others = {});

} // namespace zephra
