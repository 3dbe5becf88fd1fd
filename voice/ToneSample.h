// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace zephra {

/// The noise recording at the host rate, a loop: after the last sample comes the first. The slow
/// noise of a voice reads one sample per control tick.
class ToneSample {
public:
    /// [!processing] `fs` in Hz, above 0. Allocates. Linear interpolation, rounded to the nearest
    /// 16-bit value. Kept: between 44,000 and 44,200 Hz, both exclusive, the copy is the recording
    /// itself, which then plays at its recorded number of samples, 8 % slower.
    void setSampleRate(double fs);

    const std::int16_t* data() const noexcept { return samples.data(); }
    int length() const noexcept { return static_cast<int>(samples.size()); }
    /// Index 0..length() - 1.
    std::int16_t operator[](int i) const noexcept { return samples[static_cast<std::size_t>(i)]; }

private:
    std::vector<std::int16_t> samples;
};

} // namespace zephra
