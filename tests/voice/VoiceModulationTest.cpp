// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Spectrum.h"
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
    constexpr struct {
        Wave wave;
        double slope;  ///< of the modulation over oscillator 3 as it is heard at full level
        double offset; ///< of the modulation where oscillator 3 is heard at zero
    } kRows[] = {
        {Wave::Triangle, 0.14 / 1.07, 0.0}, {Wave::Shark, 0.14 / 0.631, 0.0},
        {Wave::Saw, 0.14 / 1.05, 0.00655},  {Wave::RevSaw, 0.14 / 1.05, -0.03655},
        {Wave::Pulse, -0.14, 0.145558},     {Wave::Narrow, -0.14, 0.145558},
    };
    for (const Revision revision : {Revision::Late, Revision::Early}) {
        for (const auto& row : kRows) {
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
        }
    }
}

TEST(VoiceModulation, MixLeadsFromOscillator3ToTheSlowNoise)
{
    constexpr int kCount = 1 << 14;
    const auto at = [](float mix, bool pink) {
        return modulation(kCount, [=](VoiceRig& rig) {
            slowOscillator3(rig, Wave::Saw);
            rig.values.modulationMix = mix;
            rig.values.noiseIsPink = pink;
        });
    };
    const auto saw = at(0.0f, true), half = at(0.5f, true), pink = at(1.0f, true);
    const auto white = at(1.0f, false);
    // Both come from the recording; pink goes through two low-passes of 100 Hz, white as it is.
    for (std::size_t i = 0; i < pink.size(); ++i)
        ASSERT_NEAR(half[i], 0.5 * (saw[i] + pink[i]), 1e-6);
    for (const double hz : {100.0, 400.0}) {
        const double gain =
            test::amplitude(pink, hz / 384000.0) / test::amplitude(white, hz / 384000.0);
        EXPECT_NEAR(gain, 2.4 / (1.0 + std::pow(hz / 100.0, 2)), 0.1) << hz << " Hz";
    }
}

/// The cutoff modulated through the wheel by a pulse of oscillator 3 that is held low.
void modulateCutoff(VoiceRig& rig, float depth, float shape, float range)
{
    rig.stretch = 8;
    rig.hold(2, false);
    rig.values.modFltOn = true;
    rig.values.modShape = shape;
    rig.values.modCutoffRange = range;
    routeWheel(rig, depth);
}

TEST(VoiceCutoff, FollowsKnobRevisionKeysFromNote31AndModulation)
{
    // 3072 of 32,726 an octave; modulated by 0.285558. Full shape is the cube of the depth.
    const struct {
        void (*turn)(VoiceRig&);
        int note;
        double cutoff;
    } kRows[] = {
        {[](VoiceRig& r) { r.values.cutoff = 0.8f; }, 60, 0.8},
        {[](VoiceRig& r) { r.values.cutoffRangeFactor = 1.05f; }, 60, 0.525},
        {[](VoiceRig& r) { r.values.cutoffRangeFactor = 2.1f; }, 60, 1.0}, // limited
        {[](VoiceRig& r) { r.values.revision = Revision::Early; }, 60, 0.491},
        {[](VoiceRig& r) { r.values.keytrack = 0.33333f; }, 67, 0.593869},
        {[](VoiceRig& r) { r.values.keytrack = 1.0f; }, 0, 0.257502},
        {[](VoiceRig& r) { modulateCutoff(r, 0.5f, 0.0f, 0.5f); }, 60, 0.5713895},
        {[](VoiceRig& r) { modulateCutoff(r, 0.5f, 0.5f, 1.0f); }, 60, 0.58923688},
        {[](VoiceRig& r) { modulateCutoff(r, 0.01f, 0.0f, 1.0f); }, 60, 0.50285558},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        row.turn(rig);
        rig.start(row.note);
        EXPECT_NEAR(rig.playFor(0.25).cutoff.back(), row.cutoff, 1e-4)
            << "row " << &row - std::begin(kRows);
    }
}

TEST(VoiceModulation, DepthFollowsAtTwelveHertzAndDiesToNothing)
{
    VoiceRig rig(96000.0), still(96000.0);
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
        EXPECT_NEAR((cutoff[sample] - 0.5) / 0.285558, 1.0 - std::exp(-2 * M_PI * 12.0 * t), 2e-3)
            << t << " s";
    }
    routeWheel(rig, 0.0f);
    rig.playFor(0.13); // down to 5e-5
    still.playFor(0.1);
    still.playFor(0.13);
    EXPECT_EQ(rig.play(64).cutoff, still.play(64).cutoff) << "exactly off below 1e-4";
}

