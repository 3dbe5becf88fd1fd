// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/FlushDenormals.h"
#include "common/Random15.h"
#include "effects/DelayLine.h"
#include "effects/PlateReverb.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace zephra {
namespace {

/// Both channels of a stretch of sound.
struct Stereo {
    std::vector<float> left, right;

    explicit Stereo(int frames)
        : left(static_cast<std::size_t>(frames)), right(static_cast<std::size_t>(frames))
    {
    }
    int frames() const { return static_cast<int>(left.size()); }
    bool operator==(const Stereo&) const = default;
};

/// `sampleAt(i)` for the first `sounding` frames of both channels, which may differ.
template <class F> Stereo sound(int frames, int sounding, F sampleAt)
{
    Stereo s(frames);
    for (std::size_t i = 0; i < static_cast<std::size_t>(sounding); ++i)
        for (auto* channel : {&s.left, &s.right})
            (*channel)[i] = static_cast<float>(sampleAt(static_cast<int>(i)));
    return s;
}
Stereo impulse(int frames)
{
    return sound(frames, 1, [](int) { return 1; });
}
/// White noise, unlike on both channels.
Stereo noise(int frames, int sounding)
{
    return sound(frames, sounding,
                 [random = Random15()](int) mutable { return random.next() / 16384.0 - 1.0; });
}
/// A sine under a Hann bell of `sounding` frames; `hz` per `fs`.
Stereo toneBurst(int frames, int sounding, double hz, double fs)
{
    return sound(frames, sounding, [=](int i) {
        const double bell = 0.5 - 0.5 * std::cos(2.0 * M_PI * i / sounding);
        return bell * std::sin(2.0 * M_PI * hz * i / fs);
    });
}

double energy(const std::vector<float>& x, int from, int count)
{
    double sum = 0.0;
    for (auto i = static_cast<std::size_t>(from); i < static_cast<std::size_t>(from + count); ++i)
        sum += static_cast<double>(x[i]) * x[i];
    return sum;
}
double rms(const std::vector<float>& x, int from, int count)
{
    return std::sqrt(energy(x, from, count) / count);
}
/// Largest magnitude of both channels; infinite if any sample is not finite.
float peak(const Stereo& s)
{
    float most = 0.0f;
    for (const auto* channel : {&s.left, &s.right})
        for (const float x : *channel)
            most = std::isfinite(x) ? std::max(most, std::fabs(x)) : INFINITY;
    return most;
}

/// What both effects are turned to: all controls at 0..1.
struct Setting {
    double fs = 48000.0;
    float time = 0.5f, tone = 0.5f, width = 1.0f, dryWet = 1.0f; ///< tone: feedback or color
};

/// One of the two effects, driven alike.
template <class Effect> struct Rig {
    explicit Rig(auto... seed) : effect(seed...) {}

    static constexpr bool kIsDelay = std::is_same_v<Effect, DelayLine>;

    void turn(const Setting& s)
    {
        effect.setWidth(s.width);
        effect.setDryWet(s.dryWet);
        if constexpr (kIsDelay) {
            effect.setTime(static_cast<int>(std::lround(14.0f * s.time))); // 15 note lengths
            effect.setFeedback(s.tone);
        } else {
            effect.setTime(s.time);
            effect.setColor(s.tone);
        }
    }
    Stereo play(Stereo signal, float fade = 1.0f, double bpm = 120.0)
    {
        const FlushDenormals guard;
        for (int at = 0; at < signal.frames(); at += 64) {
            float* const left = signal.left.data() + at;
            float* const right = signal.right.data() + at;
            const int frames = std::min(64, signal.frames() - at);
            if constexpr (kIsDelay)
                effect.process(left, right, frames, bpm, fade);
            else
                effect.process(left, right, frames, fade);
        }
        return signal;
    }
    /// Turns the controls and waits until their smoothers have arrived.
    void prepare(const Setting& s)
    {
        effect.setSampleRate(s.fs);
        turn(s);
        play(Stereo(static_cast<int>(s.fs)));
    }

    Effect effect;
};
using Delay = Rig<DelayLine>;
struct Reverb : Rig<PlateReverb> {
    explicit Reverb(std::uint32_t seed = 1) : Rig(seed) {}
};

template <class AnyRig> Stereo played(const Setting& s, Stereo in)
{
    AnyRig rig;
    rig.prepare(s);
    return rig.play(std::move(in));
}

/// What delay and reverb have in common.
template <class Rig> class Effects : public testing::Test {
protected:
    Rig rig;
};
using BothEffects = testing::Types<Delay, Reverb>;
TYPED_TEST_SUITE(Effects, BothEffects);

TYPED_TEST(Effects, WidthGoesFromMonoToSeparateChannels)
{
    const auto apart = [](float width) { // difference of the channels after the input
        const Stereo out = played<TypeParam>({.width = width}, noise(48000, 24000));
        Stereo difference(22000);
        for (std::size_t i = 0; i < 22000; ++i)
            difference.left[i] = out.left[26000 + i] - out.right[26000 + i];
        return rms(difference.left, 0, 22000) / rms(out.left, 26000, 22000);
    };
    EXPECT_LT(apart(0.0f), 0.01);
    EXPECT_GT(apart(0.5f), 0.3);
    EXPECT_GT(apart(1.0f), 1.2) << "strangers are 1.4 apart";
}

TYPED_TEST(Effects, WetShareFollowsControlAndFade)
{
    const struct {
        float control, fade;
        double delay, reverb; ///< wet share
    } kRows[] = {
        {0.5f, 1.0f, 0.4996, 0.2476}, {1.0f, 0.0f, 0.0001, 0.0},     {9.0f, 1.0f, 0.9991, 0.9901},
        {NAN, 1.0f, 0.0001, 0.0001},  {-9.0f, 1.0f, 0.0001, 0.0001},
    };
    for (const auto& row : kRows) {
        this->rig.turn({.dryWet = row.control});
        this->rig.effect.reset();
        this->rig.play(Stereo(88200), row.fade);
        const Stereo out = this->rig.play(impulse(1), row.fade);
        EXPECT_NEAR(1.0 - out.left[0], TypeParam::kIsDelay ? row.delay : row.reverb, 1e-4)
            << row.control << " by " << row.fade;
    }
}

TYPED_TEST(Effects, ResetAndNewRateLeaveNoTail)
{
    this->rig.prepare({.time = 1.0f, .tone = 1.0f});
    const auto tail = [&](auto act) {
        this->rig.play(noise(48000, 48000));
        act();
        return peak(this->rig.play(Stereo(48000)));
    };
    EXPECT_GT(tail([&] { this->rig.effect.setSampleRate(48000.4); }), 0.1f) << "the same rate";
    EXPECT_EQ(tail([&] { this->rig.effect.reset(); }), 0.0f);
    EXPECT_LT(this->rig.play(impulse(1)).left[0], 0.011) << "controls stay";
    EXPECT_EQ(tail([&] { this->rig.effect.setSampleRate(96000.0); }), 0.0f);
}

TYPED_TEST(Effects, StayFiniteAndBoundedWhateverIsTurned)
{
    for (const double fs : {44100.0, 50001.0, 87382.0, 150001.0, 262150.0, 384000.0}) {
        this->rig.effect.setSampleRate(fs);
        Random15 random;
        const auto any = [&random] { // an end, the middle, or half the range beyond an end
            return static_cast<float>(random.next() % 5 - 1) / 2.0f;
        };
        for (int step = 0; step < 50; ++step) {
            const float tone = step < 25 ? 1.0f : any();
            this->rig.turn({.time = any(), .tone = tone, .width = any(), .dryWet = any()});
            // The sum of all repeats of the delay at full feedback is 20.
            const Stereo square = sound(5000, 5000, [](int i) { return i / 100 % 2 ? 1 : -1; });
            ASSERT_LT(peak(this->rig.play(square)), 25.0f) << "at " << fs;
        }
    }
}

/// Frame of the largest magnitude after the first one.
int loudestEcho(const std::vector<float>& x)
{
    const auto louder = [](float a, float b) { return std::fabs(a) < std::fabs(b); };
    return static_cast<int>(std::max_element(x.begin() + 1, x.end(), louder) - x.begin());
}

TEST(DelayLine, EchoesComeAtTheNoteLengthAndRightOnesAtItsHalf)
{
    constexpr struct {
        double fs, bpm;
        int index, samples;
    } kRows[] = {
        {44100, 97, 2, 72742},      // 8/3 beats
        {44100, 173.3, 3, 45804},   // 3 beats
        {48000, 120, 5, 32000},     // a triplet that comes out whole stays whole
        {48000, 300, 14, 1600},     // 33.3 ms
        {48000, 1e9, 0, 960},       // held at 20 ms
        {48000, 120, -5, 131071},   // index clipped to 0, cut at the ring
        {50001, 1e-300, 3, 262143}, // cut at the ring
        {384000, 30, 0, 524287},    // cut at the ring
        {48000, NAN, 7, 24000},     // no tempo: 120
        {48000, -90, 7, 24000},     {48000, INFINITY, 7, 24000},
        {48000, 120, 99, 4000}, // index clipped to 14
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.index << " at " << row.bpm << " and " << row.fs);
        Delay delay;
        delay.prepare({.fs = row.fs});
        delay.effect.setTime(row.index);
        const Stereo out = delay.play(impulse(row.samples + 900), 1.0f, row.bpm);
        EXPECT_EQ(loudestEcho(out.left), row.samples);
        EXPECT_EQ(loudestEcho(out.right), row.samples / 2);
    }
}

