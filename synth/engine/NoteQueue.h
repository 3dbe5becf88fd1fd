// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>

namespace zephra {

/// A key going down or up at a sample of the host block.
struct NoteEvent {
    int note = 0;
    float velocity = 0.0f; ///< 0..1
    int sampleOffset = 0;  ///< in the host block
    std::uint8_t isNoteOn = 0;
    int channel = 0; ///< 0..15
};

/// Notes of one host block in rising order of their offsets; equal offsets keep the order in
/// which they came. [audio]
class NoteQueue {
public:
    static constexpr int kCapacity = 128;

    /// A full queue restarts: the event becomes its only entry.
    void insert(const NoteEvent& event) noexcept
    {
        if (count == kCapacity)
            count = 0;
        int at = count++;
        for (; at > 0 && entries[index(at - 1)].sampleOffset > event.sampleOffset; --at)
            entries[index(at)] = entries[index(at - 1)];
        entries[index(at)] = event;
    }

    /// Brings all entries to the start of the next block, for a block that was not rendered.
    void moveToStart() noexcept
    {
        for (int i = 0; i < count; ++i)
            entries[index(i)].sampleOffset = 0;
    }

    void clear() noexcept { count = 0; }
    const NoteEvent* begin() const noexcept { return entries.data(); }
    const NoteEvent* end() const noexcept { return entries.data() + count; }

private:
    static constexpr std::size_t index(int i) noexcept { return static_cast<std::size_t>(i); }

    std::array<NoteEvent, kCapacity> entries{};
    int count = 0;
};

} // namespace zephra
