// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Random15.h"
#include "voice/EngineValues.h"
#include "voice/Performance.h"
#include "voice/VoiceLanes.h"

namespace zephra {

/// One of the eight voices: its note, and its lane of the VoiceLanes. What changes per sample
/// lives there. [audio, !processing]
class Voice {
public:
    /// Once, before anything else. `lanes` outlives the voice.
    void attach(VoiceLanes& lanes, int lane, std::uint32_t seed) noexcept;

    /// Back to the start values, with random oscillator phases; the generator goes on.
    /// `toneLength` is the length of the noise recording: voices read it at positions of their
    /// own.
    void reset(int toneLength) noexcept;

    /// `resetNextVoice`: phases of oscillators that are not free-running and both envelopes start
    /// anew; else the note slurs on. A channel below 0 leaves the voice's channel as it is.
    void startNote(const EngineValues& values, bool resetNextVoice, int newNote, float newVelocity,
                   int newChannel) noexcept;

    int note = 60;
    float velocity = 0.0f; ///< 0..1
    int channel = 0;       ///< 0..15
    int lane = 0;          ///< 0..7
    bool gate = false;     ///< a note was started
    bool released = true;  ///< key up; free for the allocation even under the pedal
    bool ended = false;    ///< silent: its lane is filled, not rendered

    // Performance controllers as this voice follows them, 0..1
    float smoothAftertouch = 0.0f;
    float smoothBreath = 0.0f;
    float smoothExpression = 0.0f;
    float smoothFoot = 0.0f;
    float smoothTimbre = 0.0f;

    VoiceLanes* lanes = nullptr; ///< owned by the rack, as this voice is

private:
    std::size_t laneIndex() const noexcept { return static_cast<std::size_t>(lane); }
};

} // namespace zephra
