// SPDX-License-Identifier: GPL-3.0-or-later
#include "standalone/LiveInstrument.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace zephra::standalone::test {
namespace {

constexpr double kRate = 48000.0;
constexpr int kBlock = 256;

Clock::time_point at(double seconds)
{
    return Clock::time_point(
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds)));
}

/// The program without a sound card: blocks are asked for exactly when they are due.
struct Stage {
    Stage() { instrument.prepare(kRate, kBlock); }

    /// When the next block is asked for.
    double now() const { return 100.0 + static_cast<double>(left.size()) / kRate; }
    void render(int blocks)
    {
        for (int i = 0; i < blocks; ++i) {
            const auto when = at(now());
            std::vector<float> l(kBlock), r(kBlock);
            instrument.render(l.data(), r.data(), kBlock, when);
            left.insert(left.end(), l.begin(), l.end());
        }
    }
    std::size_t firstSound(std::size_t from = 0) const
    {
        while (from < left.size() && std::abs(left[from]) < 1e-4f)
            ++from;
        return from;
    }
    float peakFrom(std::size_t from) const
    {
        float most = 0.0f;
        for (; from < left.size(); ++from)
            most = std::max(most, std::abs(left[from]));
        return most;
    }

    LiveInstrument instrument{VstXSynthOptions{}};
    std::vector<float> left;
};

TEST(LiveInstrument, ANoteSoundsOneBlockAfterItsKeyWhereverInTheBlockThatWas)
{
    std::vector<std::ptrdiff_t> delays;
    for (const int samplesBefore : {1, 77, 200, 255}) {
        Stage stage;
        stage.render(40);
        const auto pressed = static_cast<std::ptrdiff_t>(stage.left.size()) - samplesBefore;
        stage.instrument.midi().push({at(stage.now() - samplesBefore / kRate), {0x90, 60, 127}});
        stage.render(20);
        delays.push_back(static_cast<std::ptrdiff_t>(stage.firstSound()) - pressed);
    }
    for (const auto delay : delays) {
        EXPECT_NEAR(static_cast<double>(delay), static_cast<double>(delays.front()), 40.0)
            << "but for the phase that the wave starts with";
        EXPECT_GE(delay, kBlock);
    }
}

TEST(LiveInstrument, ALossOfMessagesEndsTheNotes)
{
    Stage stage;
    stage.instrument.midi().push({at(stage.now()), {0x90, 60, 127}});
    stage.render(100);
    ASSERT_GT(stage.instrument.takePeak(), 0.01f);
    const MidiMessage harmless{0xb0, 20, 0};
    while (stage.instrument.midi().push({at(stage.now()), harmless})) {
    }
    stage.render(600);
    EXPECT_LT(stage.peakFrom(stage.left.size() - 10 * kBlock), 1e-4f);
}

TEST(LiveInstrument, ASongEndsWhenItHasDiedAway)
{
    Song song;
    song.messages = {{0.1, {0x90, 60, 127}}, {0.3, {0x80, 60, 0}}};
    Stage stage;
    stage.instrument.play(song);
    stage.render(static_cast<int>(0.3 * kRate / kBlock));
    EXPECT_FALSE(stage.instrument.songIsOver());
    EXPECT_GE(stage.firstSound(), static_cast<std::size_t>(0.1 * kRate));
    for (int i = 0; i < 4000 && !stage.instrument.songIsOver(); ++i)
        stage.render(1);
    EXPECT_TRUE(stage.instrument.songIsOver());
    EXPECT_LT(stage.peakFrom(stage.left.size() - 4800), 1e-4f);

    const std::size_t before = stage.left.size();
    stage.instrument.midi().push({at(stage.now()), {0x90, 60, 127}});
    stage.render(20);
    EXPECT_LT(stage.firstSound(before), stage.left.size()) << "and one can play on";
}

} // namespace
} // namespace zephra::standalone::test
