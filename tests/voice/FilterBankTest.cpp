// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/FilterBank.h"
#include "support/Spectrum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <vector>

namespace zephra {
namespace {

constexpr double kFs = 44100.0;
constexpr double kFs8 = 8.0 * kFs;

struct Frame {
    float signal, cutoff, amplitude, resonance;
};

/// The bank with one kind of frame in each lane, rendered in sub-blocks of 512.
struct Bank {
    explicit Bank(PolyMode mode, Revision revision)
    {
        bank.setSampleRate(kFs);
        values.polyMode = mode;
        values.revision = revision;
        values.unisonSpread = 1e-5;
        values.symmetry = 0.0f;
    }
    template <class F> void render(int samples, F frameOf) // frameOf(sample, lane)
    {
        const int laneCount = values.polyMode == PolyMode::Poly8 ? 8 : 4;
        for (int done = 0; done < samples; done += kMaxStretch) {
            for (int lane = 0; lane < laneCount; ++lane) {
                LaneWriter out(*buffer, laneCount == 8, 0, lane);
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
    /// Level at `hz` of a small sine in lane 0 after the settling.
    double sineLevel(double hz, float cutoff)
    {
        left.clear();
        render(kMaxStretch * 200, [&](int i, int lane) {
            const double s = 0.1 * std::sin(2.0 * M_PI * hz / kFs8 * i);
            return Frame{lane == 0 ? static_cast<float>(s) : 0.0f, cutoff, lane == 0 ? 0.5f : 0.0f,
                         0.0f};
        });
        const std::vector<float> tail(left.begin() + kMaxStretch * 100, left.end());
        return test::amplitude(tail, hz / kFs8);
    }

    EngineValues values;
    FilterBank bank;
    std::unique_ptr<LaneBuffer> buffer = std::make_unique<LaneBuffer>();
    std::vector<float> left, right;
};

float entryOf(double hz) { return static_cast<float>(std::log2(hz / 26.0) * 3072.0 / 32726.0); }

TEST(FilterBank, TapsGiveTheirSlopesAndBandPasses)
{
    struct Row {
        bool slope24, bandPass;
        double octaveUp, octaveDown; ///< dB far above and far below the cutoff
    };
    constexpr Row kRows[] = {{true, false, -24.0, 0.0},
                             {false, false, -12.0, 0.0},
                             {true, true, -12.0, -12.0},
                             {false, true, -6.0, -6.0}};
    for (const Revision revision : {Revision::Late, Revision::Early}) {
        for (const Row& row : kRows) {
            Bank b(PolyMode::Poly4, revision);
            b.values.filter24dB = row.slope24;
            b.values.filterBandPass = row.bandPass;
            const float cutoff = entryOf(1000.0);
            const double up =
                test::decibels(b.sineLevel(16000.0, cutoff) / b.sineLevel(8000.0, cutoff));
            const double down =
                test::decibels(b.sineLevel(62.5, cutoff) / b.sineLevel(125.0, cutoff));
            EXPECT_NEAR(up, row.octaveUp, 1.2) << row.slope24 << row.bandPass;
            EXPECT_NEAR(down, row.octaveDown, 1.2) << row.slope24 << row.bandPass;
        }
    }
}

TEST(FilterBank, FourAndEightLanesAgreeOnTheLinearisedForm)
{
    Bank four(PolyMode::Poly4, Revision::Early);
    Bank eight(PolyMode::Poly8, Revision::Late); // filter and constants are the linearised ones
    const auto frame = [](int i, int lane) {
        const auto s = static_cast<float>(std::sin(0.01 * i * (lane + 1)));
        return lane < 4 ? Frame{s, 0.5f + 0.05f * static_cast<float>(lane), 0.7f, 3.0f}
                        : Frame{0.0f, 0.5f, 0.0f, 0.0f};
    };
    four.values.saturation = eight.values.saturation = 0.3f;
    four.render(4096, frame);
    eight.render(4096, frame);
    // The idle lanes of the second group still pass a bias through their amplifier of zero.
    EXPECT_EQ(four.left, eight.left);
    EXPECT_EQ(four.right, eight.right);
}

TEST(FilterBank, MonoIsTheFirstLaneTwiceOnBothSides)
{
    Bank mono(PolyMode::Mono, Revision::Late);
    Bank poly(PolyMode::Poly4, Revision::Late);
    const auto frame = [](int i, int lane) {
        const auto s = static_cast<float>(0.5 * std::sin(0.02 * i));
        return lane == 0 ? Frame{s, 0.7f, 0.8f, 1.0f} : Frame{0, 0, 0, 0};
    };
    mono.render(8192, frame);
    poly.render(8192, frame);
    EXPECT_EQ(mono.left, mono.right);
    for (std::size_t i = 4096; i < 8192; ++i)
        EXPECT_NEAR(mono.left[i], 2.0f * poly.left[i], 1e-3f);
}

TEST(FilterBank, PanByModeAndSpread)
{
    struct Row {
        PolyMode mode;
        double spread;
        double right[4]; ///< right over left, per lane
    };
    constexpr double kHardRight = 1e9;
    constexpr Row kRows[] = {
        {PolyMode::Poly4, 0.0, {1, 1, 1, 1}},
        {PolyMode::Poly4, 0.5, {2, 0.5, 2, 0.5}},
        {PolyMode::Poly4, 1.0, {kHardRight, 0, kHardRight, 0}},
        {PolyMode::Unison, 1.0, {0, 2.0 / 3.0, 1.5, kHardRight}},
        {PolyMode::Unison, 0.5, {0.5, 5.0 / 6.0, 1.2, 2.0}},
    };
    for (const Row& row : kRows) {
        for (int sounding = 0; sounding < 4; ++sounding) {
            Bank b(row.mode, Revision::Early);
            b.values.unisonSpread = row.spread;
            b.render(8192, [&](int i, int lane) {
                const auto s = static_cast<float>(0.5 * std::sin(0.05 * i));
                return lane == sounding ? Frame{s, 0.8f, 0.8f, 0.0f} : Frame{0, 0.8f, 0, 0};
            });
            const double l = test::amplitude(b.left, 0.05 / (2.0 * M_PI));
            const double r = test::amplitude(b.right, 0.05 / (2.0 * M_PI));
            const double wanted = row.right[sounding];
            if (wanted == kHardRight) {
                EXPECT_LT(l, 1e-3 * r);
            } else {
                EXPECT_NEAR(r / l, wanted, 1e-3) << "lane " << sounding;
            }
        }
    }
}

TEST(FilterBank, EnvelopeAloneThumps)
{
    for (const Revision revision : {Revision::Late, Revision::Early}) {
        Bank b(PolyMode::Poly4, revision);
        b.render(4096, [](int i, int) { return Frame{0, 0.5f, i > 1000 ? 0.8f : 0.0f, 0}; });
        float peak = 0.0f;
        for (std::size_t i = 1001; i < b.left.size(); ++i)
            peak = std::max(peak, std::fabs(b.left[i]));
        EXPECT_GT(peak, 1e-4f) << "control feed-through";
        EXPECT_LT(peak, 0.2f);
    }
}

TEST(FilterBank, FeedbackPassesTheAmplifierSoASilentOneClosesIt)
{
    Bank b(PolyMode::Poly4, Revision::Late);
    b.values.feedback = 8.0f;
    b.values.saturation = 1.0f;
    const auto tone = [](float amplitude) {
        return [amplitude](int i, int) {
            return Frame{static_cast<float>(0.3 * std::sin(0.02 * i)), 0.8f, amplitude, 0.0f};
        };
    };
    b.render(40960, tone(0.9f));
    float loud = 0.0f;
    for (const float x : b.left)
        loud = std::max(loud, std::fabs(x));
    EXPECT_GT(loud, 0.5f);
    EXPECT_LT(loud, 8.0f) << "held by the tanh";
    b.left.clear();
    b.render(40960, tone(0.0f));
    EXPECT_LT(std::fabs(b.left.back()), 0.05f);
}

TEST(FilterBank, ABrokenLaneRecoversAndSparesTheOthers)
{
    for (const PolyMode mode : {PolyMode::Poly4, PolyMode::Poly8}) {
        for (const Revision revision : {Revision::Late, Revision::Early}) {
            Bank b(mode, revision);
            const auto tone = [](int i, int) {
                return Frame{static_cast<float>(0.3 * std::sin(0.02 * i)), 0.6f, 0.8f, 2.0f};
            };
            b.render(1024, tone);
            b.render(512, [&](int i, int lane) {
                Frame f = tone(i, lane);
                if (lane == 1 && i == 100)
                    f.signal = std::numeric_limits<float>::infinity();
                return f;
            });
            b.left.clear();
            b.render(4096, tone);
            for (const float x : b.left)
                ASSERT_TRUE(std::isfinite(x));
            EXPECT_GT(test::amplitude(b.left, 0.02 / (2.0 * M_PI)), 0.1);
        }
    }
}

} // namespace
} // namespace zephra
