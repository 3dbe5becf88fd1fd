// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/FlushDenormals.h"
#include "PlainVoice.h"
#include "voice/VoiceRack.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
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
        const auto fallIn = [fs8](double seconds) { return std::pow(0.1, 1.0 / (seconds * fs8)); };
        EngineValues v;
        v.polyMode = kModes[below(4)];
        v.revision = once(2) ? Revision::Early : Revision::Late;
        v.glideRate = once(2) ? 1000.0 : geometric(1e-4, 1.0);
        v.unisonDetune = real(0.0f, 1.0f);
        v.coarseFactor = real(0.25, 4.0);
        v.fineFactor = real(0.94, 1.06);
        v.bendRangeUp = below(49);
        v.bendRangeDown = below(49);
        v.oscKeytrackSlope = real(1.9943702220916748, 2.0056297779083252);
        v.oscDrift = real(0.0, 0.0025);
        for (std::size_t k = 0; k < 3; ++k) {
            v.oscWave[k] = static_cast<Wave>(below(7));
            v.oscRange[k] = below(6);
            v.oscSemi[k] = real(-7.0f, 7.0f);
            v.oscFine[k] = real(-0.5f, 0.5f);
            v.oscStartPhase[k] = real(0.0f, 1.0f);
            v.mixLevel[k] = real(0.0f, 1.0f);
        }
        v.osc3KeyTrack = once(2);
        v.osc3LoSync = once(2);
        v.osc3FixedRate = real(0.1, 20.0) / fs8;
        v.lfoIncrement = real(0.1, 20.0) / fs8;
        v.noiseLevel = real(0.0f, 1.0f);
        v.noiseIsPink = once(2);
        v.cutoff = real(0.0f, 0.952f);
        v.resonance = real(0.0f, 1.0f);
        v.keytrack = real(0.0f, 1.0f);
        v.filterEnvAmount = real(0.0f, 1.0f);
        v.filterAttackNorm = real(0.0f, 1.0f);
        v.filterReleaseNorm = real(0.0f, 1.0f);
        v.filterAttackSeconds = geometric(0.0009, 1.0);
        v.filterAttack = std::pow(0.5, 1.0 / (v.filterAttackSeconds * fs8));
        v.filterDecay = geometric(0.003, 10.0);
        v.filterSustain = real(0.035, 1.027);
        v.filterRelease = geometric(0.003, 10.0);
        v.ampAttack = std::pow(0.2, 1.0 / (geometric(0.001, 1.0) * fs8));
        v.ampDecay = fallIn(geometric(0.003, 5.0));
        v.ampSustain = real(0.0, 1.0);
        v.ampRelease = fallIn(geometric(0.003, 5.0));
        v.ampReleaseMs = geometric(2.5, 10.0);
        v.ampReleaseNorm = real(0.0f, 0.02f);
        for (ModSlot& slot : v.modSlots)
            slot = {static_cast<ModSource>(below(7)), real(0.0f, 1.0f),
                    static_cast<ModTarget>(below(5))};
        v.modulationMix = real(0.0f, 1.0f);
        v.modOscOn = once(2);
        v.modFltOn = once(2);
        v.modPitchRange = real(0.5f, 2.0f);
        v.modCutoffRange = real(0.5f, 2.0f);
        v.modShape = real(0.0f, 1.0f);
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

/// Two racks that do the same, one with the kernel of an instruction set, one with the yardstick.
struct Pair {
    explicit Pair(VoiceKernel kernel, double fs)
        : racks{VoiceRack(0, kernel), VoiceRack(0, test::renderPlainVoices)}
    {
        for (VoiceRack& rack : racks)
            rack.setSampleRate(fs);
    }

    void press(const EngineValues& values, int voice, int note, bool anew)
    {
        for (VoiceRack& rack : racks)
            rack[voice].startNote(values, anew, note, 0.7f, voice);
    }
    void release(int voice)
    {
        for (VoiceRack& rack : racks)
            rack[voice].released = true;
    }
    void shareOscillator3()
    {
        for (VoiceRack& rack : racks)
            rack.shareOscillator3();
    }

    /// Whether frames and states are the same, to the bit.
    testing::AssertionResult renderAlike(const EngineValues& values, const Performance& performance,
                                         int first, int count)
    {
        for (std::size_t i = 0; i < 2; ++i)
            racks[i].render(values, performance, *buffers[i], first, count);
        const LaneBuffer &got = *buffers[0], &want = *buffers[1];
        const bool eight = values.polyMode == PolyMode::Poly8;
        const float* const g = eight ? got.eight.data() : got.four.data();
        const float* const w = eight ? want.eight.data() : want.four.data();
        const int lanes = eight ? 8 : 4;
        for (int i = 4 * lanes * first; i < 4 * lanes * (first + count); ++i)
            if (std::memcmp(g + i, w + i, sizeof(float)) != 0)
                return testing::AssertionFailure()
                       << "sample " << i / (4 * lanes) << " stream " << i / lanes % 4 << " lane "
                       << i % lanes << ": " << g[i] << ", not " << w[i];
        constexpr std::size_t kStateBytes = // without the padding at the end
            offsetof(VoiceLanes, random) + sizeof(VoiceLanes::random);
        if (std::memcmp(&racks[0].lanes, &racks[1].lanes, kStateBytes) != 0)
            return testing::AssertionFailure() << "states differ";
        for (int voice = 0; voice < kVoices; ++voice)
            if (racks[0][voice].ended != racks[1][voice].ended)
                return testing::AssertionFailure() << "voice " << voice << " ends";
        return testing::AssertionSuccess();
    }

    std::array<VoiceRack, 2> racks;
    std::array<std::unique_ptr<LaneBuffer>, 2> buffers{std::make_unique<LaneBuffer>(),
                                                       std::make_unique<LaneBuffer>()};
};

class VoiceKernels : public testing::TestWithParam<Isa> {};

TEST_P(VoiceKernels, GiveTheBitsOfThePlainVoice)
{
    if (GetParam() > widestIsa())
        GTEST_SKIP() << "not on this machine";
    const FlushDenormals asThePluginRuns;
    constexpr double kRates[] = {44100.0, 48000.0, 96000.0, 192000.0};
    for (unsigned scene = 0; scene < 80; ++scene) {
        Dice dice(scene);
        const double fs = kRates[dice.below(4)];
        Pair pair(voiceKernel(GetParam()), fs);
        EngineValues values = dice.values(8.0 * fs);
        Performance performance;
        for (int stretch = 0; stretch < 60; ++stretch) {
            if (dice.once(20)) {
                const PolyMode mode = values.polyMode;
                values = dice.values(8.0 * fs);
                if (!dice.once(4))
                    values.polyMode = mode;
            }
            if (dice.once(5))
                dice.play(performance);
            if (dice.once(3))
                pair.press(values, dice.below(8), dice.below(128), !dice.once(3));
            if (dice.once(4))
                pair.release(dice.below(8));
            if (dice.once(10))
                pair.shareOscillator3();
            const int count = 8 * (1 + dice.below(dice.once(2) ? 64 : 4));
            ASSERT_TRUE(pair.renderAlike(values, performance, 512 - count, count))
                << "scene " << scene << " stretch " << stretch;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(, VoiceKernels, testing::Values(Isa::baseline, Isa::avx2, Isa::avx512),
                         [](const auto& row) { return std::string(nameOf(row.param)); });

} // namespace
} // namespace zephra
