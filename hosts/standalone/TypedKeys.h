// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "song/MidiMessage.h"
#include "standalone/MidiQueue.h"

#include <array>
#include <string_view>
#include <vector>

namespace zephra::standalone {

/// What a key asks for that is no note.
enum class KeyCommand { PreviousPatch, NextPatch, End };

/// Plays on the keys of a computer, as a terminal tells of them: that a key went down, and again
/// and again while it is held, but never that it came up. So a note ends when its key has been
/// silent for a while; the space bar is the pedal. [ui]
///
/// The rows Z and Q are white keys from C on, the rows above them black ones. With Shift a note is
/// loud. The arrows go up and down by octaves and patches.
class TypedKeys {
public:
    static constexpr auto kNoteLength = std::chrono::milliseconds(700); ///< spans the delay of
                                                                        ///< the first repeat
    static constexpr auto kRepeatGap = std::chrono::milliseconds(120);  ///< longest between repeats

    /// `midiQueue` outlives this object.
    explicit TypedKeys(MidiQueue& midiQueue) noexcept : queue(midiQueue) {}

    /// Takes what was typed at that moment; notes go to the queue.
    std::vector<KeyCommand> take(std::string_view typed, Clock::time_point now);
    /// Ends the notes whose time is over.
    void releaseOld(Clock::time_point now);

    int octave() const noexcept { return lowestOctave; } ///< of the lower row; the 4th has middle C
    bool pedal() const noexcept { return pedalDown; }

private:
    enum class Within { Nothing, Escape, Sequence };

    void press(char key, Clock::time_point now);
    void changeOctave(int by);
    void send(const MidiMessage& message, Clock::time_point now);

    MidiQueue& queue;
    std::array<Clock::time_point, 128> lastTyped{}; ///< by MIDI key
    std::array<bool, 128> down{};                   ///< likewise
    int lowestOctave = 3;
    bool pedalDown = false;
    Within within = Within::Nothing; ///< of what special keys send
};

} // namespace zephra::standalone
