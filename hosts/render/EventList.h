// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "render/MidiFile.h"
#include "render/RenderOptions.h"

#include <cstdint>
#include <vector>

namespace zephra::render {

struct TimedMessage {
    std::int64_t sample = 0;
    MidiMessage message;

    bool operator==(const TimedMessage&) const = default;
};

struct TimedSetting {
    std::int64_t sample = 0;
    ControlSetting setting;
};

struct TimedTempo {
    std::int64_t sample = 0;
    double beatsPerMinute = 120.0;
};

/// All that happens in a render, on the grid of samples; each list in rising order.
struct EventList {
    std::vector<TimedMessage> messages;
    std::vector<TimedSetting> automation;
    std::vector<TimedTempo> tempos; ///< the first at sample 0
    std::int64_t end = 0;           ///< sample of the last message or setting

    /// Note-ons before `sample`.
    std::int64_t notesBefore(std::int64_t sample) const;
};

/// Brings song and options together. At one sample controllers, bends, pressure and program
/// changes come before notes, within each group the song before the options and else the given
/// order; but a note-off comes before the first note-on of its key. A note that starts and ends on
/// one sample ends on the next one, so that it is not ended before it starts.
EventList makeEventList(const Song& song, const RenderOptions& options);

} // namespace zephra::render
