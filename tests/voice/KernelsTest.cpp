// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/FlushDenormals.h"
#include "controls/ControlTable.h"
#include "engine/ControlMapping.h"
#include "engine/Smoothers.h"
#include "PlainFilter.h"
#include "PlainVoice.h"
#include "voice/FilterBank.h"
#include "voice/VoiceRack.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <deque>
#include <random>

namespace zephra {
namespace {

/// Draws settings over their whole ranges, ends included.
class Dice {
public:
    explicit Dice(unsigned seed) : engine(seed) {}

    int below(int n) { return static_cast<int>(engine() % static_cast<unsigned>(n)); }
    bool once(int in) { return below(in) == 0; }
    /// Every fourth an end of the range, many near the low one: short times, for the scenes are.
    float real(float low, float high)
    {
        const auto x = std::uniform_real_distribution<float>()(engine);
        return low + (high - low) * (once(4) ? std::round(x) : once(2) ? x * x * x : x);
    }

    /// What the engine makes of controls.
    EngineValues values(double fs)
    {
        using enum PolyMode;
        EngineTargets targets;
        for (const ControlInfo& control : kControls)
            if (control.isStored()) {
                const auto value = static_cast<double>(real(0.0f, control.scale));
                mapControl(targets, control.id, intake(control.id, value), fs, false);
            }
        EngineValues v;
        snapSmoothedValues(v, targets, 0.0);
        stepSmoothers(v, targets, 0.0, 1.0f);
        v.polyMode = std::array{Mono, Unison, Poly4, Poly8}[static_cast<std::size_t>(below(4))];
        v.lfoIncrement = static_cast<double>(real(0.1f, 20.0f)) / (8.0 * fs);
        return v;
    }

    void play(Performance& p)
    {
        p.modWheelNow = real(0.0f, 1.0f);
        p.pedalUp = !once(4);
        for (auto* controller : {&p.aftertouch, &p.expression, &p.foot, &p.timbre})
            controller->fill(real(0.0f, 1.0f));
        p.pitchBendNow.fill(once(2) ? 0.0f : real(-1.0f, 1.0f));
    }

private:
    std::mt19937 engine;
};

/// Voices and filter, those of one instruction set or of plain numbers.
struct Instrument {
    Instrument(const char* title, VoiceKernel kernel, Isa isa, double fs)
        : name(title), rack(0, kernel), filter(isa)
    {
        rack.setSampleRate(fs);
        filter.setSampleRate(fs);
    }

    const char* name;
    VoiceRack rack;
    LaneBuffer buffer;
    FilterBank filter;
    std::array<float, kMaxStretch> left, right;
};

/// Index of the first number that differs in a bit, or `count`.
int firstDifference(const float* a, const float* b, int count)
{
    const auto same = [](const float& x, const float& y) {
        return std::memcmp(&x, &y, sizeof x) == 0;
    };
    return static_cast<int>(std::mismatch(a, a + count, b, same).first - a);
}

TEST(Kernels, GiveTheBytesOfPlainNumbers)
{
    const FlushDenormals asThePluginRuns;
    constexpr double kRates[] = {44100.0, 48000.0, 96000.0, 192000.0};
    int failedSolves = 0;
    for (unsigned scene = 0; scene < 80; ++scene) {
        Dice dice(scene);
        const double fs = kRates[dice.below(4)];
        EngineValues values = dice.values(fs);
        Performance performance;
        test::PlainFilter plainFilter(fs);
        plainFilter.reset(values);
        std::deque<Instrument> all;
        Instrument& plain = all.emplace_back("plain", test::renderPlainVoices, Isa::baseline, fs);
        for (const Isa isa : {Isa::baseline, Isa::avx2, Isa::avx512})
            if (isa <= widestIsa())
                all.emplace_back(nameOf(isa), voiceKernel(isa), isa, fs);
        for (auto walkers : {&DriftRows<Lanes>::drift1, &DriftRows<Lanes>::drift2})
            for (std::size_t lane = 0; lane < kVoices; ++lane)
                for (const double at = dice.real(0.0f, 1.0f); Instrument & i : all)
                    (i.rack.lanes.drift.*walkers)[lane] = at;

        for (int stretch = 0; stretch < 60; ++stretch) {
            if (dice.once(20)) {
                const EngineValues before = values;
                values = dice.values(fs);
                if (dice.once(4)) {
                    plainFilter.reset(values);
                    for (Instrument& i : all)
                        i.filter.reset();
                } else {
                    values.polyMode = before.polyMode;
                    values.revision = before.revision;
                }
            }
            if (dice.once(5))
                dice.play(performance);
            const int pressed = dice.once(3) ? dice.below(8) : -1, note = dice.below(128);
            const int released = dice.once(4) ? dice.below(8) : -1;
            const bool anew = !dice.once(3), shares = dice.once(10);
            const int count = 8 * (1 + dice.below(dice.once(2) ? 64 : 4));
            const int lanes = values.polyMode == PolyMode::Poly8 ? 8 : 4;
            const auto framesOf = [lanes](Instrument& i) {
                return lanes == 8 ? i.buffer.eight.data() : i.buffer.four.data();
            };
            for (Instrument& i : all) {
                if (pressed >= 0)
                    i.rack[pressed].startNote(values, anew, note, 0.7f, pressed);
                if (released >= 0)
                    i.rack[released].released = true;
                if (shares)
                    i.rack.shareOscillator3();
                i.rack.render(values, performance, i.buffer, 0, count);
                const int at = firstDifference(framesOf(i), framesOf(plain), 4 * lanes * count);
                constexpr std::size_t kStateBytes = // without the padding at the end
                    offsetof(VoiceLanes, random) + sizeof(VoiceLanes::random);
                ASSERT_TRUE(at == 4 * lanes * count &&
                            std::memcmp(&i.rack.lanes, &plain.rack.lanes, kStateBytes) == 0)
                    << i.name << ", scene " << scene << ", stretch " << stretch << ", sample "
                    << at / (4 * lanes) << ", stream " << at / lanes % 4 << ", lane " << at % lanes;
            }

            if (dice.once(10)) { // a signal that the ladder cannot follow
                const int at = 4 * lanes * dice.below(count) + dice.below(lanes);
                const float wild = dice.once(4) ? INFINITY : dice.real(-1e5f, 1e5f);
                for (Instrument& i : all)
                    framesOf(i)[at] = wild;
            }
            plainFilter.process(values, plain.buffer, count, plain.left.data(), plain.right.data());
            for (Instrument& i : all) {
                if (&i != &plain)
                    i.filter.process(values, i.buffer, count, i.left.data(), i.right.data());
                const int at = std::min(firstDifference(i.left.data(), plain.left.data(), count),
                                        firstDifference(i.right.data(), plain.right.data(), count));
                ASSERT_EQ(at, count) << i.name << ", scene " << scene << ", stretch " << stretch;
                ASSERT_TRUE(std::all_of(i.left.begin(), i.left.begin() + count,
                                        [](float x) { return std::isfinite(x); }));
            }
        }
        failedSolves += plainFilter.failedSolves;
    }
    EXPECT_GT(failedSolves, 100) << "a solve that fails is among what was compared";
    if (widestIsa() < Isa::avx512)
        GTEST_SKIP() << "not all instruction sets are on this machine";
}

} // namespace
} // namespace zephra
