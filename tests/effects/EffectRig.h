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

/// `sampleAt(i)` for the first `sounding` frames of both channels, which may differ.
template <class F> Stereo sound(int frames, int sounding, F sampleAt)
{
    Stereo s(frames);
    for (std::size_t i = 0; i < static_cast<std::size_t>(sounding); ++i)
        for (auto* channel : {&s.left, &s.right})
            (*channel)[i] = static_cast<float>(sampleAt(static_cast<int>(i)));
    return s;
}
inline Stereo impulse(int frames)
{
    return sound(frames, 1, [](int) { return 1; });
}
/// White noise, unlike on both channels.
inline Stereo noise(int frames, int sounding)
{
    return sound(frames, sounding,
                 [random = Random15()](int) mutable { return random.next() / 16384.0 - 1.0; });
}
/// A sine under a Hann bell of `sounding` frames; `hz` per `fs`.
inline Stereo toneBurst(int frames, int sounding, double hz, double fs)
{
    return sound(frames, sounding, [=](int i) {
        const double bell = 0.5 - 0.5 * std::cos(2.0 * M_PI * i / sounding);
        return bell * std::sin(2.0 * M_PI * hz * i / fs);
    });
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

} // namespace zephra::test
