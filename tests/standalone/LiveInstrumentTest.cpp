// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/LiveInstrument.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace zephra::standalone {
namespace {

constexpr double kRate = 48000.0;
constexpr int kBlock = 256;

/// The program without a sound card: blocks are asked for exactly when they are due.
class Live : public testing::Test {
protected:
    Live() { instrument.prepare(kRate, kBlock); }

    /// When the sample was due that lies so far before the next block.
    Clock::time_point ago(int samples) const
    {
        const double seconds = 100.0 + (static_cast<double>(left.size()) - samples) / kRate;
        return Clock::time_point(
            std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds)));
    }
    bool press(int samplesAgo = 0)
    {
        return instrument.midi().push({ago(samplesAgo), {0x90, 60, 127}});
    }
    void render(int blocks)
    {
        std::vector<float> l(kBlock), r(kBlock);
        for (int i = 0; i < blocks; ++i) {
            instrument.render(l.data(), r.data(), kBlock, ago(0));
            left.insert(left.end(), l.begin(), l.end());
        }
    }
    std::size_t firstSound(std::size_t from = 0) const
    {
        while (from < left.size() && std::abs(left[from]) < 1e-4f)
            ++from;
        return from;
    }

    LiveInstrument instrument{VstXSynthOptions{}};
    std::vector<float> left;
};

TEST_F(Live, ANoteSoundsOneBlockAfterItsKeyWhereverInTheBlockThatWas)
{
    std::vector<double> delays;
    for (const int samplesBefore : {1, 77, 200, 255}) {
        render(40);
        const std::size_t pressed = left.size() - static_cast<std::size_t>(samplesBefore);
        press(samplesBefore);
        render(20);
        delays.push_back(static_cast<double>(firstSound(pressed) - pressed));
        EXPECT_NEAR(delays.back(), delays.front(), 40.0) << "but for the phase of the wave";
        EXPECT_GE(delays.back(), kBlock);
        instrument.synth().applyCurrentPatch();
        render(200);
    }
}

TEST_F(Live, ALossOfMessagesEndsTheNotes)
{
    press();
    render(100);
    ASSERT_GT(instrument.takePeak(), 0.01f);
    while (instrument.midi().push({ago(0), {0xb0, 20, 0}})) {
    }
    render(600);
    EXPECT_EQ(firstSound(left.size() - 10 * kBlock), left.size());
}

TEST_F(Live, ASongEndsWhenItHasDiedAwayAndOneCanPlayOn)
{
    Song song;
    song.messages = {{0.1, {0x90, 60, 127}}, {0.3, {0x80, 60, 0}}};
    instrument.play(song);
    render(static_cast<int>(0.3 * kRate / kBlock));
    EXPECT_FALSE(instrument.songIsOver());
    EXPECT_GE(firstSound(), static_cast<std::size_t>(0.1 * kRate));
    for (int i = 0; i < 4000 && !instrument.songIsOver(); ++i)
        render(1);
    EXPECT_TRUE(instrument.songIsOver());
    EXPECT_EQ(firstSound(left.size() - 4800), left.size());

    const std::size_t before = left.size();
    press();
    render(20);
    EXPECT_LT(firstSound(before), left.size());
}

} // namespace
} // namespace zephra::standalone
