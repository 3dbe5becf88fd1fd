// SPDX-License-Identifier: GPL-3.0-or-later
#include "engine/ControlMapping.h"
#include "controls/ControlTable.h"
#include "engine/Smoothers.h"

#include <gtest/gtest.h>

#include <cmath>

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
        {"attack at 0.6276", attackSeconds(0.6276), 1.5},
        {"attack at 1", attackSeconds(1.0), 12.0},
        {"decay at 0.25", decaySeconds(0.25), 0.10564},
        {"decay just below the knee", decaySeconds(0.5 - 1e-9), 3.72},
        {"decay just above it", decaySeconds(0.5 + 1e-9), 3.72},
        {"decay at 1", decaySeconds(1.0), 45.78},
        {"amplifier attack at 0", seconds(ampAttackCoeff(0.0, kFs8), 0.2), 1.35e-3},
        {"amplifier attack at 1/4", seconds(ampAttackCoeff(0.25, kFs8), 0.2), 0.151493},
        {"amplifier decay at 0", seconds(ampDecayCoeff(0.0, kFs8), 0.1), 2.5e-3},
        {"amplifier decay below the knee", seconds(ampDecayCoeff(0.2 - 1e-9, kFs8), 0.1), 0.09034},
        {"amplifier decay above it", seconds(ampDecayCoeff(0.2, kFs8), 0.1), 0.09034},
        {"amplifier decay at 1", seconds(ampDecayCoeff(1.0, kFs8), 0.1), 36.0},
        {"resonance below the knee", double(resonanceOf(0.6 - 1e-9)), 0.6},
        {"resonance above it", double(resonanceOf(0.6)), 0.6},
    };
    for (const auto& row : kRows)
        EXPECT_NEAR(row.seconds / row.expected, 1.0, 1e-4) << row.what;
}

TEST(ControlMapping, NothingWildPassesTheIntake)
{
    for (const ControlInfo& control : kControls) {
        for (const double v : {double(NAN), HUGE_VAL, -HUGE_VAL, 1e300, -0.001, 7.0}) {
            const double taken = intake(control.id, v);
            EXPECT_TRUE(control.kind == ControlKind::Continuous ? taken >= 0.0 && taken <= 1.0
                                                                : static_cast<int>(taken) == taken)
                << control.name;
        }
        if (control.isStored()) {
            EXPECT_EQ(intake(control.id, NAN), double(control.defaultValue)) << control.name;
        }
    }
}

TEST(Smoothers, OnePoleStepThresholdsAndSwitchedLevels)
{
    EngineTargets targets;
    EngineValues values;
    targets.cutoff = 0.8f;
    targets.mixLevel[1] = 1.0f;
    targets.oscRange[1] = 9;
    stepSmoothers(values, targets, 0.0, 0.25f);
    EXPECT_FLOAT_EQ(values.cutoff, 0.2f);
    EXPECT_EQ(values.mixLevel[1], 0.0f) << "an oscillator that is off runs to zero";
    EXPECT_EQ(values.oscRange[1], 5) << "steps end in their lists";
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
