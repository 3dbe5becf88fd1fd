// SPDX-License-Identifier: GPL-3.0-or-later
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

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
        {"source Off, Volume",       {{{Off, 1.0f, T::Volume}}},               1.0f, 1.0f, 0.0,  0.0, 1.0},
        {"target Off",               {{{ModWheel, 1.0f, T::Off}}},             1.0f, 1.0f, 0.0,  0.0, 1.0},
        {"velocity down",            {{{Velocity, 1.0f, T::Filter}}},          0.1f, 0.0f, -0.4, 0.0, 1.0},
        {"two to Filter",            {{{ModWheel, 0.5f, T::Filter}, {},
                                       {Velocity, 0.5f, T::Filter}}},          0.0f, 0.6f, 0.05, 0.0, 1.0},
        {"softer by the amount",     {{{Velocity, 0.5f, T::Volume}}},         0.25f, 0.0f, 0.0,  0.0, 0.625},
        {"two to Volume subtract",   {{kHalfWheelToVolume,
                                       kHalfWheelToVolume}},                   0.0f, 0.4f, 0.0,  0.0, 0.4},
        {"no less than silence",     {{kWheelToVolume, kWheelToVolume}},       0.0f, 0.2f, 0.0,  0.0, 0.0},
        {"velocity swings depth",    {{kVelocityToDepth}},                     0.8f, 0.0f, 0.0,  0.3, 1.0},
        {"depth limited below each", {{kVelocityToDepth, kWheelToDepth}},      0.0f, 0.3f, 0.0,  0.3, 1.0},
        {"depth limited above each", {{kWheelToDepth, kWheelToDepth,
                                       kVelocityToDepth}},                     0.0f, 0.9f, 0.0,  0.5, 1.0},
    };
    // clang-format on
    for (const auto& row : kRows) {
        VoiceRig rig, modulated;
        for (VoiceRig* r : {&rig, &modulated}) {
            r->hold(0, true);
            r->hold(2, false);
            r->values.mixLevel[0] = 1.0f;
            r->values.modSlots = row.slots;
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

TEST(VoiceSlots, EnvelopeAmountAddsToTheKnob)
{
    const auto cutoff = [](float knob, const ModSlot& slot) {
        VoiceRig rig;
        rig.values.cutoff = 0.2f;
        rig.values.filterEnvAmount = knob;
        rig.values.filterAttackNorm = 1.0f;
        rig.values.filterSustain = 1.0;
        rig.values.modSlots[2] = slot;
        rig.start(60, 0, 0.9f);
        return rig.playFor(0.1).cutoff.back();
    };
    EXPECT_NEAR(cutoff(0.2f, {ModSource::Velocity, 0.5f, ModTarget::EnvAmount}), cutoff(0.4f, {}),
                1e-6);
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
