// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/FilterBank.h"
#include "LaneWriter.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace zephra {
namespace {

constexpr double kFs8 = 8.0 * 44100.0;

struct Frame {
    float signal, cutoff, amplitude, resonance;
};

/// The bank with one kind of frame in each lane, rendered in sub-blocks of 512.
struct Bank {
    Bank(PolyMode mode, Revision revision)
    {
        bank.setSampleRate(44100.0);
        values.polyMode = mode;
        values.revision = revision;
        values.unisonSpread = 1e-5;
        values.symmetry = 0.0f;
    }
    /// What comes out for frameOf(sample, lane).
    template <class F> void render(int samples, F frameOf)
    {
        left.clear();
        right.clear();
        const int laneCount = values.polyMode == PolyMode::Poly8 ? 8 : 4;
        for (int done = 0; done < samples; done += kMaxStretch) {
            for (int lane = 0; lane < laneCount; ++lane) {
                LaneWriter out(*buffer, laneCount == 8, lane);
                for (int i = 0; i < kMaxStretch; ++i) {
                    const Frame f = frameOf(done + i, lane);
                    out.write(f.signal, f.cutoff, f.amplitude, f.resonance);
                }
            }
            float l[kMaxStretch], r[kMaxStretch];
            bank.process(values, *buffer, kMaxStretch, l, r);
            left.insert(left.end(), l, l + kMaxStretch);
            right.insert(right.end(), r, r + kMaxStretch);
        }
    }
    EngineValues values;
    FilterBank bank;
    std::unique_ptr<LaneBuffer> buffer = std::make_unique<LaneBuffer>();
    std::vector<float> left, right;
};

constexpr Frame kIdle{0.0f, 0.5f, 0.0f, 0.0f};
const auto kOneKilohertz = static_cast<float>(std::log2(1000.0 / 26.0) * 3072.0 / 32726.0);

float sine(int i, double level, double step)
{
    return static_cast<float>(level * std::sin(step * i));
}

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
            Bank b(PolyMode::Poly4, revision);
            b.values.filter24dB = row.slope24;
            b.values.filterBandPass = row.bandPass;
            const auto level = [&](double hz, float resonance = 0.0f) {
                for (int turn = 0; turn < 2; ++turn) // the first settles
                    b.render(kMaxStretch * 100, [&](int i, int lane) {
                        const float s = sine(i, 0.1, 2.0 * M_PI * hz / kFs8);
                        return lane == 0 ? Frame{s, kOneKilohertz, 0.5f, resonance} : kIdle;
                    });
                return test::amplitude(b.left, hz / kFs8);
            };
            EXPECT_NEAR(test::decibels(level(16000.0) / level(8000.0)), row.octaveUp, 1.2);
            const double low = level(62.5);
            EXPECT_NEAR(test::decibels(low / level(125.0)), row.octaveDown, 1.2);
            open = open > 0.0 ? open : low;
            const double corner = revision == Revision::Early ? 1060.0 : 1000.0;
            const double atCutoff = level(corner);
            EXPECT_NEAR(test::decibels(atCutoff / open), row.atCutoff, 0.5);
            // The ladder turns the phase there by half a turn and passes a quarter: two round the
            // loop double it.
            EXPECT_NEAR(test::decibels(level(corner, 2.0f) / atCutoff), 6.02, 0.3);
        }
    }
}

TEST(FilterBank, SelfOscillatesAtTheCutoffAboveLoopGainFour)
{
    for (const Revision revision : {Revision::Late, Revision::Early}) {
        for (const float resonance : {3.6f, 5.0f}) {
            Bank b(PolyMode::Poly4, revision);
            for (int turn = 0; turn < 2; ++turn) // a kick, and what is left of it
                b.render(kMaxStretch * 400, [=](int i, int lane) {
                    const float kick = turn == 0 && i < 200 ? 0.5f : 0.0f;
                    return lane == 0 ? Frame{kick, kOneKilohertz, 0.5f, resonance} : kIdle;
                });
            const bool rings = resonance > 4.0f;
            const float peak = *std::ranges::max_element(b.left);
            EXPECT_TRUE(rings ? peak > 0.05f && peak < 1.5f : peak < 1e-3f) << peak;
            int crossings = 0;
            for (std::size_t i = 1; i < b.left.size(); ++i)
                crossings += b.left[i - 1] < 0.0f && b.left[i] >= 0.0f;
            const double hz = crossings * kFs8 / static_cast<double>(b.left.size());
            EXPECT_NEAR(rings ? hz : 1000.0, 1000.0, 100.0); // the loop high-pass lifts the bass
        }
    }
}

