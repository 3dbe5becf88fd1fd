// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ToneSample.h"

#include "voice/NoiseRecording.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zephra {
namespace {

// Pins the bytes: every patch with noise depends on them.
TEST(NoiseRecording, IsTheSameOnEveryMachine)
{
    std::uint64_t hash = 14695981039346656037u; // FNV-1a over little-endian bytes
    for (const std::int16_t sample : noiseRecording()) {
        const auto bits = static_cast<std::uint16_t>(sample);
        for (const int byte : {bits & 0xff, bits >> 8})
            hash = (hash ^ static_cast<std::uint64_t>(byte)) * 1099511628211u;
    }
    EXPECT_EQ(hash, 12483838643060235704u);
}

TEST(ToneSample, InterpolatesAtItsRateAndRoundTheEnd)
{
    constexpr struct {
        double fs, playedAs; ///< near 44100 Hz the recording is taken as it is
        int length;
    } kRows[] = {{44000, 44000, 307318}, {44000.1, 48000, 335257}, {44199.9, 48000, 335257},
                 {44200, 44200, 308715}, {48000, 48000, 335257},   {192000, 192000, 1341028}};
    const auto noise = noiseRecording();
    ToneSample tone;
    for (const auto& row : kRows) {
        tone.setSampleRate(row.fs);
        ASSERT_EQ(tone.length(), row.length) << "at " << row.fs;
        for (const int i : {0, 1, 5000, tone.length() - 2, tone.length() - 1}) {
            const double position = i * 48000.0 / row.playedAs;
            const auto before = static_cast<std::size_t>(position);
            const double a = noise[before], b = noise[(before + 1) % noise.size()];
            EXPECT_NEAR(tone[i], a + (b - a) * (position - std::floor(position)), 0.501)
                << "sample " << i << " at " << row.fs;
        }
    }
}

} // namespace
} // namespace zephra
