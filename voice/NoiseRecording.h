// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>

namespace zephra {

inline constexpr int kNoiseRecordingLength = 335257;   ///< samples, about seven seconds
inline constexpr double kNoiseRecordingRate = 48000.0; ///< Hz

/// The noise recording: a seamless loop of pink noise, RMS 0.22 of full scale. Written by
/// tools/make-noise-recording while the system is built; the same bytes on every machine.
std::span<const std::int16_t, kNoiseRecordingLength> noiseRecording() noexcept;

} // namespace zephra
