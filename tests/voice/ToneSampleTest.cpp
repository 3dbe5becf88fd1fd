// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ToneSample.h"

#include "support/Spectrum.h"
#include "voice/NoiseRecording.h"

#include <gtest/gtest.h>

#include <cmath>

namespace zephra {
namespace {

TEST(NoiseRecording, FallsThreeDecibelsAnOctave)
{
    const auto noise = noiseRecording().first(1 << 15);
    const auto density = [&noise](double hz) { // mean power of 40 lines around hz
        double power = 0.0;
        for (int line = -20; line < 20; ++line)
            power += std::norm(test::component<std::int16_t>(
                noise, hz / kNoiseRecordingRate + line / double(noise.size())));
        return 10.0 * std::log10(power);
    };
    for (const double hz : {100.0, 400.0, 1600.0})
        EXPECT_NEAR(density(hz) - density(8.0 * hz), 9.0, 3.0) << "three octaves from " << hz;
}

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

TEST(ToneSample, LengthFollowsTheRate)
{
    constexpr std::pair<double, int> kRows[] = {
        {44000.0, 307318}, {44000.1, 335257}, {44199.9, 335257},   {44200.0, 308715},
        {48000.0, 335257}, {96000.0, 670514}, {192000.0, 1341028},
    };
    ToneSample tone;
    for (const auto& [fs, length] : kRows) {
        tone.setSampleRate(fs);
        EXPECT_EQ(tone.length(), length) << "at " << fs;
    }
}

TEST(ToneSample, InterpolatesBetweenSamplesAndRoundTheEnd)
{
    const auto noise = noiseRecording();
    ToneSample tone;
    for (const double fs : {48000.0, 88200.0, 192000.0}) {
        tone.setSampleRate(fs);
        for (const int i : {0, 1, 5000, tone.length() - 2, tone.length() - 1}) {
            const double position = i * 48000.0 / fs;
            const auto before = static_cast<std::size_t>(position);
            const double a = noise[before], b = noise[(before + 1) % noise.size()];
            EXPECT_NEAR(tone[i], a + (b - a) * (position - std::floor(position)), 0.501)
                << "sample " << i << " at " << fs;
        }
    }
}

} // namespace
} // namespace zephra
