// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "engine/EngineTargets.h"

namespace zephra {

/// A control value as the engine takes it in: continuous ones limited to 0..1 (not a number: the
/// control's default), switches and stepped ones as whole numbers, saturated.
double intake(int id, double value) noexcept;

/// Sets the targets of one control; `v` has passed the intake. Ids that are not the voices' or
/// the output's do nothing here. `fs` is the host rate in Hz. [any]
void mapControl(EngineTargets& targets, int id, double v, double fs, bool volumeDoubled) noexcept;

// Control value 0..1 to engine value. Anchors stand beside the bodies.
double attackSeconds(double v) noexcept;              ///< filter envelope attack
double decaySeconds(double v) noexcept;               ///< filter envelope decay and release
double ampAttackCoeff(double v, double fs8) noexcept; ///< factor per voice-rate sample
double ampDecayCoeff(double v, double fs8) noexcept;  ///< the same for decay and release
float resonanceOf(double v) noexcept;                 ///< 0..1

} // namespace zephra
