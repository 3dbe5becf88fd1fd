// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControlMapping.h"
#include "controls/ControlTable.h"
#include "engine/Smoothers.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace zephra {
namespace {

TEST(ControlMapping, TimesAtTheirKnots)
{
    constexpr double kFs8 = 352800.0;
    // The amplifier's attack to 1/5, its decay to 1/10.
    const auto seconds = [](double coeff, double base) {
        return std::log(base) / std::log(coeff) / kFs8;
    };
    const struct {
        const char* what;
        double seconds, expected;
    } kRows[] = {
        {"attack at 0", attackSeconds(0.0), 0.0009},
        {"attack at 0.5", attackSeconds(0.5), 0.6},
        {"attack at 0.6276", attackSeconds(0.6276), 1.5},
        {"attack at 1", attackSeconds(1.0), 12.0},
        {"decay at 0", decaySeconds(0.0), 0.003},
        {"decay at 0.25", decaySeconds(0.25), 0.10564},
        {"decay at 1", decaySeconds(1.0), 45.78},
        {"amplifier attack at 0", seconds(ampAttackCoeff(0.0, kFs8), 0.2), 1.35e-3},
        {"amplifier attack at 1/4", seconds(ampAttackCoeff(0.25, kFs8), 0.2), 0.151493},
        {"amplifier decay at 0", seconds(ampDecayCoeff(0.0, kFs8), 0.1), 2.5e-3},
        {"amplifier decay at 1", seconds(ampDecayCoeff(1.0, kFs8), 0.1), 36.0},
    };
    for (const auto& row : kRows)
        EXPECT_NEAR(row.seconds / row.expected, 1.0, 1e-4) << row.what;
    // Pieces meet.
    EXPECT_NEAR(ampDecayCoeff(0.2, kFs8), ampDecayCoeff(0.19999999, kFs8), 1e-7);
    EXPECT_NEAR(resonanceOf(0.6 - 1e-9), resonanceOf(0.6), 1e-6);
    EXPECT_EQ(resonanceOf(1.0), 1.0f);
}

TEST(ControlMapping, NothingWildPassesTheIntake)
{
    constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
    constexpr double kInf = std::numeric_limits<double>::infinity();
    for (const ControlInfo& control : kControls) {
        for (const double v : {kNan, kInf, -kInf, 1e300, -0.001, 7.0}) {
            const double taken = intake(control.id, v);
            if (control.kind == ControlKind::Continuous) {
                EXPECT_TRUE(taken >= 0.0 && taken <= 1.0) << control.name;
            } else {
                EXPECT_TRUE(std::isfinite(taken) && taken == std::trunc(taken)) << control.name;
            }
        }
        if (control.isStored()) {
            EXPECT_EQ(intake(control.id, kNan), double(control.defaultValue)) << control.name;
        }
    }
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
    targets.cutoff = 0.0f;
    targets.symmetry = -0.005f;
    stepSmoothers(values, targets, 0.0, 0.25f);
    EXPECT_FLOAT_EQ(values.mixLevel[1], 0.25f);
    for (int i = 0; i < 2000; ++i)
        stepSmoothers(values, targets, 0.0, 0.0104f); // as at 384 kHz
    EXPECT_EQ(values.cutoff, 0.0f) << "flushed below 1e-5, not left to creep";
    EXPECT_NEAR(values.symmetry, -0.005f, 1e-5) << "small negative settings are reached";
}

} // namespace
} // namespace zephra
