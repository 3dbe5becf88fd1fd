// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/VoiceRack.h"

#include "voice/NoiseRecording.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

#include <functional>

namespace zephra {
namespace {

using test::VoiceRig;

/// The mod wheel sets the depth of the modulation.
void routeWheel(VoiceRig& rig, float depth)
{
    rig.values.modSlots[1] = {ModSource::ModWheel, 1.0f, ModTarget::ModAmount};
    rig.performance.modWheelNow = depth;
}

/// A rig whose oscillator 3 is a 5 Hz modulator.
void slowOscillator3(VoiceRig& rig, Wave wave)
{
    rig.values.oscWave[2] = wave;
    rig.values.oscRange[2] = 0;
    rig.values.osc3KeyTrack = false;
    rig.values.osc3FixedRate = 5.0 / rig.fs8;
}

/// What modulation at full depth does to the cutoff over the next `count` samples: a rig as `setUp`
/// makes it against its twin with the modulation off.
std::vector<double> modulation(int count, const std::function<void(VoiceRig&)>& setUp)
{
    VoiceRig on, off;
    for (VoiceRig* rig : {&on, &off}) {
        routeWheel(*rig, 1.0f);
        setUp(*rig);
        rig->playFor(0.25); // 12 Hz to full depth, and a cycle or more
    }
    on.values.modFltOn = true;
    const auto with = on.play(count).cutoff;
    const auto without = off.play(count).cutoff;
    std::vector<double> shift;
    for (std::size_t i = 0; i < with.size(); ++i)
        shift.push_back(double(with[i]) - double(without[i]));
    return shift;
}

TEST(VoiceModulation, Oscillator3HasPolarityAndOffsetOfItsWaveAtAnyLevel)
{
    struct Row {
        Wave wave;
        double slope;  ///< of the modulation over oscillator 3 as it is heard at full level
        double offset; ///< of the modulation where oscillator 3 is heard at zero
    };
    constexpr Row kRows[] = {
        {Wave::Triangle, 0.14 / 1.07, 0.0}, {Wave::Shark, 0.14 / 0.631, 0.0},
        {Wave::Saw, 0.14 / 1.05, 0.00655},  {Wave::RevSaw, 0.14 / 1.05, -0.03655},
        {Wave::Pulse, -0.14, 0.145558},     {Wave::Wide, -0.14, 0.145558},
        {Wave::Narrow, -0.14, 0.145558},
    };
    for (const Revision revision : {Revision::Late, Revision::Early}) {
        for (const Row& row : kRows) {
            const auto setUp = [&row, revision](VoiceRig& rig) {
                slowOscillator3(rig, row.wave);
                rig.values.revision = revision;
            };
            VoiceRig heard;
            setUp(heard);
            heard.values.mixLevel[2] = 1.0f;
            heard.playFor(0.25);
            const auto sound = heard.play(76800).sound;
            const auto shift = modulation(76800, setUp);
            for (std::size_t i = 0; i < shift.size(); ++i)
                ASSERT_NEAR(shift[i], row.slope * sound[i] + row.offset, 2e-4)
                    << "wave " << static_cast<int>(row.wave) << " sample " << i;

            const auto mixedIn = modulation(8192, [&setUp](VoiceRig& rig) {
                setUp(rig);
                rig.values.mixLevel.fill(0.7f);
                rig.values.noiseLevel = 1.0f;
            });
            for (std::size_t i = 0; i < mixedIn.size(); ++i)
                ASSERT_EQ(mixedIn[i], shift[i]);
        }
    }
}

TEST(VoiceModulation, MixLeadsFromOscillator3ToTheSlowNoise)
{
    constexpr int kCount = 1 << 16;
    for (const bool pink : {true, false}) {
        const auto at = [pink](float mix, Wave wave = Wave::Saw) {
            return modulation(kCount, [=](VoiceRig& rig) {
                slowOscillator3(rig, wave);
                rig.values.modulationMix = mix;
                rig.values.noiseIsPink = pink;
            });
        };
        const auto saw = at(0.0f), half = at(0.5f), noise = at(1.0f);
        const auto sameNoise = at(1.0f, Wave::Pulse);

        // The recording from its start at voice 0, with its part below 10 Hz added; pink goes
        // through two low-passes of 100 Hz, white comes as it is.
        const auto recording = noiseRecording();
        const int before = static_cast<int>(0.25 * 48000.0);
        double slow = 0.0, lp1 = 0.0, lp2 = 0.0;
        const auto corner = [](double hz, double fs) {
            return 1.0 - std::exp(-2 * M_PI * hz / fs);
        };
        for (int i = -8 * before; i < kCount; ++i) {
            const int tick = (i + 8 * before) / 8;
            const double v = 0.31 * recording[static_cast<std::size_t>(tick)] / 32768.0;
            if (i % 8 == 0)
                slow += (v - slow) * corner(10.0, 48000.0);
            lp1 += (1.2 * (v + slow) - lp1) * corner(100.0, 384000.0);
            lp2 += (lp1 - lp2) * corner(100.0, 384000.0);
            if (i < 0)
                continue;
            const auto n = static_cast<std::size_t>(i);
            ASSERT_NEAR(noise[n], pink ? lp2 : 0.5 * (v + slow), 2e-5) << "sample " << i;
            ASSERT_NEAR(sameNoise[n], noise[n], 1e-6) << "no oscillator is left in it";
            ASSERT_NEAR(half[n], 0.5 * (saw[n] + noise[n]), 1e-6);
        }
    }
}

TEST(VoiceModulation, CutoffFollowsByDepthAndRange)
{
    struct Row {
        bool on, high;
        float depth, range, base;
        double cutoff;
    };
    // A pulse of oscillator 3 modulates by 0.285558 while it is low, by 0.005558 while it is high.
    constexpr Row kRows[] = {
        {true, false, 1.0f, 1.0f, 0.5f, 0.785558},  {true, true, 1.0f, 1.0f, 0.5f, 0.505558},
        {true, false, 0.5f, 1.0f, 0.5f, 0.642779},  {true, false, 0.5f, 0.5f, 0.5f, 0.5713895},
        {true, false, 1.0f, 2.0f, 0.25f, 0.821116}, {true, false, 1.0f, 2.0f, 0.5f, 1.0},
        {false, false, 1.0f, 1.0f, 0.5f, 0.5},
    };
    for (const Row& row : kRows) {
        VoiceRig rig;
        rig.hold(2, row.high);
        rig.values.modFltOn = row.on;
        rig.values.modCutoffRange = row.range;
        rig.values.cutoff = row.base;
        routeWheel(rig, row.depth);
        rig.start(60);
        EXPECT_NEAR(rig.playFor(0.25).cutoff.back(), row.cutoff, 1e-4) << row.cutoff;
    }
    VoiceRig falling;
    slowOscillator3(falling, Wave::RevSaw);
    falling.values.modFltOn = true;
    falling.values.cutoff = 0.05f;
    routeWheel(falling, 1.0f);
    const auto cutoff = falling.playFor(0.5).cutoff;
    EXPECT_EQ(*std::min_element(cutoff.begin(), cutoff.end()), 0.0f);
}

TEST(VoiceModulation, DepthFollowsAtTwelveHertzAndDiesToNothing)
{
    for (const double hostRate : {48000.0, 96000.0}) {
        VoiceRig rig(hostRate), still(hostRate);
        for (VoiceRig* r : {&rig, &still}) {
            r->hold(2, false);
            r->start(60);
            r->values.modFltOn = true;
            r->play(4096);
        }
        routeWheel(rig, 1.0f);
        const auto cutoff = rig.playFor(0.1).cutoff;
        for (const double t : {0.002, 0.01326, 0.05}) {
            const auto sample = static_cast<std::size_t>(t * rig.fs8);
            EXPECT_NEAR((cutoff[sample] - 0.5) / 0.285558, 1.0 - std::exp(-2 * M_PI * 12.0 * t),
                        2e-3)
                << t << " s";
        }
        routeWheel(rig, 0.0f);
        rig.playFor(0.3);
        still.playFor(0.1);
        still.playFor(0.3);
        EXPECT_EQ(rig.play(64).cutoff, still.play(64).cutoff) << "exactly off";
    }
}

TEST(VoiceModulation, SmallDepthsAreReachedInTheShortestStretchesToo)
{
    for (const int stretch : {8, 512}) {
        VoiceRig rig;
        rig.hold(2, false);
        rig.values.modFltOn = true;
        rig.stretch = stretch;
        routeWheel(rig, 0.01f);
        rig.start(60);
        EXPECT_NEAR(rig.playFor(0.2).cutoff.back(), 0.5 + 0.00285558, 5e-5) << stretch;
    }
}

TEST(VoiceModulation, ShapeBendsTheDepthTowardTheCube)
{
    struct Row {
        float depth, shape;
        double result;
    };
    constexpr Row kRows[] = {{0.5f, 0.0f, 0.5},   {0.5f, 1.0f, 0.125}, {0.5f, 0.5f, 0.3125},
                             {0.8f, 1.0f, 0.512}, {1.0f, 0.5f, 1.0},   {0.0f, 1.0f, 0.0}};
    for (const Row& row : kRows) {
        VoiceRig rig;
        rig.hold(2, false);
        rig.values.modFltOn = true;
        rig.values.modShape = row.shape;
        routeWheel(rig, row.depth);
        rig.start(60);
        EXPECT_NEAR((rig.playFor(0.25).cutoff.back() - 0.5) / 0.285558, row.result, 1e-3)
            << "depth " << row.depth << " shape " << row.shape;
    }
}

} // namespace
} // namespace zephra
