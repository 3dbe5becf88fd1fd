// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "voice/VoiceRack.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <vector>

namespace zephra::test {

/// White noise as a rack draws it from its first sample on: the upper 16 bits of a congruential
/// sequence that starts at 1, as a signed fraction.
class WhiteReference {
public:
    double next()
    {
        const std::uint32_t upper = seed / 65536u;
        seed = seed * 214013u + 2531011u;
        return (upper < 32768u ? upper : upper - 65536.0) / 65536.0;
    }

private:
    std::uint32_t seed = 1;
};

/// What a lane got.
struct Streams {
    std::vector<float> signal, cutoff, amplitude;
    std::vector<double> sound; ///< signal less the noise floor; true for one voice alone (Mono)
};

/// A rack at 48 kHz with everything closed: saws at 8', mixer shut, cutoff at one half without
/// keytracking or envelope, no glide, a held note at full amplitude. Tests open what they look at.
class VoiceRig {
public:
    explicit VoiceRig(double hostRate = 48000.0) : fs8(8.0 * hostRate)
    {
        rack.setSampleRate(hostRate);
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

    /// `count` voice-rate samples in stretches of at most `stretch`; one entry per lane.
    std::vector<Streams> playLanes(int count) { return record(count, width()); }
    /// The same of lane 0 alone.
    Streams play(int count) { return record(count, 1).front(); }
    Streams playFor(double seconds) { return play(8 * static_cast<int>(seconds * fs8 / 8.0)); }

    /// Sample i of the buffer, in the layout of the present mode.
    float at(int i, Stream stream, int lane) const
    {
        const auto index =
            static_cast<std::size_t>((4 * i + static_cast<int>(stream)) * width() + lane);
        return width() == 8 ? buffer.eight[index] : buffer.four[index];
    }

    /// Oscillator `k` stands still on a pulse for half a second and more: high (+1) or low (-1).
    void hold(std::size_t k, bool high)
    {
        values.oscWave[k] = Wave::Pulse;
        values.oscRange[k] = 0;
        values.oscStartPhase[k] = high ? 0.6f : 0.1f;
        values.coarseFactor = 0.25;
        if (k == 2) {
            values.osc3KeyTrack = false;
            values.osc3FixedRate = 0.1 / fs8;
        }
    }

    double fs8; ///< voice rate, Hz
    int stretch = kMaxStretch;
    EngineValues values;
    Performance performance;
    VoiceRack rack{0};
    LaneBuffer buffer;

private:
    int width() const { return values.polyMode == PolyMode::Poly8 ? 8 : 4; }

    std::vector<Streams> record(int count, int lanes)
    {
        std::vector<Streams> recorded(static_cast<std::size_t>(lanes));
        for (int left = count; left > 0; left -= std::min(left, stretch)) {
            const int n = std::min(left, stretch);
            rack.render(values, performance, buffer, 0, n);
            for (int i = 0; i < n; ++i) {
                const double floor = 0.001 * white.next();
                for (int lane = 0; lane < lanes; ++lane) {
                    Streams& s = recorded[static_cast<std::size_t>(lane)];
                    s.signal.push_back(at(i, Stream::Signal, lane));
                    s.cutoff.push_back(at(i, Stream::Cutoff, lane));
                    s.amplitude.push_back(at(i, Stream::Amplitude, lane));
                    s.sound.push_back(s.signal.back() - floor);
                }
            }
        }
        return recorded;
    }

    WhiteReference white;
};

/// One cycle of a rising saw, between two upward zero crossings.
struct Cycle {
    double seconds; ///< its middle
    double hz;
};

inline std::vector<Cycle> cyclesOf(const std::vector<double>& saw, double fs8)
{
    std::vector<Cycle> cycles;
    double last = -1.0;
    for (std::size_t i = 1; i < saw.size(); ++i) {
        if (saw[i - 1] >= 0.0 || saw[i] < 0.0)
            continue;
        const double now = static_cast<double>(i) - saw[i] / (saw[i] - saw[i - 1]);
        if (last >= 0.0)
            cycles.push_back({0.5 * (last + now) / fs8, fs8 / (now - last)});
        last = now;
    }
    return cycles;
}

/// The cycle around `seconds`.
inline Cycle cycleAt(const std::vector<Cycle>& cycles, double seconds)
{
    const auto after = std::find_if(cycles.begin(), cycles.end(),
                                    [seconds](const Cycle& c) { return c.seconds >= seconds; });
    return after == cycles.end() ? cycles.back() : *after;
}
inline double hzAt(const std::vector<Cycle>& cycles, double seconds)
{
    return cycleAt(cycles, seconds).hz;
}
/// Over all cycles: noise on the crossings hardly counts.
inline double meanHz(const std::vector<Cycle>& cycles)
{
    return static_cast<double>(cycles.size() - 1) /
           (cycles.back().seconds - cycles.front().seconds);
}

inline double semitones(double hz, double reference) { return 12.0 * std::log2(hz / reference); }

} // namespace zephra::test
