// SPDX-License-Identifier: GPL-3.0-or-later
#include "VoiceRig.h"

#include <gtest/gtest.h>

namespace zephra {
namespace {

using test::VoiceRig;

TEST(VoiceRack, WritesItsModesLanesOfTheStretchAndNothingElse)
{
    constexpr float kBefore = 9.0f;
    const struct {
        PolyMode mode;
        std::vector<bool> rendered; ///< by lane
        float idleLevel;            ///< of the others
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
        rig.play(4096);                         // amplitude is up, cutoffs are there
        for (const int voice : {0, 1, 3, 5, 7}) // voice 0 runs on all the same
            rig.rack[voice].ended = true;
        rig.buffer.four.fill(kBefore);
        rig.buffer.eight.fill(kBefore);
        rig.rack.render(rig.values, rig.performance, rig.buffer, 16, 24);

        for (int lane = 0; lane < static_cast<int>(row.rendered.size()); ++lane) {
            SCOPED_TRACE(lane);
            const float amplitude = rig.at(39, Stream::Amplitude, lane);
            if (row.rendered[static_cast<std::size_t>(lane)])
                EXPECT_TRUE(amplitude > 0.9f && amplitude < 1.0f);
            else
                EXPECT_EQ(amplitude, row.idleLevel);
            if (lane < voicesOf(row.mode))
                EXPECT_NEAR(rig.at(39, Stream::Cutoff, lane), 0.5f, 1e-3f) << "where it was";
            EXPECT_EQ(rig.at(15, Stream::Signal, lane), kBefore);
            EXPECT_EQ(rig.at(40, Stream::Signal, lane), kBefore);
        }
    }
}

TEST(VoiceRack, CommonOscillator3RunsOnceForAllVoices)
{
    // At a level that drowns the noise floor: 12 Hz.
    VoiceRig rig;
    rig.values.polyMode = PolyMode::Poly8;
    rig.fixOscillator3(12.0);
    rig.values.mixLevel[2] = 1.0f;
    for (int voice = 0; voice < kVoices; ++voice)
        rig.start(40 + 5 * voice, voice);
    rig.play(512);
    const auto alone = rig.lanes;
    rig.rack.shareOscillator3();
    rig.play(512);
    for (std::size_t lane = 1; lane < kVoices; ++lane) {
        EXPECT_GT(std::fabs(alone[lane].signal.back() - alone[0].signal.back()), 0.02f);
        EXPECT_NEAR(rig.lanes[lane].signal.back(), rig.lanes[0].signal.back(), 0.0011f);
        EXPECT_NE(rig.lanes[lane].signal.back(), rig.lanes[0].signal.back()) << "but the noise";
    }
    EXPECT_NEAR(rig.lanes[0].signal.back(), alone[0].signal.back(), 0.05f) << "voice 0 carries it";
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
        const double after = rig.play(8).signal[4], runningOn = neighbour.play(8).signal[4];
        EXPECT_NEAR(after, row.phase < 0.0 ? runningOn : 1.05 * (2.0 * row.phase - 1.0), 7e-4)
            << "oscillator " << row.oscillator + 1 << " at " << row.control;
    }
}

} // namespace
} // namespace zephra
