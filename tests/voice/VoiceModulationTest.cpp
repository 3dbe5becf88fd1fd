// SPDX-License-Identifier: GPL-3.0-or-later
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

TEST(VoiceModulation, SlotsAndControlsAddUpByTheirRules)
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
        void (*turn)(EngineValues&) = [](EngineValues&) {};
    } kRows[] = {
        {"source Off",         {{{Off, 1.0f, T::Volume}}},          1.0f, 1.0f, 0.0, 0.0, 1.0},
        {"velocity down",      {{{Velocity, 1.0f, T::Filter}}},     0.1f, 0.0f, -0.4, 0.0, 1.0},
        {"softer by amount",   {{{Velocity, 0.5f, T::Volume}}},     0.25f, 0.0f, 0.0, 0.0, 0.625},
        {"two to Volume",      {{kHalfWheelToVolume,
                                 kHalfWheelToVolume}},              0.0f, 0.4f, 0.0, 0.0, 0.4},
        {"not below silence",  {{kWheelToVolume, kWheelToVolume}},  0.0f, 0.2f, 0.0, 0.0, 0.0},
        {"limited below each", {{kVelocityToDepth, kWheelToDepth}}, 0.0f, 0.3f, 0.0, 0.3, 1.0},
        {"limited above each", {{kWheelToDepth, kWheelToDepth,
                                 kVelocityToDepth}},                0.0f, 0.9f, 0.0, 0.5, 1.0},
        {"of a full envelope", {{{ModWheel, 0.3f, T::EnvAmount}}},  1.0f, 1.0f, 0.23355, 0.0, 1.0},
        {"half way to a cube", {{kWheelToDepth}},                   1.0f, 0.5f, 0.0, 0.3125, 1.0,
         [](EngineValues& v) { v.modShape = 0.5f; }},
        {"range of the knob",  {{{ModWheel, 0.1f, T::Filter}}},     1.0f, 1.0f, 0.125, 0.0, 1.0,
         [](EngineValues& v) { v.cutoffRangeFactor = 1.05f; }},
        {"Early",              {},                                  1.0f, 1.0f, -0.009, 0.0, 1.0,
         [](EngineValues& v) { v.revision = Revision::Early; }},
        {"keys from note 31",  {},                                  1.0f, 1.0f, 0.226852, 0.0, 1.0,
         [](EngineValues& v) { v.keytrack = 1.0f; }},
    };
    // clang-format on
    for (const auto& row : kRows) {
        VoiceRig rig, modulated;
        for (VoiceRig* r : {&rig, &modulated}) {
            r->fixOscillator3(0.1); // a pulse that stays low
            r->values.oscWave[2] = Wave::Pulse;
            r->values.oscStartPhase[2] = 0.1f;
            r->values.mixLevel[2] = 1.0f;
            r->values.modSlots = row.slots;
            r->values.filterAttackNorm = 1.0f;
            r->values.filterSustain = 1.0; // of an envelope at amount 0
            r->values.modCutoffRange = 0.25f;
            r->performance.modWheelNow = row.wheel;
            row.turn(r->values);
            r->start(60, 0, row.velocity);
        }
        modulated.values.modFltOn = true;
        const auto& plain = rig.playFor(0.25);
        const double cutoff = plain.cutoff.back();
        const double shift = modulated.playFor(0.25).cutoff.back() - cutoff;
        EXPECT_NEAR(cutoff, 0.5 + row.cutoff, 1e-4) << row.what;
        EXPECT_NEAR(-plain.signal.back(), row.volume, 1e-3) << row.what;
        EXPECT_NEAR(shift / (0.14 * 2.0397 * 0.25), row.depth, 1e-3) << row.what;
    }
}

TEST(VoiceModulation, ControllersOfTheVoicesChannelComeInEightPercentAStretch)
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
        for (const auto& other : kControllers) // everything but this one on this channel
            (rig.performance.*other.second).fill(1.0f);
        (rig.performance.*controller)[5] = 0.0f;
        rig.start(60, 0, 1.0f, 5);
        rig.start(60, 0, 1.0f, -1); // keeps its channel
        EXPECT_NEAR(rig.play(8).cutoff.back(), 0.5, 2e-5);
        (rig.performance.*controller)[5] = 0.5f;
        EXPECT_NEAR(rig.play(3 * 8).cutoff.back(), 0.5 + 0.2 * (1.0 - std::pow(0.92, 3)), 5e-5)
            << "source " << static_cast<int>(source);
    }
}

} // namespace
} // namespace zephra
