// SPDX-License-Identifier: GPL-3.0-or-later
#include "support/Spectrum.h"
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

/// The filter at 1 kHz (Early 1060 Hz).
struct FilterRig : VoiceRig {
    explicit FilterRig(Revision revision)
    {
        values.revision = revision;
        values.cutoff = static_cast<float>(std::log2(1000.0 / 26.0) * 3072.0 / 32726.0);
        values.cutoffRangeFactor = revision == Revision::Early ? 1.0f / 0.982f : 1.0f;
        values.symmetry = 0.0f;
        start(60);
    }
    /// Gain at a frequency with a soft saw.
    double gainAt(double hz)
    {
        fixOscillator3(hz);
        values.mixLevel[2] = 0.1f;
        play(kMaxStretch * 100); // settles
        play(kMaxStretch * 100);
        return test::amplitude(left, hz / fs8) / test::amplitude(lanes[0].signal, hz / fs8);
    }
};

TEST(FilterBank, TapsGiveTheirSlopesBandPassesAndResonance)
{
    constexpr struct {
        bool slope24, bandPass;
        double octaveUp, octaveDown; ///< dB far above and far below the cutoff
        double atCutoff;             ///< dB against the open 24 dB low-pass
    } kRows[] = {{true, false, -24.0, 0.0, -12.0},
                 {false, false, -12.0, 0.0, -6.0},
                 {true, true, -12.0, -12.0, -6.0},
                 {false, true, -6.0, -6.0, -6.0}};
    for (const Revision revision : {Revision::Late, Revision::Early}) {
        double open = 0.0;
        for (const auto& row : kRows) {
            FilterRig rig(revision);
            rig.values.filter24dB = row.slope24;
            rig.values.filterBandPass = row.bandPass;
            const double low = rig.gainAt(62.5);
            open = open > 0.0 ? open : low;
            EXPECT_NEAR(test::decibels(rig.gainAt(16000.0) / rig.gainAt(8000.0)), row.octaveUp,
                        1.2);
            EXPECT_NEAR(test::decibels(low / rig.gainAt(125.0)), row.octaveDown, 1.2);
            const double corner = revision == Revision::Early ? 1060.0 : 1000.0;
            const double atCutoff = rig.gainAt(corner);
            EXPECT_NEAR(test::decibels(atCutoff / open), row.atCutoff, 0.5);
            // The ladder turns the phase there by half a turn and passes a quarter: two round the
            // loop double it.
            rig.values.resonance = 2.0f / rig.values.resonanceRange;
            EXPECT_NEAR(test::decibels(rig.gainAt(corner) / atCutoff), 6.02, 0.3);
        }
    }
}

TEST(FilterBank, SelfOscillatesAtTheCutoffAboveLoopGainFour)
{
    for (const Revision revision : {Revision::Late, Revision::Early})
        for (const float range : {3.6f, 5.0f}) {
            FilterRig rig(revision);
            rig.values.resonance = 1.0f;
            rig.values.resonanceRange = range;
            rig.playFor(0.5); // the noise floor wakes it
            rig.playFor(0.2);
            const float peak = *std::ranges::max_element(rig.left);
            if (range < 4.0f) {
                EXPECT_LT(peak, 2e-3f);
                continue;
            }
            EXPECT_TRUE(peak > 0.1f && peak < 3.0f) << peak;
            double cycles = 0.0;
            for (std::size_t i = 1; i < rig.left.size(); ++i)
                cycles += rig.left[i - 1] < 0.0f && rig.left[i] >= 0.0f;
            EXPECT_NEAR(cycles / 0.2, 1000.0, 100.0); // the loop high-pass lifts the bass
        }
}

TEST(FilterBank, PanByModeAndSpread)
{
    constexpr double kHardRight = 1e9;
    constexpr struct {
        PolyMode mode;
        double spread;
        double right[4]; ///< right over left, per lane
    } kRows[] = {
        {PolyMode::Mono, 1.0, {1, 1, 1, 1}},
        {PolyMode::Poly4, 0.5, {2, 0.5, 2, 0.5}},
        {PolyMode::Poly8, 1.0, {kHardRight, 0, kHardRight, 0}},
        {PolyMode::Unison, 1.0, {0, 2.0 / 3.0, 1.5, kHardRight}},
        {PolyMode::Unison, 0.5, {0.5, 5.0 / 6.0, 1.2, 2.0}},
    };
    for (const auto& row : kRows) {
        for (int sounding = 0; sounding < std::min(voicesOf(row.mode), 4); ++sounding) {
            FilterRig rig(Revision::Late);
            rig.values.polyMode = row.mode;
            rig.values.unisonSpread = row.spread;
            rig.values.modSlots[0] = {ModSource::Velocity, 1.0f, ModTarget::Volume};
            for (int voice = 0; voice < voicesOf(row.mode); ++voice)
                rig.start(60, voice, voice % 4 == sounding ? 1.0f : 0.0f);
            rig.gainAt(1000.0);
            const double l = test::amplitude(rig.left, 1000.0 / rig.fs8);
            const double r = test::amplitude(rig.right, 1000.0 / rig.fs8);
            if (row.right[sounding] == kHardRight)
                EXPECT_LT(l, 1e-3 * r);
            else
                EXPECT_NEAR(r / l, row.right[sounding], 2e-3) << "lane " << sounding;
        }
    }
}

} // namespace
} // namespace zephra
