// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/NoiseRecording.h"
#include "voice/ToneSample.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

#include <numeric>

namespace zephra {
namespace {

using test::VoiceRig;

TEST(VoiceMixer, EveryWaveHasItsLevelAndDirection)
{
    constexpr struct {
        Wave wave;
        Revision revision;
        double lowest, highest;
        double rising; ///< part of the cycle on the way up
    } kRows[] = {
        {Wave::Triangle, Revision::Late, -1.01, 1.07, 0.5},
        {Wave::Triangle, Revision::Early, -1.045, 1.07, 0.5},
        {Wave::Shark, Revision::Late, -0.631, 0.750, 0.5},
        {Wave::Shark, Revision::Early, -0.632, 0.761, 0.5},
        {Wave::Saw, Revision::Late, -1.05, 1.05, 1.0},
        {Wave::Saw, Revision::Early, -1.605, 1.05, 1.0},
        {Wave::RevSaw, Revision::Late, -1.05, 1.05, 0.0},
        {Wave::Pulse, Revision::Late, -1.0, 1.0, 0.5},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.oscWave[0] = row.wave;
        rig.values.revision = row.revision;
        rig.values.mixLevel[0] = 1.0f;
        rig.start(24);
        rig.play(512); // the level opens
        const auto sound = rig.play(1 << 15).sound;
        const auto [low, high] = std::minmax_element(sound.begin(), sound.end());
        const auto wave = static_cast<int>(row.wave);
        EXPECT_NEAR(*low, row.lowest, 0.012) << "wave " << wave;
        EXPECT_NEAR(*high, row.highest, 0.012) << "wave " << wave;
        double up = 0.0;
        for (std::size_t i = 1; i < sound.size(); ++i)
            up += sound[i] > sound[i - 1] ? 1.0 : 0.0;
        EXPECT_NEAR(up / (1 << 15), row.rising, 0.04) << "wave " << wave;
    }
}

TEST(VoiceMixer, LevelsWalkStraightAndVolumeTakesTheMixAwayButNotTheFloor)
{
    VoiceRig rig;
    rig.hold(0, true);
    rig.start(0);
    float from = 0.0f;
    for (const float level : {0.7f, 0.1f}) {
        rig.values.mixLevel[0] = level;
        const auto sound = rig.play(504).sound;
        for (std::size_t i = 0; i < 504; ++i)
            ASSERT_NEAR(sound[i], from + (level - from) * double(i + 1) / 504.0, 2e-5);
        from = level;
    }
    EXPECT_NEAR(rig.play(8).sound[0], 0.1, 1e-8) << "arrived exactly";

    rig.values.modSlots[0] = {ModSource::ModWheel, 1.0f, ModTarget::Volume};
    EXPECT_GT(rig.play(512).sound[200], 0.02) << "over a stretch, not at once";
    for (const double silence : rig.play(512).sound)
        EXPECT_NEAR(silence, 0.0, 1e-9);
}

TEST(VoiceMixer, ClosedMixerLeavesTheNoiseFloorAndInEarlyTheOscillators)
{
    // 0.001 of the white noise, whose peak is one half: -66 dB under a saw.
    VoiceRig late;
    late.start(60);
    const auto floor = late.play(1 << 16);
    EXPECT_NEAR(*std::ranges::max_element(floor.signal), 0.0005, 1e-6);
    for (const double rest : floor.sound)
        ASSERT_NEAR(rest, 0.0, 1e-10);

    VoiceRig early;
    early.values.revision = Revision::Early;
    early.values.oscWave.fill(Wave::Pulse);
    early.values.oscSemi = {0.0f, 3.0f, -5.0f};
    early.start(60);
    early.play(512);
    const auto leak = early.play(1 << 14).sound;
    const double power =
        std::inner_product(leak.begin(), leak.end(), leak.begin(), 0.0) / (1 << 14);
    EXPECT_NEAR(std::sqrt(power), 0.0002 * std::sqrt(3.0), 2e-5);
}

TEST(VoiceNoise, WhiteIsFreedOfWhatLiesBelow80Hz)
{
    VoiceRig rig;
    rig.values.noiseIsPink = false;
    rig.values.noiseLevel = 1.0f;
    test::WhiteReference reference;
    double low = 0.0;
    for (const double heard : rig.play(1 << 16).sound) {
        const double white = reference.next();
        low += (white - low) * 2.0 * M_PI * 80.0 / rig.fs8;
        ASSERT_NEAR(heard, 2.75 * (white - low), 1e-3);
    }
}

TEST(VoiceNoise, PinkIsTheRecordingWithASlowPartOnTop)
{
    VoiceRig rig;
    rig.values.noiseLevel = 0.5f;
    const auto heard = rig.play(1 << 18).sound;
    double slow = 0.0; // below 10 Hz
    for (std::size_t i = 0; i < heard.size(); ++i) {
        const double recorded = 0.31 / 32768.0 * noiseRecording()[i / 8]; // made at this host rate
        if (i % 8 == 0)
            slow += (recorded - slow) * 2.0 * M_PI * 10.0 / 48000.0;
        ASSERT_NEAR(heard[i], 0.5 * 1.75 * (recorded + slow), 1e-4) << "held between two ticks";
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
