// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/EngineValues.h"
#include "voice/VoiceRates.h"

#include <array>

namespace zephra {

/// An oscillator increment never exceeds this, in cycles per voice-rate sample: 0.4 fs.
inline constexpr double kMaxIncrement = 0.05;

/// What is fixed for a stretch: increment of oscillator k = oscBase[k] * slope^(pitch / 12), with
/// pitch a note number with a fraction.
std::array<double, 3> oscillatorBases(const EngineValues& values, int lane, double fs8) noexcept;

/// Increment of oscillator 3 while it ignores the keyboard, in cycles per voice-rate sample; at
/// most kMaxIncrement, whatever the tempo.
float fixedOscillator3Increment(const EngineValues& values) noexcept;

} // namespace zephra
