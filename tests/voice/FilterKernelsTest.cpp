// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/FlushDenormals.h"
#include "LaneWriter.h"
#include "PlainFilter.h"
#include "voice/FilterBank.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>

namespace zephra {
namespace {

/// Settings and streams at random, now and then at the ends of their ranges.
class Chance {
public:
    float operator()(float low, float high)
    {
        const auto r = static_cast<float>(random() % 65537) / 65536.0f;
        return random() % 8 == 0 ? (r < 0.5f ? low : high) : low + (high - low) * r;
    }
    bool coin() { return random() % 2 == 0; }

    void turnControls(EngineValues& v)
    {
        v.drive = (*this)(0.0f, 1.0f);
        v.feedback = coin() ? 0.0f : (*this)(0.0f, 8.0f);
        v.symmetry = (*this)(-0.1f, 0.1f);
        v.saturation = (*this)(0.0f, 1.0f);
        v.unisonSpread = (*this)(0.0f, 1.0f);
        v.filter24dB = coin();
        v.filterBandPass = coin();
    }
    /// Every lane walks from its last frame to another one; now and then one falls silent.
    void fill(LaneBuffer& buffer, bool eight, int count)
    {
        const int lanes = eight ? 8 : 4;
        for (int lane = 0; lane < lanes; ++lane) {
            LaneWriter out(buffer, eight, lane);
            const float loud = random() % 8 == 0 ? 0.0f : (*this)(0.0f, 3.0f);
            const float cutoff = (*this)(0.0f, 1.0f),
                        step = ((*this)(0.0f, 1.0f) - cutoff) / 600.0f;
            const float amplitude = loud * (*this)(0.0f, 1.0f), resonance = (*this)(0.0f, 6.0f);
            for (int i = 0; i < count; ++i)
                out.write(loud * (*this)(-1.0f, 1.0f), cutoff + step * static_cast<float>(i),
                          amplitude, resonance);
        }
    }

    std::mt19937 random{20};
};

class FilterKernels : public testing::TestWithParam<Isa> {};

TEST_P(FilterKernels, GiveTheBytesOfPlainNumbers)
{
    if (GetParam() > widestIsa())
        GTEST_SKIP() << "not on this machine";
    const FlushDenormals guard;
    Chance chance;
    const auto buffer = std::make_unique<LaneBuffer>();
    for (const PolyMode mode :
         {PolyMode::Mono, PolyMode::Unison, PolyMode::Poly4, PolyMode::Poly8}) {
        for (const Revision revision : {Revision::Late, Revision::Early}) {
            for (const double fs : {44100.0, 192000.0}) {
                EngineValues values;
                values.polyMode = mode;
                values.revision = revision;
                test::PlainFilter plain(values, fs);
                FilterBank bank(GetParam());
                bank.setSampleRate(fs);
                for (int call = 0; call < 40; ++call) {
                    const int count = 8 * (1 + static_cast<int>(chance.random() % 64));
                    chance.turnControls(plain.values);
                    chance.fill(*buffer, mode == PolyMode::Poly8, count);
                    std::array<float, kMaxStretch> left, right;
                    bank.process(plain.values, *buffer, count, left.data(), right.data());
                    for (int i = 0; i < count; ++i) {
                        const auto at = static_cast<std::size_t>(i);
                        float l = 0.0f, r = 0.0f;
                        plain.render(*buffer, at, l, r);
                        ASSERT_TRUE(std::memcmp(&left[at], &l, sizeof l) == 0 &&
                                    std::memcmp(&right[at], &r, sizeof r) == 0)
                            << "mode " << static_cast<int>(mode) << ", revision "
                            << static_cast<int>(revision) << ", call " << call << ", sample " << i
                            << ": " << left[at] << " for " << l;
                    }
                    plain.endCall();
                }
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Sets, FilterKernels,
                         testing::Values(Isa::baseline, Isa::avx2, Isa::avx512),
                         [](const auto& set) { return nameOf(set.param); });

} // namespace
} // namespace zephra
