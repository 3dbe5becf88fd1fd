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
    const auto apart = [](float width) { // difference of the channels after the input
        const Stereo out = played<TypeParam>({.width = width}, noise(48000, 24000));
        Stereo difference(22000);
        for (std::size_t i = 0; i < 22000; ++i)
            difference.left[i] = out.left[26000 + i] - out.right[26000 + i];
        return rms(difference.left, 0, 22000) / rms(out.left, 26000, 22000);
    };
    EXPECT_LT(apart(0.0f), 0.01);
    EXPECT_GT(apart(0.5f), 0.3);
    EXPECT_GT(apart(1.0f), 1.2) << "strangers are 1.4 apart";
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
        this->rig.play(Stereo(88200), row.fade);
        const Stereo out = this->rig.play(impulse(1), row.fade);
        EXPECT_NEAR(1.0 - out.left[0], TypeParam::kIsDelay ? row.delay : row.reverb, 1e-4)
            << row.control << " by " << row.fade;
    }
}

TYPED_TEST(Effects, ResetAndNewRateLeaveNoTail)
{
    this->rig.prepare({.time = 1.0f, .tone = 1.0f});
    const auto tail = [&](auto act) {
        this->rig.play(noise(48000, 48000));
        act();
        return peak(this->rig.play(Stereo(48000)));
    };
    EXPECT_GT(tail([&] { this->rig.effect.setSampleRate(48000.4); }), 0.1f) << "the same rate";
    EXPECT_EQ(tail([&] { this->rig.effect.reset(); }), 0.0f);
    EXPECT_LT(this->rig.play(impulse(1)).left[0], 0.011) << "controls stay";
    EXPECT_EQ(tail([&] { this->rig.effect.setSampleRate(96000.0); }), 0.0f);
}

TYPED_TEST(Effects, StayFiniteAndBoundedWhateverIsTurned)
{
    for (const double fs : {44100.0, 50001.0, 87382.0, 150001.0, 262150.0, 384000.0}) {
        this->rig.effect.setSampleRate(fs);
        Random15 random;
        const auto any = [&random] { // an end, the middle, or half the range beyond an end
            return static_cast<float>(random.next() % 5 - 1) / 2.0f;
        };
        for (int step = 0; step < 50; ++step) {
            const float tone = step < 25 ? 1.0f : any();
            this->rig.turn({.time = any(), .tone = tone, .width = any(), .dryWet = any()});
            // The sum of all repeats of the delay at full feedback is 20.
            const Stereo square = sound(5000, 5000, [](int i) { return i / 100 % 2 ? 1 : -1; });
            ASSERT_LT(peak(this->rig.play(square)), 25.0f) << "at " << fs;
        }
    }
}

} // namespace
} // namespace zephra
