// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Spectrum.h"
#include "voice/NoiseRecording.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

#include <complex>
#include <numeric>

namespace zephra {
namespace {

using test::VoiceRig;

double rms(const std::vector<double>& x)
{
    return std::sqrt(std::inner_product(x.begin(), x.end(), x.begin(), 0.0) /
                     static_cast<double>(x.size()));
}

/// Gain from x to y around a frequency (cycles per sample), over five neighbouring lines of the
/// spectrum.
double gainAt(const std::vector<double>& y, const std::vector<double>& x, double frequency)
{
    std::complex<double> cross;
    double power = 0.0;
    for (int line = -2; line <= 2; ++line) {
        const double f = frequency + line / static_cast<double>(x.size());
        const auto from = test::component(std::span(x), f);
        cross += test::component(std::span(y), f) * std::conj(from);
        power += std::norm(from);
    }
    return std::abs(cross) / power;
}

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
    EXPECT_NEAR(rms(early.play(1 << 14).sound), 0.0002 * std::sqrt(3.0), 2e-5);
}

TEST(VoiceNoise, WhiteIsFlatAbove80Hz)
{
    VoiceRig rig;
    rig.values.noiseIsPink = false;
    rig.values.noiseLevel = 1.0f;
    const auto sound = rig.play(1 << 18).sound;
    EXPECT_NEAR(rms(sound), 2.75 / std::sqrt(12.0), 0.01) << "uniform noise, one unit wide";

    test::WhiteReference reference;
    std::vector<double> white;
    for (std::size_t i = 0; i < sound.size(); ++i)
        white.push_back(reference.next());
    for (const double hz : {20.0, 80.0, 5000.0, 150000.0}) {
        const double highPass = 1.0 / std::hypot(1.0, 80.0 / hz);
        EXPECT_NEAR(gainAt(sound, white, hz / rig.fs8) / (2.75 * highPass), 1.0, 0.03)
            << hz << " Hz";
    }
}

TEST(VoiceNoise, PinkIsTheRecordingWithASlowPartOnTop)
{
    VoiceRig rig;
    rig.values.noiseLevel = 0.5f;
    constexpr std::size_t kTicks = 1 << 16;
    const auto sound = rig.play(8 * kTicks).sound;

    const auto recording = noiseRecording(); // made at the rate of this rig
    std::vector<double> recorded, heard;
    for (std::size_t tick = 0; tick < kTicks; ++tick) {
        recorded.push_back(recording[tick] / 32768.0);
        heard.push_back(sound[8 * tick]);
        for (std::size_t i = 1; i < 8; ++i)
            ASSERT_NEAR(sound[8 * tick + i], heard.back(), 1e-7) << "held between two ticks";
    }
    using namespace std::complex_literals;
    for (const double hz : {5.0, 10.0, 300.0, 15000.0}) {
        const double gain = 0.5 * 1.75 * 0.31 * std::abs(1.0 + 1.0 / (1.0 + 1i * hz / 10.0));
        EXPECT_NEAR(gainAt(heard, recorded, hz / 48000.0) / gain, 1.0, 0.03) << hz << " Hz";
    }
}

} // namespace
} // namespace zephra
