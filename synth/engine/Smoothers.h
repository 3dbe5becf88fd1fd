// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/EngineTargets.h"
#include "voice/EngineValues.h"

namespace zephra {

/// One sub-block later: the stepped values and switches are the targets', the smoothed ones go
/// one pole with coefficient k (0..1) toward theirs. False if none moved: then none will until a
/// target does. [audio]
bool stepSmoothers(EngineValues& values, const EngineTargets& targets, double aftertouchLast,
                   float k) noexcept;

/// The smoothed values jump to their targets. Envelope targets at or below 1e-7 become 0 first.
/// [!processing]
void snapSmoothedValues(EngineValues& values, EngineTargets& targets,
                        double aftertouchLast) noexcept;

} // namespace zephra
