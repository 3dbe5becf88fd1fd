// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/ToneSample.h"

#include "voice/NoiseRecording.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <vector>

namespace zephra {
namespace {

/// Spectrum of real samples, a power of two long; the samples are overwritten.
void transform(std::vector<std::complex<double>>& x)
{
    const std::size_t n = x.size();
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(x[i], x[j]);
    }
    for (std::size_t half = 1; half < n; half *= 2)
        for (std::size_t k = 0; k < half; ++k) {
            const auto turn = std::polar(1.0, -std::numbers::pi * static_cast<double>(k) /
                                                  static_cast<double>(half));
            for (std::size_t i = k; i < n; i += 2 * half) {
                const auto odd = turn * x[i + half];
                x[i + half] = x[i] - odd;
                x[i] += odd;
            }
        }
}

/// Mean power at each frequency step of 48000 / 16384 Hz, by Hann windows that overlap by half
/// and go round the loop.
std::vector<double> powerSpectrum()
{
    constexpr std::size_t kWindow = 16384;
    const auto noise = noiseRecording();
    std::vector<double> power(kWindow / 2);
    for (std::size_t start = 0; start < noise.size(); start += kWindow / 2) {
        std::vector<std::complex<double>> x(kWindow);
        for (std::size_t i = 0; i < kWindow; ++i)
            x[i] = noise[(start + i) % noise.size()] *
                   (1.0 - std::cos(2.0 * std::numbers::pi * static_cast<double>(i) / kWindow));
        transform(x);
        for (std::size_t k = 0; k < power.size(); ++k)
            power[k] += std::norm(x[k]);
    }
    return power;
}

TEST(NoiseRecording, IsPinkFrom20HzTo20Khz)
{
    const std::vector<double> power = powerSpectrum();
    constexpr double kBinHz = kNoiseRecordingRate / 16384.0;
    constexpr int kBands = 10; // octaves up from 20 Hz: equal power in each
    double level[kBands], mean = 0.0;
    for (int band = 0; band < kBands; ++band) {
        const double low = 20.0 * std::exp2(band);
        double sum = 0.0, share = 0.0; // of 1/f over the bins, so that coarse bands are fair
        for (std::size_t k = 1; k < power.size(); ++k) {
            const double hz = static_cast<double>(k) * kBinHz;
            if (hz < low || hz >= std::min(2.0 * low, 20000.0))
                continue;
            sum += power[k];
            share += 1.0 / static_cast<double>(k);
        }
        level[band] = 10.0 * std::log10(sum / share);
        mean += level[band] / kBands;
    }
    for (int band = 0; band < kBands; ++band)
        EXPECT_NEAR(level[band], mean, 1.0) << "octave from " << 20.0 * std::exp2(band) << " Hz";
}

TEST(NoiseRecording, HasItsLevelNoOffsetAndDoesNotClip)
{
    double sum = 0.0, squares = 0.0;
    for (const std::int16_t sample : noiseRecording()) {
        sum += sample;
        squares += static_cast<double>(sample) * sample;
        EXPECT_LT(std::abs(sample), 32767);
    }
    EXPECT_NEAR(sum / kNoiseRecordingLength, 0.0, 0.5);
    EXPECT_NEAR(std::sqrt(squares / kNoiseRecordingLength) / 32768.0, 0.22, 1e-4);
}

/// How far the noise jumps between `before` and `after` it, against how far it jumps anywhere:
/// squared differences of the means over 1, 2, 4 .. 512 samples on either side, each divided by
/// its average round the loop. About 1 inside the loop, 3 between unrelated places.
double seamRoughness(std::size_t before, std::size_t after)
{
    const auto noise = noiseRecording();
    const std::size_t n = noise.size();
    std::vector<double> sums(3 * n + 1); // three turns, so that no mean has to wrap
    for (std::size_t i = 0; i < 3 * n; ++i)
        sums[i + 1] = sums[i] + noise[i % n];
    const auto jump = [&](std::size_t left, std::size_t right, std::size_t count) {
        const double mean =
            (sums[n + right + count] - sums[n + right]) - (sums[n + left] - sums[n + left - count]);
        return mean * mean;
    };
    double roughness = 0.0;
    constexpr int kScales = 10;
    for (int scale = 0; scale < kScales; ++scale) {
        const std::size_t count = std::size_t{1} << scale;
        double usual = 0.0;
        for (std::size_t i = 0; i < n; ++i)
            usual += jump(i, i, count) / static_cast<double>(n);
        roughness += jump(before, after, count) / usual / kScales;
    }
    return roughness;
}

TEST(NoiseRecording, LoopsWithoutASeam)
{
    EXPECT_LT(seamRoughness(0, 0), 2.0);
    double cut = 0.0; // what a loop of unrelated ends would have, over sixteen of them
    for (std::size_t i = 0; i < 16; ++i)
        cut += seamRoughness(20000 * i, 20000 * i + 9000) / 16.0;
    EXPECT_GT(cut, 2.5);
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
    constexpr struct {
        double fs;
        int length;
    } kRows[] = {
        {44000.0, 307318}, {44000.1, 335257}, {44100.0, 335257}, {44199.9, 335257},
        {44200.0, 308715}, {48000.0, 335257}, {96000.0, 670514}, {192000.0, 1341028},
    };
    ToneSample tone;
    for (const auto& row : kRows) {
        tone.setSampleRate(row.fs);
        EXPECT_EQ(tone.length(), row.length) << "at " << row.fs;
    }
}

TEST(ToneSample, IsTheRecordingItselfAt44100And48000)
{
    const auto noise = noiseRecording();
    for (const double fs : {44100.0, 48000.0}) {
        ToneSample tone;
        tone.setSampleRate(fs);
        for (int i = 0; i < tone.length(); ++i)
            ASSERT_EQ(tone[i], noise[static_cast<std::size_t>(i)]) << "at " << fs;
    }
}

TEST(ToneSample, InterpolatesBetweenSamplesAndRoundTheEnd)
{
    const auto noise = noiseRecording();
    ToneSample tone;
    tone.setSampleRate(192000.0); // four steps from each sample to the next
    for (const std::size_t at : {0u, 1u, 1000u, 335255u, 335256u}) {
        const int a = noise[at], b = noise[(at + 1) % noise.size()];
        for (int quarter = 0; quarter < 4; ++quarter)
            EXPECT_NEAR(tone[4 * static_cast<int>(at) + quarter], a + (b - a) * quarter / 4.0, 0.5)
                << "at " << at << " and " << quarter << " quarters";
    }
}

// A rate that does not divide: the last sample still reads inside the loop.
TEST(ToneSample, StaysInStepToTheEnd)
{
    const auto noise = noiseRecording();
    ToneSample tone;
    tone.setSampleRate(88200.0);
    const int last = tone.length() - 1;
    const double position = last * 48000.0 / 88200.0;
    const auto before = static_cast<std::size_t>(position);
    const double a = noise[before], b = noise[(before + 1) % noise.size()];
    EXPECT_NEAR(tone[last], a + (b - a) * (position - std::floor(position)), 0.501);
}

} // namespace
} // namespace zephra
