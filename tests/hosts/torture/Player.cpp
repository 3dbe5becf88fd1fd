// SPDX-License-Identifier: GPL-3.0-or-later
#include "torture/Player.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace zephra::torture {

namespace {

constexpr float kFenceValue = 1234.5f;
constexpr float kLoudest = 50.0f; // far beyond what the instrument can do at full level

} // namespace

float Bench::anyValue()
{
    constexpr std::array kOdd = {std::numeric_limits<float>::quiet_NaN(),
                                 std::numeric_limits<float>::infinity(), -1e30f, 7.0f, 1e-40f};
    if (below(100) == 0)
        return kOdd[static_cast<std::size_t>(below(kOdd.size()))];
    return std::clamp(static_cast<float>(below(1024)) / 960.0f - 0.03f, 0.0f, 1.0f);
}

std::vector<Event> Bench::anyEvents(int howMany, int frames)
{
    constexpr std::array kKinds = {0x90, 0x90, 0x90, 0x80, 0x80, 0xb0, 0xb0, 0xc0, 0xd0, 0xe0};
    std::vector<Event> events;
    for (int i = 0; i < howMany; ++i) {
        const int kind = kKinds[static_cast<std::size_t>(below(kKinds.size()))] | below(16);
        const int sample = static_cast<int>(static_cast<long>(i) * frames / howMany);
        events.push_back({sample,
                          {static_cast<std::uint8_t>(kind), static_cast<std::uint8_t>(below(128)),
                           static_cast<std::uint8_t>(below(128))}});
    }
    return events;
}

Player::Player(Bench& usedBench, double rate, int longestBlock)
    : bench(usedBench), instance(usedBench.format.open())
{
    instance->prepare(rate, longestBlock);
    instance->turn(true);
}

void Player::play(int frames, std::span<const Event> events)
{
    length = static_cast<std::size_t>(std::max(frames, 0));
    for (auto& side : sides)
        side.assign(length + 2 * kFence, kFenceValue);
    if (!events.empty())
        instance->queue(events);
    ++bench.blocks;
    instance->process(sides[0].data() + kFence, sides[1].data() + kFence, frames);
    for (const auto& side : sides) {
        const auto isFence = [](float x) { return x == kFenceValue; };
        require(std::all_of(side.begin(), side.begin() + kFence, isFence) &&
                    std::all_of(side.end() - kFence, side.end(), isFence),
                "wrote beside a block of " + std::to_string(frames));
        for (std::size_t i = kFence; i < kFence + length; ++i) {
            const float x = side[i];
            require(std::fabs(x) <= kLoudest, "sample " + std::to_string(i - kFence) + " of " +
                                                  std::to_string(frames) + " is " +
                                                  std::to_string(x));
            require(x == 0.0f || std::isnormal(x), "a denormal number came out");
        }
    }
}

void Player::playFor(int frames, int block)
{
    for (; frames > 0; frames -= block)
        play(std::min(frames, block));
}

float Player::peak() const
{
    float most = 0.0f;
    for (const float x : left())
        most = std::max(most, std::fabs(x));
    for (const float x : right())
        most = std::max(most, std::fabs(x));
    return most;
}

} // namespace zephra::torture
