// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControlMapping.h"
#include "controls/ControlTable.h"
#include "engine/Smoothers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>

namespace zephra {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

TEST(ControlMapping, TimesAtTheirKnots)
{
    struct Row {
        double (*curve)(double);
        double v, seconds;
    };
    constexpr Row kRows[] = {
        {attackSeconds, 0.0, 0.0009}, {attackSeconds, 0.075, 0.00545}, {attackSeconds, 0.5, 0.6},
        {attackSeconds, 0.6276, 1.5}, {attackSeconds, 0.87, 8.1},      {attackSeconds, 1.0, 12.0},
        {decaySeconds, 0.0, 0.003},   {decaySeconds, 0.25, 0.10564},   {decaySeconds, 0.5, 3.72},
        {decaySeconds, 1.0, 45.78},
    };
    for (const Row& row : kRows)
        EXPECT_NEAR(row.curve(row.v) / row.seconds, 1.0, 1e-4) << "at " << row.v;

    const auto fallMs = [](double coeff, double base) {
        return std::log(base) / std::log(coeff) / 352.8;
    };
    EXPECT_NEAR(fallMs(ampAttackCoeff(0.0, 352800.0), 0.2), 1.35, 1e-6);
    EXPECT_NEAR(fallMs(ampAttackCoeff(0.25, 352800.0), 0.2), std::sqrt(1.35 * 17000.0), 1e-3);
    EXPECT_NEAR(fallMs(ampDecayCoeff(0.0, 352800.0), 0.1), 2.5, 1e-6);
    EXPECT_NEAR(fallMs(ampDecayCoeff(1.0, 352800.0), 0.1), 36000.0, 1.0);
    // Both pieces meet at 0.2.
    EXPECT_NEAR(ampDecayCoeff(0.2, 352800.0), ampDecayCoeff(0.19999999, 352800.0), 1e-7);
}

TEST(ControlMapping, ResonancePiecesMeetAndStayBelowOne)
{
    EXPECT_NEAR(resonanceOf(0.6), 0.6f, 1e-6);
    EXPECT_NEAR(resonanceOf(0.6 - 1e-9), 0.6f, 1e-6);
    EXPECT_EQ(resonanceOf(0.0), 0.0f);
    EXPECT_EQ(resonanceOf(1.0), 1.0f);
}

/// Reaches every control with values no host should send.
TEST(ControlMapping, NothingWildPassesTheIntake)
{
    for (const ControlInfo& control : kControls) {
        for (const double v : {kNan, kInf, -kInf, 1e300, -1e300, 1e10, -0.001, 7.0}) {
            const double taken = intake(control.id, v);
            ASSERT_TRUE(std::isfinite(taken)) << control.name;
            if (control.kind == ControlKind::Continuous) {
                EXPECT_TRUE(taken >= 0.0 && taken <= 1.0) << control.name;
            } else {
                EXPECT_EQ(taken, std::trunc(taken)) << control.name;
            }
        }
        if (control.isStored()) {
            EXPECT_EQ(intake(control.id, kNan), static_cast<double>(control.defaultValue))
                << control.name;
        }
    }
}

TEST(ControlMapping, WildStepsFallBackAndIndexesStayInTheirLists)
{
    EngineTargets targets;
    EngineValues values;
    const auto send = [&](int id, double v) {
        mapControl(targets, id, intake(id, v), 44100.0, false);
        stepSmoothers(values, targets, 0.0, 1.0f);
    };
    send(tuning_coarse, 9.0);
    EXPECT_EQ(values.coarseFactor, 4.0);
    send(tuning_coarse, -3.0);
    EXPECT_EQ(values.coarseFactor, 4.0);
    send(osc_1_waveform, 1e12);
    EXPECT_EQ(values.oscWave[0], Wave::Narrow);
    send(osc_2_range, -1e12);
    EXPECT_EQ(values.oscRange[1], 0);
    send(modulation_source_1, 77.0);
    send(modulation_target_1, 77.0);
    EXPECT_EQ(values.modSlots[0].source, ModSource::ModWheel);
    EXPECT_EQ(values.modSlots[0].target, ModTarget::Volume);
}

TEST(ControlMapping, VolumeIsSquareAndDoublesInTheOwnHost)
{
    EngineTargets targets;
    mapControl(targets, volume, 0.5, 44100.0, false);
    EXPECT_FLOAT_EQ(targets.outVolume, 0.5025f);
    mapControl(targets, volume, 0.5, 44100.0, true);
    EXPECT_FLOAT_EQ(targets.outVolume, 1.005f);
}

TEST(Smoothers, OnePoleStepThresholdsAndSwitchedLevels)
{
    EngineTargets targets;
    EngineValues values;
    targets.cutoff = 0.8f;
    targets.mixLevel[1] = 1.0f;
    stepSmoothers(values, targets, 0.0, 0.25f);
    EXPECT_FLOAT_EQ(values.cutoff, 0.2f);
    EXPECT_EQ(values.mixLevel[1], 0.0f) << "an oscillator that is off runs to zero";
    targets.oscActive[1] = true;
    stepSmoothers(values, targets, 0.0, 0.25f);
    EXPECT_FLOAT_EQ(values.cutoff, 0.35f);
    EXPECT_FLOAT_EQ(values.mixLevel[1], 0.25f);

    targets.cutoff = 0.0f;
    for (int i = 0; i < 60; ++i)
        stepSmoothers(values, targets, 0.0, 0.25f);
    EXPECT_EQ(values.cutoff, 0.0f) << "flushed below 1e-5, not left to creep";

    targets.keytrack1 = true;
    targets.keytrack2 = true;
    targets.oscSemi[0] = -7.0f;
    snapSmoothedValues(values, targets, 0.5);
    EXPECT_FLOAT_EQ(values.keytrack, 1.0f);
    EXPECT_EQ(values.oscSemi[0], -7.0f);
    EXPECT_EQ(values.monoAftertouch, 0.5f);
}

TEST(Smoothers, SymmetryCrossesTheMiddleBothWays)
{
    EngineTargets targets;
    EngineValues values;
    targets.symmetry = 0.02f;
    snapSmoothedValues(values, targets, 0.0);
    targets.symmetry = -0.005f;
    for (int i = 0; i < 2000; ++i)
        stepSmoothers(values, targets, 0.0, 0.0104f); // as at 384 kHz
    EXPECT_NEAR(values.symmetry, -0.005f, 1e-5) << "small negative settings are reached";
}

} // namespace
} // namespace zephra
