// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/LaneBuffer.h"

#include <initializer_list>

namespace zephra {

/// One lane of a LaneBuffer.
class LaneWriter {
public:
    LaneWriter(LaneBuffer& buffer, bool eightLanes, int lane) noexcept
        : streams(eightLanes ? buffer.eight.data() : buffer.four.data()), lanes(eightLanes ? 8 : 4),
          at(lane)
    {
    }

    void write(float signal, float cutoff, float amplitude, float resonance) noexcept
    {
        for (const float value : {signal, cutoff, amplitude, resonance}) {
            streams[at] = value;
            at += lanes;
        }
    }

private:
    float* streams;
    int lanes;
    int at; ///< index of the next value
};

} // namespace zephra
