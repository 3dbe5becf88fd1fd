// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/FlushDenormals.h"
#include "common/Random15.h"
#include "effects/DelayLine.h"
#include "effects/PlateReverb.h"

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace zephra::test {

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

inline Stereo impulse(int frames, float left, float right)
{
    Stereo s(frames);
    s.left[0] = left;
    s.right[0] = right;
    return s;
}

/// White noise of peak `level`, unlike on both channels, during the first `sounding` frames.
inline Stereo noise(int frames, int sounding, float level = 1.0f)
{
    Stereo s(frames);
    Random15 random;
    for (std::size_t i = 0; i < static_cast<std::size_t>(sounding); ++i)
        for (auto* channel : {&s.left, &s.right})
            (*channel)[i] = level * (static_cast<float>(random.next()) / 16384.0f - 1.0f);
    return s;
}

/// A square wave of full level on both channels.
inline Stereo square(int frames, std::size_t halfPeriod)
{
    Stereo s(frames);
    for (std::size_t i = 0; i < s.left.size(); ++i)
        s.left[i] = s.right[i] = i / halfPeriod % 2 == 0 ? 1.0f : -1.0f;
    return s;
}

/// A sine on both channels under a Hann bell of `sounding` frames; `hz` per `fs`.
inline Stereo toneBurst(int frames, int sounding, double hz, double fs)
{
    Stereo s(frames);
    for (int i = 0; i < sounding; ++i) {
        const double bell = 0.5 - 0.5 * std::cos(2.0 * M_PI * i / sounding);
        const auto k = static_cast<std::size_t>(i);
        s.left[k] = s.right[k] = static_cast<float>(bell * std::sin(2.0 * M_PI * hz * i / fs));
    }
    return s;
}

/// Runs `process(left, right, frames)` over the signal in blocks.
template <class Process> Stereo inBlocks(Stereo signal, int block, Process process)
{
    const FlushDenormals guard;
    for (int at = 0; at < signal.frames(); at += block)
        process(signal.left.data() + at, signal.right.data() + at,
                std::min(block, signal.frames() - at));
    return signal;
}

inline double energy(const std::vector<float>& x, int from, int count)
{
    double sum = 0.0;
    for (auto i = static_cast<std::size_t>(from); i < static_cast<std::size_t>(from + count); ++i)
        sum += static_cast<double>(x[i]) * x[i];
    return sum;
}

inline double rms(const std::vector<float>& x, int from, int count)
{
    return std::sqrt(energy(x, from, count) / count);
}

/// -1..1 between the channels, from frame `from` on.
inline double correlation(const Stereo& s, int from)
{
    double cross = 0.0;
    for (auto i = static_cast<std::size_t>(from); i < s.left.size(); ++i)
        cross += static_cast<double>(s.left[i]) * s.right[i];
    const int count = s.frames() - from;
    return cross / std::sqrt(energy(s.left, from, count) * energy(s.right, from, count));
}

/// Largest magnitude of both channels; infinite if any sample is not finite.
inline float peak(const Stereo& s)
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

/// The delay; the time control walks through its 15 note lengths.
struct Delay {
    DelayLine effect;

    void turn(const Setting& s)
    {
        effect.setTime(static_cast<int>(std::lround(14.0f * s.time)));
        effect.setFeedback(s.tone);
        effect.setDryWet(s.dryWet);
        effect.setWidth(s.width);
    }
    Stereo play(Stereo in, int block = 64, float fade = 1.0f, double bpm = 120.0)
    {
        return inBlocks(std::move(in), block, [&](float* left, float* right, int frames) {
            effect.process(left, right, frames, bpm, fade);
        });
    }
};

struct Reverb {
    PlateReverb effect{1};

    void turn(const Setting& s)
    {
        effect.setTime(s.time);
        effect.setColor(s.tone);
        effect.setWidth(s.width);
        effect.setDryWet(s.dryWet);
    }
    Stereo play(Stereo in, int block = 64, float fade = 1.0f)
    {
        return inBlocks(std::move(in), block, [&](float* left, float* right, int frames) {
            effect.process(left, right, frames, fade);
        });
    }
};

/// With its controls set and its smoothers arrived.
template <class Rig> void prepare(Rig& rig, const Setting& s)
{
    rig.effect.setSampleRate(s.fs);
    rig.turn(s);
    rig.play(Stereo(static_cast<int>(s.fs)));
}

template <class Rig> Stereo played(const Setting& s, Stereo in)
{
    Rig rig;
    prepare(rig, s);
    return rig.play(std::move(in));
}

} // namespace zephra::test
