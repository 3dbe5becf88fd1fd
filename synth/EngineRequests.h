// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/SynthEngine.h"

#include <atomic>
#include <limits>

namespace zephra {

/// Changes of the engine's voices that are asked for on any thread and carried out by whoever
/// holds the engine alone: the process entry inside its bracket, or a writer in its pause. Of two
/// requests for one thing the later stands.
class EngineRequests {
public:
    void setPolyphony(int value) noexcept { polyphonyWanted.store(value); } ///< [any]
    void allNotesOff() noexcept { allNotesOffWanted.store(true); }          ///< [any]

    /// [audio inside the bracket, or !processing]
    void carryOut(SynthEngine& engine) noexcept
    {
        if (polyphonyWanted.load() != kNone)
            engine.setControl(polyphony, polyphonyWanted.exchange(kNone));
        if (allNotesOffWanted.load()) {
            allNotesOffWanted.store(false);
            engine.allNotesOff();
        }
    }

private:
    static constexpr int kNone = std::numeric_limits<int>::min();

    std::atomic<int> polyphonyWanted{kNone}; ///< control value
    std::atomic<bool> allNotesOffWanted{false};
};

} // namespace zephra
