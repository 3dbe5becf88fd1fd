// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "song/BlockMessages.h"
#include "song/SongEvents.h"

#include <cstddef>
#include <cstdint>

namespace zephra {

/// Walks through a song block by block. [audio]
class SongCursor {
public:
    /// `songEvents` outlives this object.
    explicit SongCursor(const SongEvents& songEvents) noexcept : events(songEvents) {}

    /// Adds the messages of the next `frames` samples, and takes the tempo that holds when they
    /// start.
    void nextBlock(int frames, BlockMessages& messages) noexcept
    {
        for (; nextTempo < events.tempos.size() && events.tempos[nextTempo].sample <= start;
             ++nextTempo)
            beatsPerMinute = events.tempos[nextTempo].beatsPerMinute;

        const std::int64_t end = start + frames;
        for (; nextMessage < events.messages.size() && events.messages[nextMessage].sample < end;
             ++nextMessage) {
            const TimedMessage& next = events.messages[nextMessage];
            messages.add(static_cast<int>(next.sample - start), next.message);
        }
        start = end;
    }

    double tempo() const noexcept { return beatsPerMinute; } ///< of the last block

private:
    const SongEvents& events;
    std::int64_t start = 0; ///< sample of the next block
    std::size_t nextTempo = 0;
    std::size_t nextMessage = 0;
    double beatsPerMinute = 120.0;
};

} // namespace zephra
