// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "torture/Check.h"

#include <initializer_list>
#include <memory>
#include <vector>

namespace zephra::torture {

inline Event noteOn(int sample, int key, int velocity = 100)
{
    return {sample, {0x90, static_cast<std::uint8_t>(key), static_cast<std::uint8_t>(velocity)}};
}
inline Event noteOff(int sample, int key)
{
    return {sample, {0x80, static_cast<std::uint8_t>(key), 0}};
}

/// What a voice at rest may leak: 120 dB below full level.
inline constexpr float kSilence = 1e-6f;

/// Plays an instance into buffers with fences around them, and looks at every sample: no block may
/// write beside its place, nor leave anything that a sound card could not take.
class Player {
public:
    explicit Player(Bench& usedBench, double rate = 48000.0, int longestBlock = 512);

    /// One block; events as they are.
    void play(int frames, std::span<const Event> events = {});
    void play(int frames, std::initializer_list<Event> events)
    {
        play(frames, std::span(events.begin(), events.size()));
    }
    /// Many blocks without events.
    void playFor(int frames, int block = 512);

    Instance& plugin() { return *instance; }
    std::span<const float> left() const { return {sides[0].data() + kFence, length}; }
    std::span<const float> right() const { return {sides[1].data() + kFence, length}; }
    float peak() const; ///< of the last block

private:
    static constexpr std::size_t kFence = 64;

    Bench& bench; ///< counts the blocks
    std::unique_ptr<Instance> instance;
    std::vector<float> sides[2];
    std::size_t length = 0; ///< of the last block
};

} // namespace zephra::torture
