// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "engine/SynthEngine.h"
#include "synth/MidiEvents.h"
#include "voice/Performance.h"

#include <cstdint>

namespace zephra {

class ControlPath;
class MidiMap;
class ProgramRequest;

/// What the activity light of the editor reads. [any]
struct MidiActivity {
    Shared<int> seen{0};    ///< 1 after a MIDI event; the editor clears it
    Shared<int> stampMs{0}; ///< the editor's clock when it saw the event, 0: not yet seen
};

/// Takes in the MIDI events of a block ahead of it: notes to the engine's queue, wheel movements
/// to its rows, channel values to `performance`, controllers to the controls they are bound to.
/// Touches no voice: what needs the voices alone is left as a request. [audio] No event can fail:
/// offsets are clipped into the block, data bytes masked to 7 bits, foreign events passed over.
class MidiIntake {
public:
    /// All outlive this object.
    MidiIntake(SynthEngine& soundEngine, ControlPath& controlPath, MidiMap& midiMap,
               ProgramRequest& programRequest) noexcept
        : engine(soundEngine), controls(controlPath), map(midiMap), programs(programRequest)
    {
    }

    /// In the order given. A null list counts as empty, one of impossible length is dropped whole.
    void processEvents(const HostEvents* list) noexcept;

    /// Channel values after the last event. The process entry hands them to the engine, so that a
    /// writer in its pause never meets a half-written one.
    const Performance& performance() const noexcept { return channelValues; }

    MidiActivity activity;

private:
    void take(const MidiEvent& event) noexcept;
    void takeController(int channel, int cc, int data, int offset) noexcept;
    void moveMappedControl(int cc, float value, int offset) noexcept;
    void reportActivity() noexcept;

    SynthEngine& engine;
    ControlPath& controls;
    MidiMap& map;
    ProgramRequest& programs;
    Performance channelValues;
};

} // namespace zephra