TEST(FilterBank, FourAndEightLanesAgreeOnTheLinearisedForm)
{
    for (const int firstLane : {0, 4}) {
        Bank four(PolyMode::Poly4, Revision::Early);
        Bank eight(PolyMode::Poly8, Revision::Late); // filter and constants are the linearised ones
        for (Bank* bank : {&four, &eight})
            bank->render(4096, [=, &eight](int i, int lane) {
                const int voice = bank == &eight ? lane - firstLane : lane;
                return voice >= 0 && voice < 4
                           ? Frame{sine(i, 1.0, 0.01 * (voice + 1)), 0.5f, 0.7f, 3.0f}
                           : kIdle;
            });
        EXPECT_EQ(four.left, eight.left);
        EXPECT_EQ(four.right, eight.right);
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
        {PolyMode::Poly4, 1.0, {kHardRight, 0, kHardRight, 0}},
        {PolyMode::Unison, 1.0, {0, 2.0 / 3.0, 1.5, kHardRight}},
        {PolyMode::Unison, 0.5, {0.5, 5.0 / 6.0, 1.2, 2.0}},
    };
    for (const auto& row : kRows) {
        for (int sounding = 0; sounding < (row.mode == PolyMode::Mono ? 1 : 4); ++sounding) {
            Bank b(row.mode, Revision::Early);
            b.values.unisonSpread = row.spread;
            b.render(8192, [&](int i, int lane) {
                return lane == sounding ? Frame{sine(i, 0.5, 0.05), 0.8f, 0.8f, 0.0f} : kIdle;
            });
            const double l = test::amplitude(b.left, 0.05 / (2.0 * M_PI));
            const double r = test::amplitude(b.right, 0.05 / (2.0 * M_PI));
            if (row.right[sounding] == kHardRight) {
                EXPECT_LT(l, 1e-3 * r);
            } else {
                EXPECT_NEAR(r / l, row.right[sounding], 1e-3) << "lane " << sounding;
            }
        }
    }
}

TEST(FilterBank, FeedbackPassesTheAmplifierSoASilentOneClosesIt)
{
    Bank b(PolyMode::Poly4, Revision::Late);
    b.values.feedback = 8.0f;
    b.values.saturation = 1.0f;
    for (const float amplitude : {0.9f, 0.0f}) {
        b.render(40960, [amplitude](int i, int) {
            return Frame{sine(i, 0.3, 0.02), 0.8f, amplitude, 0.0f};
        });
        const float loud = *std::ranges::max_element(b.left);
        EXPECT_EQ(loud > 0.5f, amplitude > 0.0f);
        EXPECT_LT(loud, 8.0f) << "held by the tanh";
    }
    EXPECT_LT(std::fabs(b.left.back()), 0.05f);
}

TEST(FilterBank, ABrokenLaneRecoversAndSparesTheOthers)
{
    for (const PolyMode mode : {PolyMode::Poly4, PolyMode::Poly8}) {
        for (const Revision revision : {Revision::Late, Revision::Early}) {
            Bank b(mode, revision);
            const auto tone = [](int i, int lane) {
                const bool broken = lane == 1 && i == 1100;
                return Frame{broken ? std::numeric_limits<float>::infinity() : sine(i, 0.3, 0.02),
                             0.6f, 0.8f, 2.0f};
            };
            b.render(1536, tone);
            b.render(1024, tone);
            for (const float x : b.left)
                ASSERT_TRUE(std::isfinite(x));
            EXPECT_GT(test::amplitude(b.left, 0.02 / (2.0 * M_PI)), 0.1);
        }
    }
}

} // namespace
} // namespace zephra
