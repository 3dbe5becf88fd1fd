// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/kernels/VoiceKernel.h"

namespace zephra::test {

/// The yardstick of the voice kernels: one voice after the other, one sample after the other, in
/// the order in which the sound is defined.
void renderPlainVoices(const VoiceStretch& stretch, VoiceLanes& lanes,
                       const LanePlace& place) noexcept;

} // namespace zephra::test
