// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Spectrum.h"
#include "voice/NoiseRecording.h"
#include "voice/ShapeTables.h"
#include "voice/ToneSample.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

#include <numeric>

namespace zephra {
namespace {

using test::VoiceRig;

TEST(VoiceOscillators, EveryWaveHasItsLevelDirectionAndDutyCycle)
{
    constexpr double kMiddle = 9.0; // its mean is of no interest
    constexpr struct {
        Wave wave;
        std::size_t oscillator;
        Revision revision;
        double lowest, highest, rising; ///< the last a part of the cycle
        double low;                     ///< part of the cycle of a pulse
    } kRows[] = {
        {Wave::Triangle, 0, Revision::Late, -1.01, 1.07, 0.5, kMiddle},
        {Wave::Triangle, 0, Revision::Early, -1.045, 1.07, 0.5, kMiddle},
        {Wave::Shark, 0, Revision::Late, -0.631, 0.750, 0.5, kMiddle},
        {Wave::Shark, 0, Revision::Early, -0.632, 0.761, 0.5, kMiddle},
        {Wave::Saw, 0, Revision::Late, -1.05, 1.05, 1.0, kMiddle},
        {Wave::Saw, 0, Revision::Early, -1.605, 1.05, 1.0, kMiddle},
        {Wave::RevSaw, 0, Revision::Late, -1.05, 1.05, 0.0, kMiddle},
        {Wave::Pulse, 0, Revision::Late, -1.0, 1.0, 0.5, 0.4994},
        {Wave::Wide, 0, Revision::Late, -1.0, 1.0, 0.5, 0.274},
        {Wave::Wide, 0, Revision::Early, -1.0, 1.0, 0.5, 0.6969},
        {Wave::Narrow, 2, Revision::Early, -1.0, 1.0, 0.5, 0.1261},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.oscWave[row.oscillator] = row.wave;
        rig.values.revision = row.revision;
        rig.values.mixLevel[row.oscillator] = 1.0f;
        rig.values.oscRange.fill(4);
        rig.start(24);
        rig.play(512);                                 // the level opens
        const auto& sound = rig.play(8 * 5871).signal; // 8 cycles
        const auto [low, high] = std::minmax_element(sound.begin(), sound.end());
        SCOPED_TRACE(testing::Message() << "wave " << static_cast<int>(row.wave) << ", revision "
                                        << static_cast<int>(row.revision));
        EXPECT_NEAR(*low, row.lowest, 0.012);
        EXPECT_NEAR(*high, row.highest, 0.012);
        const auto count = static_cast<double>(sound.size());
        double up = 0.0;
        for (std::size_t i = 8; i < sound.size(); ++i)
            up += sound[i] > sound[i - 8];
        EXPECT_NEAR(up / count, row.rising, 0.05);
        if (row.low != kMiddle)
            EXPECT_NEAR(0.5 - 0.5 * std::accumulate(sound.begin(), sound.end(), 0.0) / count,
                        row.low, 1e-3);
    }
}

TEST(VoiceOscillators, SawHasTheHarmonicsOfARampAndHardlyAnAlias)
{
    // 5 kHz, at a rate that no harmonic folds onto another's place; a naive ramp's aliases lie
    // near -36 dB there.
    VoiceRig rig(44100.0);
    const double step = 5003.7 / rig.fs8;
    rig.fixOscillator3(5003.7);
    rig.values.mixLevel[2] = 1.0f;
    rig.play(512);
    const auto& saw = rig.play(1 << 16).signal;
    for (int h = 1; h <= 4; ++h)
        EXPECT_NEAR(test::amplitude(saw, h * step), 1.05 * 2.0 / (M_PI * h), 0.04 / h) << h;
    for (int h = 67; h <= 74; ++h) // fold around the voice rate into 0..20 kHz
        EXPECT_LT(test::decibels(test::amplitude(saw, std::fabs(h * step - 1.0))), -73.0) << h;
}

TEST(ShapeTables, HaveTheHarmonicBalanceOfTheCircuit)
{
    const auto harmonic = [](const ShapeTables::Table& table, int k) {
        std::vector<float> cycles; // a few, for the window
        for (int turn = 0; turn < 4; ++turn)
            cycles.insert(cycles.end(), table.begin(), table.begin() + ShapeTables::kSteps);
        return test::amplitude(cycles, double(k) / ShapeTables::kSteps);
    };
    const ShapeTables& shapes = shapeTables();
    ShapeTables::Table shark; // what the Early one has more than the triangle
    for (std::size_t i = 0; i < shark.size(); ++i)
        shark[i] = shapes.sharkShapeEarly[i] - shapes.triangleShapeEarly[i];
    constexpr double kLate[] = {0.8189, 0.0022, 0.0871, 0.0011, 0.0301, 0.0008, 0.0148};
    constexpr double kEarly[] = {0.8150, 0.0133, 0.0868, 0.0061, 0.0301, 0.0033, 0.0148};
    for (int k = 1; k <= 7; ++k) {
        EXPECT_NEAR(harmonic(shapes.triangleShapeLate, k), kLate[k - 1], 1e-4) << k;
        EXPECT_NEAR(harmonic(shapes.triangleShapeEarly, k), kEarly[k - 1], 1e-4) << k;
        EXPECT_NEAR(harmonic(shark, k), k == 2 ? 0.025 : 0.0, 1e-7) << k;
    }
}

TEST(VoiceNoise, WhiteIsFreedOfWhatLiesBelow80HzAndPinkIsTheRecordingWithASlowPart)
{
    VoiceRig floor, white, pink;
    white.values.noiseLevel = pink.values.noiseLevel = 1.0f;
    white.values.noiseIsPink = false;
    const auto& quiet = floor.play(1 << 17).signal; // 0.001 of the white noise
    const auto &w = white.play(1 << 17).signal, &p = pink.play(1 << 17).signal;
    EXPECT_NEAR(*std::ranges::max_element(quiet), 0.0005, 1e-6);
    double low = 0.0, slow = 0.0; // below 80 and 10 Hz
    for (std::size_t i = 0; i < quiet.size(); ++i) {
        const double noise = 1000.0 * quiet[i];
        low += (noise - low) * 2.0 * M_PI * 80.0 / floor.fs8;
        ASSERT_NEAR(w[i] - quiet[i], 2.75 * (noise - low), 1e-3);
        const double recorded = 0.31 / 32768.0 * noiseRecording()[i / 8]; // made at this host rate
        if (i % 8 == 0)
            slow += (recorded - slow) * 2.0 * M_PI * 10.0 / 48000.0;
        ASSERT_NEAR(p[i] - quiet[i], 1.75 * (recorded + slow), 1e-4) << "held between two ticks";
    }
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

TEST(ToneSample, InterpolatesAtItsRateAndRoundTheEnd)
{
    constexpr struct {
        double fs, playedAs; ///< near 44100 Hz the recording is taken as it is
        int length;
    } kRows[] = {{44000, 44000, 307318},
                 {44000.1, 48000, 335257},
                 {44199.9, 48000, 335257},
                 {44200, 44200, 308715},
                 {192000, 192000, 1341028}};
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
