// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/FilterBank.h"
#include "voice/VoiceRack.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace zephra::test {

/// What the filter gets of a voice; the signal has a noise floor of -66 dB.
struct Streams {
    std::vector<float> signal, cutoff, amplitude;
};

/// Voices and filter with everything closed: saws at 8', mixer shut, cutoff at one half without
/// keytracking or envelope, no glide, a held note at full amplitude. Tests open what they look at.
struct VoiceRig {
    explicit VoiceRig(double hostRate = 48000.0) : fs8(8.0 * hostRate)
    {
        rack.setSampleRate(hostRate);
        filter.setSampleRate(hostRate);
        values.oscWave.fill(Wave::Saw);
        values.oscRange.fill(3);
        values.osc3KeyTrack = true;
        values.glideRate = 1000.0;
        values.cutoff = 0.5f;
        values.filterAttack = std::pow(0.5, 1.0 / (0.0009 * fs8));
        values.ampAttack = std::pow(0.2, 1.0 / (0.00135 * fs8));
        values.ampDecay = values.ampRelease = std::pow(0.1, 1.0 / (0.1 * fs8));
        values.ampSustain = 1.0;
        values.ampReleaseNorm = 0.5f;
    }

    void start(int note, int voice = 0, float velocity = 1.0f, int channel = 0)
    {
        rack[voice].startNote(values, true, note, velocity, channel);
    }

    /// `count` voice-rate samples through voices and filter. The streams of the first lane, until
    /// the next call.
    const Streams& play(int count)
    {
        lanes.fill({});
        output.clear();
        for (int rest = count; rest > 0; rest -= stretch) {
            const int n = std::min(rest, stretch);
            rack.render(values, performance, buffer, 0, n);
            for (int lane = 0; lane < voicesOf(values.polyMode); ++lane)
                for (int i = 0; i < n; ++i) {
                    Streams& s = lanes[static_cast<std::size_t>(lane)];
                    s.signal.push_back(at(i, Stream::Signal, lane));
                    s.cutoff.push_back(at(i, Stream::Cutoff, lane));
                    s.amplitude.push_back(at(i, Stream::Amplitude, lane));
                }
            float left[kMaxStretch], right[kMaxStretch];
            filter.process(values, buffer, n, left, right);
            output.insert(output.end(), left, left + n);
        }
        return lanes[0];
    }
    const Streams& playFor(double seconds)
    {
        return play(8 * static_cast<int>(seconds * fs8 / 8.0));
    }

    /// Sample i of the buffer, in the layout of the present mode.
    float at(int i, Stream stream, int lane) const
    {
        const bool eight = values.polyMode == PolyMode::Poly8;
        const int index = (4 * i + static_cast<int>(stream)) * (eight ? 8 : 4) + lane;
        return (eight ? buffer.eight.data() : buffer.four.data())[index];
    }

    /// Oscillator 3 at a rate of its own, off the keyboard.
    void fixOscillator3(double hz)
    {
        values.oscRange[2] = 0;
        values.osc3KeyTrack = false;
        values.osc3FixedRate = hz / fs8;
    }

    double fs8; ///< voice rate, Hz
    int stretch = kMaxStretch;
    EngineValues values;
    Performance performance;
    VoiceRack rack{0};
    FilterBank filter;
    LaneBuffer buffer;
    std::array<Streams, kVoices> lanes; ///< of the last play()
    std::vector<float> output;          ///< of the last play(), left
};

} // namespace zephra::test