TEST(DelayLine, RepeatsFallByTheFeedbackAndPassTenHertzToFourKilohertz)
{
    constexpr int D = 96000, kBurst = 80000;
    constexpr double kHalf = 0.9501 * 0.70711; // half the power, at full feedback
    constexpr struct {
        float feedback;
        double hz, first, second; ///< expected gain of the first echo, and of the next against it
    } kRows[] = {
        {0.0f, 500, 0.0001, 0.0001},
        {0.5f, 500, 0.4751, 0.4751},
        {1.0f, 500, 0.9501, 0.9501},
        {1.0f, 10, kHalf, kHalf},
        {1.0f, 4000, 0.9501, kHalf},
        {1.0f, 8000, 0.9501, 0.2003}, // a bilinear Butterworth low-pass
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.hz << " Hz by " << row.feedback);
        const Stereo in = toneBurst(3 * D, kBurst, row.hz, 48000.0);
        const Stereo out = played<Delay>({.time = 1 / 14.0f, .tone = row.feedback}, in);
        const double whole = rms(in.left, 0, kBurst);
        EXPECT_NEAR(rms(out.left, D, kBurst) / whole, row.first, 0.01);
        EXPECT_NEAR(rms(out.left, 2 * D, kBurst) / whole, row.first * row.second, 0.01);
        if (row.hz == 500) { // the right half echo is whole, the next one passes the loop twice
            EXPECT_NEAR(rms(out.right, D / 2, kBurst) / whole, 0.9991, 0.001);
            EXPECT_NEAR(rms(out.right, D / 2 + D, kBurst) / whole, row.first * row.first, 0.01);
        }
    }
}

