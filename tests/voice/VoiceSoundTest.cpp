// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Spectrum.h"
#include "voice/NoiseRecording.h"
#include "voice/ToneSample.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

TEST(Oscillators, EveryWaveHasItsLevelDirectionAndHarmonics)
{
    constexpr struct {
        Wave wave;
        Revision revision;
        double lowest, highest;
        double rising; ///< part of the cycle
        double harmonics[4];
    } kRows[] = {
        {Wave::Triangle, Revision::Late, -0.994, 1.07, 0.5, {0.8665, 0.0195, 0.0871, 0.0074}},
        {Wave::Triangle, Revision::Early, -1.045, 1.07, 0.5, {0.8725, 0.0142, 0.0929, 0.0066}},
        {Wave::Shark, Revision::Late, -0.631, 0.750, 0.5, {0.5273, 0.0443, 0.0636, 0.0219}},
        {Wave::Shark, Revision::Early, -0.632, 0.761, 0.5, {0.5291, 0.0536, 0.0672, 0.0192}},
        {Wave::Saw, Revision::Late, -1.05, 1.05, 1.0, {0.6684, 0.3342, 0.2228, 0.1671}},
        {Wave::Saw, Revision::Early, -1.605, 1.05, 1.0, {0.8339, 0.4204, 0.2808, 0.2107}},
        {Wave::RevSaw, Revision::Late, -1.05, 1.05, 0.0, {0.6684, 0.3342, 0.2228, 0.1671}},
        {Wave::Pulse, Revision::Early, -1.0, 1.0, 0.5, {1.2720, 0.0640, 0.4197, 0.0638}},
        {Wave::Wide, Revision::Late, -1.0, 1.0, 0.5, {0.9656, 0.6295, 0.2252, 0.0946}},
        {Wave::Narrow, Revision::Early, -1.0, 1.0, 0.5, {0.7072, 0.5880, 0.4164, 0.2254}},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.oscWave[0] = row.wave;
        rig.values.revision = row.revision;
        rig.values.mixLevel[0] = 1.0f;
        rig.values.oscRange.fill(4);
        rig.start(24);
        rig.play(512); // the level opens
        const auto& sound = rig.play(1 << 16).signal;
        const auto [low, high] = std::minmax_element(sound.begin(), sound.end());
        double up = 0.0;
        for (std::size_t i = 8; i < sound.size(); ++i)
            up += sound[i] > sound[i - 8];
        SCOPED_TRACE(testing::Message() << "wave " << static_cast<int>(row.wave) << ", revision "
                                        << static_cast<int>(row.revision));
        EXPECT_NEAR(*low, row.lowest, 0.012);
        EXPECT_NEAR(*high, row.highest, 0.012);
        EXPECT_NEAR(up / (1 << 16), row.rising, 0.05);
        for (int h = 1; h <= 4; ++h)
            EXPECT_NEAR(test::amplitude(sound, 65.40639 * h / rig.fs8), row.harmonics[h - 1], 2e-4)
                << h;
    }
}

TEST(Oscillators, SawHasTheHarmonicsOfARampAndHardlyAnAlias)
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

TEST(Noise, WhiteIsFreedOfWhatLiesBelow80HzAndPinkIsTheRecordingWithASlowPart)
{
    VoiceRig floor, white, pink;
    white.values.noiseLevel = pink.values.noiseLevel = 1.0f;
    white.values.noiseIsPink = false;
    white.stretch = 504;                            // the same noise, however it is cut
    const auto& quiet = floor.play(1 << 17).signal; // 0.001 of the white noise
    const auto &w = white.play(1 << 17).signal, &p = pink.play(1 << 17).signal;
    EXPECT_NEAR(*std::ranges::max_element(quiet), 0.0005, 1e-6);
    double low = 0.0, slow = 0.0; // below 80 and 10 Hz
    for (std::size_t i = 0; i < quiet.size(); ++i) {
        low += (1000.0 * double(quiet[i]) - low) * 2.0 * M_PI * 80.0 / floor.fs8;
        ASSERT_NEAR(w[i] - quiet[i], 2.75 * (1000.0 * double(quiet[i]) - low), 1e-3);
        const double recorded = 0.31 / 32768.0 * noiseRecording()[i / 8]; // made at this host rate
        if (i % 8 == 0)
            slow += (recorded - slow) * 2.0 * M_PI * 10.0 / 48000.0;
        ASSERT_NEAR(p[i] - quiet[i], 1.75 * (recorded + slow), 1e-4) << "held between two ticks";
    }
}

// Pins the bytes: every patch with noise depends on them.
TEST(Noise, RecordingIsTheSameOnEveryMachine)
{
    std::uint64_t hash = 14695981039346656037u; // FNV-1a over little-endian bytes
    for (const std::int16_t sample : noiseRecording())
        for (const int byte : {sample & 0xff, (sample >> 8) & 0xff})
            hash = (hash ^ static_cast<std::uint64_t>(byte)) * 1099511628211u;
    EXPECT_EQ(hash, 12483838643060235704u);
}

TEST(Noise, RecordingIsInterpolatedAtTheHostRateAndRoundTheEnd)
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

TEST(Filter, TapsGiveTheirSlopesBandPassesAndResonance)
{
    constexpr struct {
        bool slope24, bandPass;
        double octaveUp, octaveDown; ///< dB far above and far below the cutoff
        double lost;                 ///< dB at the cutoff, against the open 24 dB low-pass
    } kRows[] = {{true, false, -24.0, 0.0, 12.0},
                 {false, false, -12.0, 0.0, 6.0},
                 {true, true, -12.0, -12.0, 6.0},
                 {false, true, -6.0, -6.0, 6.0}};
    const double kOpen = test::decibels(0.325 / 1.3 * 2.0 * 2.0 * 0.986138); // Mono counts twice
    for (const Revision revision : {Revision::Late, Revision::Early})
        for (const auto& row : kRows) {
            const bool early = revision == Revision::Early;
            VoiceRig rig;
            rig.start(60);
            rig.values.revision = revision;
            rig.values.cutoffRangeFactor = early ? 1.0f / 0.982f : 1.0f;
            rig.values.cutoff = static_cast<float>(std::log2(1000.0 / 26.0) * 3072.0 / 32726.0);
            rig.values.filter24dB = row.slope24;
            rig.values.filterBandPass = row.bandPass;
            rig.values.mixLevel[2] = 0.1f;
            const auto gainAt = [&rig](double hz) { // dB
                rig.fixOscillator3(hz);
                rig.play(24576); // settles
                rig.play(24576);
                return test::decibels(test::amplitude(rig.output, hz / rig.fs8) /
                                      test::amplitude(rig.lanes[0].signal, hz / rig.fs8));
            };
            SCOPED_TRACE(testing::Message() << "row " << &row - kRows << (early ? " Early" : ""));
            EXPECT_NEAR(gainAt(16000.0) - gainAt(8000.0), row.octaveUp, 1.2);
            EXPECT_NEAR(gainAt(62.5) - gainAt(125.0), row.octaveDown, 1.2);
            const double atCutoff = gainAt(early ? 1060.0 : 1000.0);
            EXPECT_NEAR(atCutoff, kOpen - row.lost, 0.5);
            // The ladder turns the phase there by half a turn and passes a quarter: two round the
            // loop double it.
            rig.values.resonanceRange = 6.0f;
            rig.values.resonance = 2.0f / 6.0f;
            EXPECT_NEAR(gainAt(early ? 1060.0 : 1000.0) - atCutoff, 6.02, 0.3);
        }
}

} // namespace
} // namespace zephra
