// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/FlushDenormals.h"
#include "common/Random15.h"

#include <algorithm>
#include <cmath>
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

/// A control turned at random: an end, the middle, or half the range beyond an end.
inline float anyControl(Random15& random)
{
    return static_cast<float>(random.next() % 5 - 1) / 2.0f;
}

} // namespace zephra::test
