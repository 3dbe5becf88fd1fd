// SPDX-License-Identifier: GPL-3.0-or-later
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

/// A rig whose oscillator 3 is a pulse that stays low, which modulates upwards by `kHeldLow`.
struct HeldRig : VoiceRig {
    HeldRig()
    {
        fixOscillator3(0.1);
        values.oscWave[2] = Wave::Pulse;
        values.oscStartPhase[2] = 0.1f;
    }
};
constexpr double kHeldLow = 0.14 * 2.0397;

TEST(VoiceModulation, ControlsKeysAndSlotsAddUpByTheirRules)
{
    using enum ModSource;
    using T = ModTarget;
    constexpr ModSlot kHalfWheelToVolume = {ModWheel, 0.5f, T::Volume};
    constexpr ModSlot kWheelToVolume = {ModWheel, 1.0f, T::Volume};
    constexpr ModSlot kWheelToDepth = {ModWheel, 1.0f, T::ModAmount};
    constexpr ModSlot kVelocityToDepth = {Velocity, 1.0f, T::ModAmount};
    constexpr auto nothing = [](EngineValues&) {};
    // clang-format off
    const struct {
        const char* what;
        void (*turn)(EngineValues&);
        std::array<ModSlot, 3> slots;
        int note;
        float velocity, wheel;
        double cutoff, depth, volume; ///< of modulation; of the mix
    } kRows[] = {
        {"range",               [](EngineValues& v) { v.cutoffRangeFactor = 1.05f; },
                                {}, 60, 1.0f, 1.0f, 0.525, 0.0, 1.0},
        {"limited",             [](EngineValues& v) { v.cutoffRangeFactor = 2.1f; },
                                {}, 60, 1.0f, 1.0f, 1.0, 0.0, 1.0},
        {"Early",               [](EngineValues& v) { v.revision = Revision::Early; },
                                {}, 60, 1.0f, 1.0f, 0.491, 0.0, 1.0},
        {"a third of the keys", [](EngineValues& v) { v.keytrack = 0.33333f; },
                                {}, 67, 1.0f, 1.0f, 0.593869, 0.0, 1.0},
        {"all of them",         [](EngineValues& v) { v.keytrack = 1.0f; },
                                {}, 0, 1.0f, 1.0f, 0.257502, 0.0, 1.0},
        {"half way to a cube",  [](EngineValues& v) { v.modShape = 0.5f; },
                                {{kWheelToDepth}}, 60, 1.0f, 0.5f, 0.5, 0.3125, 1.0},
        {"source Off",          nothing, {{{Off, 1.0f, T::Volume}}},
                                60, 1.0f, 1.0f, 0.5, 0.0, 1.0},
        {"velocity down",       nothing, {{{Velocity, 1.0f, T::Filter}}},
                                60, 0.1f, 0.0f, 0.1, 0.0, 1.0},
        {"two to Filter",       nothing, {{{ModWheel, 0.5f, T::Filter}, {}, {Velocity, 0.5f, T::Filter}}},
                                60, 0.0f, 0.6f, 0.55, 0.0, 1.0},
        {"softer by amount",    nothing, {{{Velocity, 0.5f, T::Volume}}},
                                60, 0.25f, 0.0f, 0.5, 0.0, 0.625},
        {"two to Volume",       nothing, {{kHalfWheelToVolume, kHalfWheelToVolume}},
                                60, 0.0f, 0.4f, 0.5, 0.0, 0.4},
        {"not below silence",   nothing, {{kWheelToVolume, kWheelToVolume}},
                                60, 0.0f, 0.2f, 0.5, 0.0, 0.0},
        {"limited below each",  nothing, {{kVelocityToDepth, kWheelToDepth}},
                                60, 0.0f, 0.3f, 0.5, 0.3, 1.0},
        {"limited above each",  nothing, {{kWheelToDepth, kWheelToDepth, kVelocityToDepth}},
                                60, 0.0f, 0.9f, 0.5, 0.5, 1.0},
        {"of a full envelope",  nothing, {{{ModWheel, 0.3f, T::EnvAmount}}},
                                60, 1.0f, 1.0f, 0.73355, 0.0, 1.0},
    };
    // clang-format on
    for (const auto& row : kRows) {
        HeldRig rig, modulated;
        for (HeldRig* r : {&rig, &modulated}) {
            r->values.mixLevel[2] = 1.0f;
            r->values.modSlots = row.slots;
            r->values.filterAttackNorm = 1.0f;
            r->values.filterSustain = 1.0; // of an envelope at amount 0
            r->values.modCutoffRange = 0.25f;
            row.turn(r->values);
            r->performance.modWheelNow = row.wheel;
            r->start(row.note, 0, row.velocity);
        }
        modulated.values.modFltOn = true;
        const auto& plain = rig.playFor(0.25);
        const double cutoff = plain.cutoff.back();
        const double shift = modulated.playFor(0.25).cutoff.back() - cutoff;
        EXPECT_NEAR(cutoff, row.cutoff, 1e-4) << row.what;
        EXPECT_NEAR(-plain.signal.back(), row.volume, 1e-3) << row.what;
        EXPECT_NEAR(shift / (kHeldLow * 0.25), row.depth, 1e-3) << row.what;
    }
}

TEST(VoiceModulation, DepthFollowsAtTwelveHertz)
{
    HeldRig rig;
    rig.start(60);
    rig.values.modFltOn = true;
    rig.values.modSlots[1] = {ModSource::ModWheel, 1.0f, ModTarget::ModAmount};
    rig.play(4096);
    rig.performance.modWheelNow = 1.0f;
    const auto& cutoff = rig.playFor(0.1).cutoff;
    for (const double t : {0.002, 0.01326, 0.05})
        EXPECT_NEAR((cutoff[std::size_t(t * rig.fs8)] - 0.5) / kHeldLow,
                    1.0 - std::exp(-2.0 * M_PI * 12.0 * t), 2e-3)
            << t << " s";
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
        // Everything at full but this controller on this channel.
        for (const auto& other : kControllers)
            (rig.performance.*other.second).fill(1.0f);
        (rig.performance.*controller)[5] = 0.0f;
        rig.start(60, 0, 1.0f, 5);
        EXPECT_NEAR(rig.play(8).cutoff.back(), 0.5, 2e-5);
        (rig.performance.*controller)[5] = 0.5f;
        EXPECT_NEAR(rig.play(3 * 8).cutoff.back(), 0.5 + 0.2 * (1.0 - std::pow(0.92, 3)), 5e-5)
            << "source " << static_cast<int>(source);
    }
}

} // namespace
} // namespace zephra
