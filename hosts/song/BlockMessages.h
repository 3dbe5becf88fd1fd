// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "song/MidiMessage.h"
#include "synth/AudioEffectX.h"

#include <array>
#include <cstddef>

namespace zephra {

/// The messages of one block on their way into an instrument, in the shape that it takes. Its
/// memory is fixed: what does not fit into one call goes in several. [audio]
class BlockMessages {
public:
    /// `instrument` outlives this object.
    explicit BlockMessages(AudioEffectX& instrument) noexcept : receiver(instrument)
    {
        for (std::size_t i = 0; i < kMost; ++i)
            pointers[i] = &events[i];
    }
    BlockMessages(const BlockMessages&) = delete;
    BlockMessages& operator=(const BlockMessages&) = delete;

    /// `sample` in the coming block.
    void add(int sample, const MidiMessage& message) noexcept
    {
        if (count == kMost)
            send();
        events[count++] = {sample, message.status, message.data1, message.data2};
    }
    /// Hands over what was added, be it nothing: once ahead of each block.
    void send() noexcept
    {
        const HostEvents list{static_cast<std::int32_t>(count), pointers.data()};
        receiver.processEvents(&list);
        count = 0;
    }

private:
    static constexpr std::size_t kMost = 512;

    AudioEffectX& receiver;
    std::array<MidiEvent, kMost> events{};
    std::array<const HostEvent*, kMost> pointers{}; ///< to them
    std::size_t count = 0;
};

} // namespace zephra
