// SPDX-License-Identifier: GPL-3.0-or-later
#include "EffectRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using namespace test;

/// What delay and reverb have in common.
template <class Rig> class Effects : public testing::Test {
protected:
    Rig rig;
};
using BothEffects = testing::Types<Delay, Reverb>;
TYPED_TEST_SUITE(Effects, BothEffects);

TYPED_TEST(Effects, WidthGoesFromMonoToSeparateChannels)
{
    const auto together = [](float width) {
        return correlation(played<TypeParam>({.width = width}, noise(96000, 24000)), 26000);
    };
    EXPECT_GT(together(0.0f), 0.9999);
    EXPECT_LT(together(0.5f), 0.95);
    EXPECT_NEAR(together(1.0f), 0.0, 0.1);
}

TYPED_TEST(Effects, WetShareFollowsControlAndFade)
{
    const struct {
        float control, fade;
        double delay, reverb; ///< wet share
    } kRows[] = {
        {0.5f, 1.0f, 0.4996, 0.2476}, {1.0f, 0.0f, 0.0001, 0.0},     {9.0f, 1.0f, 0.9991, 0.9901},
        {NAN, 1.0f, 0.0001, 0.0001},  {-9.0f, 1.0f, 0.0001, 0.0001},
    };
    for (const auto& row : kRows) {
        this->rig.turn({.dryWet = row.control});
        this->rig.effect.reset();
        this->rig.play(Stereo(88200), 64, row.fade);
        const Stereo out = this->rig.play(impulse(1, 1.0f, 1.0f), 64, row.fade);
        const double wet = std::is_same_v<TypeParam, Delay> ? row.delay : row.reverb;
        EXPECT_NEAR(1.0 - out.left[0], wet, 1e-4) << row.control << " by " << row.fade;
    }
}

TYPED_TEST(Effects, BlockLengthDoesNotMatter)
{
    // So loud that the cleaning of small states at block ends is lost in the rounding.
    const Stereo in = noise(30000, 20000, 1e6f);
    const auto render = [&](int block) {
        TypeParam fresh;
        fresh.turn({.time = 0.7f, .tone = 0.3f, .width = 0.7f, .dryWet = 0.8f});
        return fresh.play(in, block);
    };
    for (const int block : {1, 63, 64})
        EXPECT_TRUE(render(block) == render(in.frames())) << block;
}

TYPED_TEST(Effects, ResetAndNewRateLeaveNoTail)
{
    prepare(this->rig, {.time = 1.0f, .tone = 1.0f});
    const auto tail = [&](auto act) {
        this->rig.play(noise(48000, 48000));
        act();
        return peak(this->rig.play(Stereo(48000)));
    };
    EXPECT_GT(tail([&] { this->rig.effect.setSampleRate(48000.4); }), 0.1f) << "the same rate";
    EXPECT_EQ(tail([&] { this->rig.effect.reset(); }), 0.0f);
    EXPECT_LT(this->rig.play(impulse(1, 1.0f, 1.0f)).left[0], 0.011) << "controls stay";
    EXPECT_EQ(tail([&] { this->rig.effect.setSampleRate(96000.0); }), 0.0f);
}

TYPED_TEST(Effects, StayFiniteAndBoundedWhateverIsTurned)
{
    for (const double fs : {44100.0, 50001.0, 87382.0, 150001.0, 262150.0, 384000.0}) {
        this->rig.effect.setSampleRate(fs);
        Random15 random;
        const auto anyControl = [&random] { // an end, the middle, or half the range beyond an end
            return static_cast<float>(random.next() % 5 - 1) / 2.0f;
        };
        for (int step = 0; step < 50; ++step) {
            this->rig.turn({.time = anyControl(),
                            .tone = step < 25 ? 1.0f : anyControl(),
                            .width = anyControl(),
                            .dryWet = anyControl()});
            // The sum of all repeats of the delay at full feedback is 20.
            ASSERT_LT(peak(this->rig.play(square(5000, 100))), 25.0f) << "at " << fs;
        }
    }
}

} // namespace
} // namespace zephra
