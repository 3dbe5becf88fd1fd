// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ToneSample.h"

#include "voice/NoiseRecording.h"

#include <cmath>

namespace zephra {

void ToneSample::setSampleRate(double fs)
{
    const auto recording = noiseRecording();
    if (fs > 44000.0 && fs < 44200.0) {
        samples.assign(recording.begin(), recording.end());
        return;
    }

    const double step = kNoiseRecordingRate / fs;
    samples.resize(static_cast<std::size_t>(kNoiseRecordingLength * fs / kNoiseRecordingRate));
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const double position = static_cast<double>(i) * step;
        const auto before = static_cast<std::size_t>(position);
        const std::size_t after = (before + 1) % recording.size();
        const double value = recording[before] + (recording[after] - recording[before]) *
                                                     (position - static_cast<double>(before));
        samples[i] = static_cast<std::int16_t>(std::floor(value + 0.5));
    }
}

} // namespace zephra
