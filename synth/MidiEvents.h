// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>

namespace zephra {

// Events that a host hands over ahead of a block, in the shape that VST2 hosts keep in memory.

/// Head of every event.
struct HostEvent {
    static constexpr std::int32_t kMidi = 1;

    std::int32_t type = 0;
    std::int32_t byteSize = 0;    ///< bytes that follow this word
    std::int32_t deltaFrames = 0; ///< sample in the coming block
    std::int32_t flags = 0;
};

/// An event of type kMidi.
struct MidiEvent : HostEvent {
    static constexpr std::int32_t kByteSize = 24;

    MidiEvent() noexcept : HostEvent{kMidi, kByteSize, 0, 0} {}
    MidiEvent(int sample, int status, int first, int second = 0) noexcept : MidiEvent()
    {
        deltaFrames = sample;
        data = {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(first), // NOLINT
                static_cast<std::uint8_t>(second), 0};
    }

    std::int32_t noteLength = 0;        ///< not read
    std::int32_t noteOffset = 0;        ///< not read
    std::array<std::uint8_t, 4> data{}; ///< status and two data bytes; the fourth is not read
    std::uint32_t detuneAndRelease = 0; ///< not read
};
static_assert(sizeof(HostEvent) == 16 && sizeof(MidiEvent) == 32);

/// The events of one block, in the order of their samples.
struct HostEvents {
    static constexpr std::int32_t kMost = 4096; ///< a longer list is dropped whole

    std::int32_t count = 0;
    const HostEvent* const* events = nullptr; ///< [count]; entries may be null
};

} // namespace zephra
