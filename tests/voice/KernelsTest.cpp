// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/FlushDenormals.h"
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
    /// Every fourth an end of the range.
    double real(double low, double high)
    {
        if (once(4))
            return once(2) ? low : high;
        return low + (high - low) * std::uniform_real_distribution<>()(engine);
    }
    float real(float low, float high)
    {
        return static_cast<float>(real(double{low}, double{high}));
    }
    double geometric(double low, double high)
    {
        return std::exp(real(std::log(low), std::log(high)));
    }

    EngineValues values(double fs8)
    {
        constexpr PolyMode kModes[] = {PolyMode::Mono, PolyMode::Unison, PolyMode::Poly4,
                                       PolyMode::Poly8};
        EngineValues v;
        v.polyMode = kModes[below(4)];
        v.revision = once(2) ? Revision::Early : Revision::Late;
        for (bool* is : {&v.osc3KeyTrack, &v.osc3LoSync, &v.noiseIsPink, &v.modOscOn, &v.modFltOn,
                         &v.filter24dB, &v.filterBandPass})
            *is = once(2);
        for (float* x : {&v.unisonDetune, &v.noiseLevel, &v.cutoff, &v.resonance, &v.keytrack,
                         &v.drive, &v.saturation, &v.filterEnvAmount, &v.filterAttackNorm,
                         &v.filterReleaseNorm, &v.modulationMix, &v.modShape})
            *x = real(0.0f, 1.0f);
        for (float* x : {&v.modPitchRange, &v.modCutoffRange})
            *x = real(0.5f, 2.0f);
        struct Range {
            double* value;
            double low, high;
        };
        for (const auto& [value, low, high] : {Range{&v.unisonSpread, 0.0, 1.0},
                                               {&v.coarseFactor, 0.25, 4.0},
                                               {&v.fineFactor, 0.94, 1.06},
                                               {&v.oscKeytrackSlope, 1.99437, 2.00563},
                                               {&v.oscDrift, 0.0, 0.0025},
                                               {&v.osc3FixedRate, 0.1 / fs8, 20.0 / fs8},
                                               {&v.lfoIncrement, 0.1 / fs8, 20.0 / fs8},
                                               {&v.filterSustain, 0.035, 1.027},
                                               {&v.ampSustain, 0.0, 1.0}})
            *value = real(low, high);
        for (const auto& [value, low, high] : {Range{&v.glideRate, 1e-4, 1.0},
                                               {&v.filterAttackSeconds, 0.0009, 1.0},
                                               {&v.filterDecay, 0.003, 10.0},
                                               {&v.filterRelease, 0.003, 10.0},
                                               {&v.ampReleaseMs, 2.5, 10.0}})
            *value = geometric(low, high);
        for (std::size_t k = 0; k < 3; ++k) {
            v.oscWave[k] = static_cast<Wave>(below(7));
            v.oscRange[k] = below(6);
            v.oscSemi[k] = real(-7.0f, 7.0f);
            v.oscFine[k] = real(-0.5f, 0.5f);
            v.oscStartPhase[k] = real(0.0f, 1.0f);
            v.mixLevel[k] = real(0.0f, 1.0f);
        }
        v.bendRangeUp = below(49);
        v.bendRangeDown = below(49);
        v.feedback = once(2) ? 0.0f : real(0.0f, 8.0f);
        v.resonanceRange = real(5.0f, 6.0f);
        v.symmetry = real(-0.1f, 0.1f);
        v.ampReleaseNorm = real(0.0f, 0.02f);
        v.filterAttack = std::pow(0.5, 1.0 / (v.filterAttackSeconds * fs8));
        v.ampAttack = std::pow(0.2, 1.0 / (geometric(0.001, 1.0) * fs8));
        for (double* factor : {&v.ampDecay, &v.ampRelease})
            *factor = std::pow(0.1, 1.0 / (geometric(0.003, 5.0) * fs8));
        for (ModSlot& slot : v.modSlots)
            slot = {static_cast<ModSource>(below(7)), real(0.0f, 1.0f),
                    static_cast<ModTarget>(below(5))};
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
        EngineValues values = dice.values(8.0 * fs);
        Performance performance;
        test::PlainFilter plainFilter(fs);
        plainFilter.reset(values);
        std::deque<Instrument> all;
        Instrument& plain = all.emplace_back("plain", test::renderPlainVoices, Isa::baseline, fs);
        for (const Isa isa : {Isa::baseline, Isa::avx2, Isa::avx512})
            if (isa <= widestIsa())
                all.emplace_back(nameOf(isa), voiceKernel(isa), isa, fs);
        for (auto walkers : {&DriftLanes::drift1, &DriftLanes::drift2})
            for (std::size_t lane = 0; lane < kVoices; ++lane)
                for (const double at = dice.real(0.0, 1.0); Instrument & i : all)
                    (i.rack.lanes.drift.*walkers)[lane] = at;

        for (int stretch = 0; stretch < 60; ++stretch) {
            if (dice.once(20)) {
                const PolyMode mode = values.polyMode;
                values = dice.values(8.0 * fs);
                if (!dice.once(4))
                    values.polyMode = mode;
                plainFilter.reset(values);
                for (Instrument& i : all)
                    i.filter.reset();
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