TEST(PlateReverb, ImpulseResponseIsThatOfAModelInDoublePrecision)
{
    // A pin: the strongest places of an impulse response, computed by a model written apart from
    // this class, with one double per variable and plain arrays. Seed 1, 44100 Hz.
    constexpr struct {
        std::size_t frame; // after the impulse
        float left, right;
    } kRows[] = {
        {833, -90.7846f, -16.1996f},  {4445, -2.2270f, -8.0318f},  {8281, -1.8742f, -15.0096f},
        {13248, -3.6679f, -15.6438f}, {25173, -5.7052f, -5.1985f}, {53847, 2.7637f, 4.6441f},
    };
    Stereo in(60000);
    in.left[0] = 1000.0f;
    in.right[0] = -500.0f;
    Reverb reverb, other(2);
    for (Reverb* r : {&reverb, &other}) {
        r->turn({.time = 0.8f, .tone = 0.3f, .width = 0.7f, .dryWet = 0.9f});
        r->play(Stereo(22050));
    }
    const Stereo out = reverb.play(in);
    for (const auto& [frame, left, right] : kRows) {
        EXPECT_NEAR(out.left[frame], left, 1e-4 * std::fabs(left) + 5e-4) << frame;
        EXPECT_NEAR(out.right[frame], right, 1e-4 * std::fabs(right) + 5e-4) << frame;
    }
    EXPECT_FALSE(other.play(in) == out) << "the seed decides the wander";
}

