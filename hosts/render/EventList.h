// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "render/RenderOptions.h"
#include "song/SongEvents.h"

#include <cstdint>
#include <vector>

namespace zephra::render {

struct TimedSetting {
    std::int64_t sample = 0;
    ControlSetting setting;
};

/// All that happens in a render.
struct EventList : SongEvents {
    std::vector<TimedSetting> automation; ///< in rising order
    std::int64_t end = 0;                 ///< sample of the last message or setting

    /// Note-ons before `sample`.
    std::int64_t notesBefore(std::int64_t sample) const;
};

/// Brings song and options together; in doubt the song comes first.
EventList makeEventList(const Song& song, const RenderOptions& options);

} // namespace zephra::render
