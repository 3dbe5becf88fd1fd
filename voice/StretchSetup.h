// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/kernels/VoiceKernel.h"
#include "voice/ToneSample.h"
#include "voice/Voice.h"

namespace zephra {

/// What follows from the controls alone: a stretch of `count` voice-rate samples with all lanes
/// idle. The arguments outlive it.
VoiceStretch stretchOf(const EngineValues& values, const VoiceRates& rates, const ToneSample& tone,
                       int count) noexcept;

/// Lets the voice's lane run: its controllers move on, and what it reads of them is set.
void startLane(VoiceStretch& stretch, Voice& voice, const Performance& performance) noexcept;

/// After the stretch: whether the voice has fallen silent.
void finishLane(const EngineValues& values, Voice& voice) noexcept;

} // namespace zephra