TEST(VoiceSlots, AddUpByTheirRules)
{
    using enum ModSource;
    using T = ModTarget;
    constexpr ModSlot kHalfWheelToVolume = {ModWheel, 0.5f, T::Volume};
    constexpr ModSlot kWheelToVolume = {ModWheel, 1.0f, T::Volume};
    constexpr ModSlot kWheelToDepth = {ModWheel, 1.0f, T::ModAmount};
    constexpr ModSlot kVelocityToDepth = {Velocity, 1.0f, T::ModAmount};
    // clang-format off
    const struct {
        const char* what;
        std::array<ModSlot, 3> slots;
        float velocity, wheel;
        double cutoff, depth, volume; ///< shift of the cutoff, modulation depth, level
    } kRows[] = {
        {"source Off",          {{{Off, 1.0f, T::Volume}}},          1.0f, 1.0f, 0.0, 0.0, 1.0},
        {"velocity down",       {{{Velocity, 1.0f, T::Filter}}},     0.1f, 0.0f, -0.4, 0.0, 1.0},
        {"two to Filter",       {{{ModWheel, 0.5f, T::Filter}, {},
                                  {Velocity, 0.5f, T::Filter}}},     0.0f, 0.6f, 0.05, 0.0, 1.0},
        {"softer by amount",    {{{Velocity, 0.5f, T::Volume}}},     0.25f, 0.0f, 0.0, 0.0, 0.625},
        {"two to Volume",       {{kHalfWheelToVolume,
                                  kHalfWheelToVolume}},              0.0f, 0.4f, 0.0, 0.0, 0.4},
        {"not below silence",   {{kWheelToVolume, kWheelToVolume}},  0.0f, 0.2f, 0.0, 0.0, 0.0},
        {"velocity to depth",   {{kVelocityToDepth}},                0.8f, 0.0f, 0.0, 0.3, 1.0},
        {"limited below each",  {{kVelocityToDepth, kWheelToDepth}}, 0.0f, 0.3f, 0.0, 0.3, 1.0},
        {"limited above each",  {{kWheelToDepth, kWheelToDepth,
                                  kVelocityToDepth}},                0.0f, 0.9f, 0.0, 0.5, 1.0},
        {"of a full envelope",  {{{ModWheel, 0.3f, T::EnvAmount}}},  1.0f, 1.0f, 0.23355, 0.0, 1.0},
    };
    // clang-format on
    for (const auto& row : kRows) {
        VoiceRig rig, modulated;
        for (VoiceRig* r : {&rig, &modulated}) {
            r->hold(0, true);
            r->hold(2, false);
            r->values.mixLevel[0] = 1.0f;
            r->values.modSlots = row.slots;
            r->values.filterAttackNorm = 1.0f;
            r->values.filterSustain = 1.0; // of an envelope at amount 0
            r->performance.modWheelNow = row.wheel;
            r->start(0, 0, row.velocity);
        }
        modulated.values.modFltOn = true;
        modulated.values.modCutoffRange = 0.25f; // leaves room to 1
        const auto plain = rig.playFor(0.25);
        const double cutoff = plain.cutoff.back();
        EXPECT_NEAR(cutoff, 0.5 + row.cutoff, 1e-4) << row.what;
        EXPECT_NEAR(plain.sound.back(), row.volume, 1e-5) << row.what;
        EXPECT_NEAR((modulated.playFor(0.25).cutoff.back() - cutoff) / (0.285558 * 0.25), row.depth,
                    1e-3)
            << row.what;
    }
}

TEST(VoiceSlots, ControllersOfTheVoicesChannelComeInEightPercentAStretch)
{
    constexpr std::array kControllers = {
        std::pair(ModSource::Aftertouch, &Performance::aftertouch),
        std::pair(ModSource::Foot, &Performance::foot),
        std::pair(ModSource::Expression, &Performance::expression),
        std::pair(ModSource::Timbre, &Performance::timbre),
    };
    for (const auto& [source, controller] : kControllers) {
        VoiceRig rig;
        rig.values.modSlots[0] = {source, 0.4f, ModTarget::Filter};
        rig.stretch = 8;
        // Everything at full but this controller on this channel.
        for (const auto& other : kControllers)
            (rig.performance.*other.second).fill(1.0f);
        (rig.performance.*controller)[5] = 0.0f;
        rig.start(60, 0, 1.0f, 5);
        EXPECT_NEAR(rig.play(8).cutoff.back(), 0.5, 2e-5);
        (rig.performance.*controller)[5] = 0.5f;
        EXPECT_NEAR(rig.play(3 * 8).cutoff.back(), 0.5 + 0.4 * 0.5 * (1.0 - std::pow(0.92, 3)),
                    5e-5)
            << "source " << static_cast<int>(source);
    }
}

} // namespace
} // namespace zephra