TEST(PlateReverb, DecayFollowsTimeAndColor)
{
    // The named seconds are nominal: modes that linger in the all-passes ring up to 1.6 times as
    // long, and the 12 kHz low-pass in the loop shortens the longest times of the highs.
    constexpr struct {
        double fs;
        float time, color;
        double hz, seconds; ///< for 60 dB
    } kRows[] = {
        {192000, 0.125f, 0.50f, 250, 1.152}, {192000, 0.125f, 0.50f, 2500, 1.152},
        {44100, 0.750f, 0.50f, 250, 5.7},    {44100, 0.750f, 0.50f, 2500, 5.7},
        {48000, 0.500f, 0.25f, 250, 5.2},    {48000, 0.500f, 0.25f, 2500, 2.6},
        {48000, 0.500f, 0.75f, 250, 1.3},    {48000, 0.500f, 0.75f, 2500, 2.6},
    };
    for (const auto& row : kRows) {
        const int burst = static_cast<int>(20.0 * row.fs / row.hz);
        const int tenDecibels = static_cast<int>(row.seconds / 6.0 * row.fs);
        const Stereo out =
            played<Reverb>({.fs = row.fs, .time = row.time, .tone = row.color},
                           toneBurst(burst + 4 * tenDecibels, burst, row.hz, row.fs));
        const double fall = 20.0 * std::log10(rms(out.left, burst, tenDecibels) /
                                              rms(out.left, burst + 2 * tenDecibels, tenDecibels));
        EXPECT_TRUE(fall > 20.0 / 1.75 && fall < 20.0 / 0.85)
            << row.time << ", " << row.color << " at " << row.hz << " Hz: " << fall << " dB";
    }
}

TEST(PlateReverb, RestsAsIfItHadRun)
{
    Reverb ran, rested;
    for (Reverb* r : {&ran, &rested}) {
        r->turn({.dryWet = 0.5f});
        EXPECT_FALSE(r->effect.hasArrived(1.0f));
        r->play(noise(48000, 4800));
        for (int tries = 0; peak(r->play(Stereo(48000))) > 0.0f; ++tries)
            ASSERT_LT(tries, 50);
        EXPECT_TRUE(r->effect.hasArrived(1.0f));
    }
    ran.play(Stereo(200001)); // the wander turns a few times
    rested.effect.rest(1);
    rested.effect.rest(200000);
    EXPECT_TRUE(ran.play(noise(30000, 4800)) == rested.play(noise(30000, 4800)));
}

TEST(PlateReverb, InfiniteTimeNeitherGrowsNorDies)
{
    constexpr int kSecond = 48000;
    Reverb reverb;
    reverb.prepare({.time = 1.0f});
    reverb.play(toneBurst(20 * kSecond, kSecond, 100.0, 48000.0));
    const auto level = [&] {
        const Stereo out = reverb.play(Stereo(10 * kSecond));
        return rms(out.left, 0, out.frames()) + rms(out.right, 0, out.frames());
    };
    const double early = level();
    EXPECT_GT(early, 0.01);
    reverb.play(Stereo(60 * kSecond));
    EXPECT_NEAR(level() / early, 1.0, 0.1); // within a decibel in more than a minute

    reverb.effect.setTime(0.6f);
    reverb.play(Stereo(10 * kSecond));
    EXPECT_LT(level(), 1e-3 * early) << "just below, it ends";
}

} // namespace
} // namespace zephra
