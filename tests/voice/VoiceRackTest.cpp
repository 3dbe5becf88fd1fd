// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/VoiceRack.h"

#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

TEST(VoiceRack, AVoiceSoundsTheSameWhateverLanesThereAre)
{
    const auto play = [](PolyMode mode) {
        VoiceRig rig;
        rig.values.polyMode = mode;
        rig.values.mixLevel.fill(0.3f);
        rig.values.noiseLevel = 0.2f;
        rig.values.oscDrift = 0.0025;
        for (int voice = 0; voice < 3; ++voice)
            rig.start(60 + voice, voice);
        for (int voice = 3; voice < kVoices; ++voice)
            rig.rack[voice].ended = true;
        return rig.playLanes(5000);
    };
    const auto four = play(PolyMode::Poly4), eight = play(PolyMode::Poly8);
    for (std::size_t lane = 0; lane < 3; ++lane) {
        EXPECT_EQ(four[lane].signal, eight[lane].signal) << "lane " << lane;
        EXPECT_EQ(four[lane].cutoff, eight[lane].cutoff) << "lane " << lane;
    }
    EXPECT_NE(four[0].signal, four[1].signal);
}

TEST(VoiceRack, WritesItsModesLanesOfTheStretchAndNothingElse)
{
    static constexpr float kBefore = 9.0f;
    const struct {
        PolyMode mode;
        std::vector<bool> rendered; ///< by lane
        float idleLevel;            ///< signal and amplitude of the others
    } kRows[] = {
        {PolyMode::Mono, {1, 0, 0, 0}, 0.0f},
        {PolyMode::Unison, {1, 1, 1, 1}, 0.0f},
        {PolyMode::Poly4, {1, 0, 1, 0}, 0.0f},
        {PolyMode::Poly8, {1, 0, 1, 0, 1, 0, 1, 0}, 1e-7f},
    };
    for (const auto& row : kRows) {
        VoiceRig rig;
        rig.values.polyMode = row.mode;
        for (int voice = 0; voice < kVoices; ++voice)
            rig.start(60, voice);
        rig.playLanes(4096);                    // amplitude is up, cutoffs are there
        for (const int voice : {0, 1, 3, 5, 7}) // voice 0 runs on all the same
            rig.rack[voice].ended = true;
        rig.buffer.four.fill(kBefore);
        rig.buffer.eight.fill(kBefore);
        rig.rack.render(rig.values, rig.performance, rig.buffer, 16, 24);

        const int lanes = static_cast<int>(row.rendered.size());
        for (int lane = 0; lane < lanes; ++lane) {
            const float amplitude = rig.at(39, Stream::Amplitude, lane);
            if (row.rendered[static_cast<std::size_t>(lane)])
                EXPECT_TRUE(amplitude > 0.9f && amplitude < 1.0f) << "lane " << lane;
            else
                EXPECT_EQ(amplitude, row.idleLevel) << "lane " << lane;
            EXPECT_EQ(rig.at(15, Stream::Signal, lane), kBefore);
            EXPECT_EQ(rig.at(40, Stream::Signal, lane), kBefore);
        }
        const auto untouched = [](const auto& buffer) {
            return std::count(buffer.begin(), buffer.end(), kBefore);
        };
        EXPECT_EQ(untouched(rig.buffer.four), 16 * (kMaxStretch - (lanes == 4 ? 24 : 0)));
        EXPECT_EQ(untouched(rig.buffer.eight), 32 * (kMaxStretch - (lanes == 8 ? 24 : 0)));
    }
}

TEST(VoiceRack, CommonOscillator3RunsOnceForAllVoices)
{
    // At levels that drown the noise floor: 12 Hz, shared at the start of each sub-block.
    const auto play = [](bool shared) {
        VoiceRig rig;
        rig.values.polyMode = PolyMode::Poly8;
        rig.values.oscRange[2] = 0;
        rig.values.osc3KeyTrack = false;
        rig.values.osc3FixedRate = 12.0 / rig.fs8;
        rig.values.mixLevel[2] = 1.0f;
        for (int voice = 0; voice < kVoices; ++voice)
            rig.start(40 + 5 * voice, voice);
        std::vector<std::vector<float>> all(kVoices);
        for (int block = 0; block < 64; ++block) {
            if (shared)
                rig.rack.shareOscillator3();
            const auto lanes = rig.playLanes(512);
            for (std::size_t lane = 0; lane < all.size() && block > 0; ++lane)
                all[lane].insert(all[lane].end(), lanes[lane].signal.begin(),
                                 lanes[lane].signal.end());
        }
        return all;
    };
    const auto farthest = [](const std::vector<float>& a, const std::vector<float>& b) {
        float most = 0.0f;
        for (std::size_t i = 0; i < a.size(); ++i)
            most = std::max(most, std::fabs(a[i] - b[i]));
        return most;
    };
    const auto alone = play(false), common = play(true);
    EXPECT_EQ(common[0], alone[0]) << "voice 0 carries it";
    for (std::size_t lane = 1; lane < kVoices; ++lane) {
        EXPECT_GT(farthest(alone[lane], alone[0]), 0.02f);
        EXPECT_LT(farthest(common[lane], common[0]), 0.0011f);
    }
}

TEST(VoiceRack, NotesStartAtTheirPhaseOrRunFree)
{
    constexpr struct {
        std::size_t oscillator;
        float control;
        bool reset;
        double phase; ///< of a new note; -1 runs on
    } kRows[] = {{0, 0.001f, true, -1.0},
                 {0, 0.0011f, true, 0.0011},
                 {1, 0.25f, true, 0.24975},
                 {2, 1.0f, true, 0.999},
                 {2, 0.25f, false, -1.0}};
    for (const auto& row : kRows) {
        VoiceRig rig, neighbour;
        for (VoiceRig* r : {&rig, &neighbour}) {
            r->values.oscRange[row.oscillator] = 0; // half a cycle a second: it hardly moves
            r->values.oscStartPhase[row.oscillator] = row.control;
            r->values.mixLevel[row.oscillator] = 1.0f;
            r->rack[0].startNote(r->values, false, 0, 1.0f, 0);
            r->play(512);
        }
        rig.rack[0].startNote(rig.values, row.reset, 0, 1.0f, 0);
        const double after = rig.play(8).sound[4], runningOn = neighbour.play(8).sound[4];
        EXPECT_NEAR(after, row.phase < 0.0 ? runningOn : 1.05 * (2.0 * row.phase - 1.0), 2e-4)
            << "oscillator " << row.oscillator + 1 << " at " << row.control;
    }
}

} // namespace
} // namespace zephra
