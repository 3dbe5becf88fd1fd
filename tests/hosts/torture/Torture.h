// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlIds.h"
#include "hosts/support/Home.h"
#include "torture/PluginFormat.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

namespace zephra::torture {

/// Under a sanitizer times, memory and system calls are not those of the plug-in.
#ifdef ZEPHRA_SANITIZED
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

/// ZEPHRA_LONG in the environment makes minutes of seconds; sanitizers make the short form shorter.
inline int rounds(int shortForm, int longForm)
{
    if (std::getenv("ZEPHRA_LONG"))
        return longForm;
    return kSanitized ? std::max(shortForm / 5, 1) : shortForm;
}

/// Ends a test from any depth and thread of it.
inline void require(bool holds, const std::string& otherwise)
{
    if (!holds)
        throw std::runtime_error(otherwise);
}

inline Event noteOn(int sample, int key)
{
    return {sample, {0x90, static_cast<std::uint8_t>(key), 100}};
}
inline Event noteOff(int sample, int key)
{
    return {sample, {0x80, static_cast<std::uint8_t>(key), 0}};
}

class Dice {
public:
    explicit Dice(unsigned seed = 1) : random(seed) {}

    int below(int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }
    template <class T> T oneOf(const std::vector<T>& all)
    {
        return all[static_cast<std::size_t>(below(static_cast<int>(all.size())))];
    }
    /// 0..1, often the ends.
    float value()
    {
        return std::clamp(static_cast<float>(below(1024)) / 960.0f - 0.03f, 0.0f, 1.0f);
    }
    /// Now and then nothing that a host should send.
    float anyValue()
    {
        return below(100) ? value()
                          : oneOf<float>({std::numeric_limits<float>::quiet_NaN(), HUGE_VALF,
                                          -1e30f, 7.0f, 1e-40f});
    }
    void setAll(Plugin& plugin)
    {
        for (int index = 0; index < kNumHostParameters; ++index)
            plugin.set(index, value());
    }
    /// Notes, controllers, bends, pressure and program changes, in order, on samples of a block.
    std::vector<Event> events(int howMany, int frames)
    {
        std::vector<Event> list;
        for (int i = 0; i < howMany; ++i) {
            const int kind =
                oneOf<int>({0x90, 0x90, 0x90, 0x80, 0x80, 0xb0, 0xb0, 0xc0, 0xd0, 0xe0});
            list.push_back(
                {static_cast<int>(static_cast<long>(i) * frames / howMany),
                 {static_cast<std::uint8_t>(kind | below(16)),
                  static_cast<std::uint8_t>(below(128)), static_cast<std::uint8_t>(below(128))}});
        }
        return list;
    }

private:
    std::mt19937 random;
};

/// Plays an instance into buffers with fences around them, and looks at every sample: no block may
/// write beside its place, nor leave anything that a sound card could not take.
class Player {
public:
    explicit Player(const Format& format, double rate = 48000.0, int longestBlock = 512)
        : plugin(format.open(rate, longestBlock))
    {
        plugin->turn(true);
    }

    /// One block; events as they are. Returns the peak.
    float play(int frames, const std::vector<Event>& events = {}, double tempo = 120.0)
    {
        constexpr float kLoudest = 50.0f; // far beyond what the instrument can do at full level
        constexpr float kFenceValue = 1234.5f;
        const auto length = static_cast<std::size_t>(frames);
        for (auto& side : sides)
            side.assign(length + 2 * kFence, kFenceValue);
        plugin->queue(events, tempo);
        plugin->process(sides[0].data() + kFence, sides[1].data() + kFence, frames);
        float peak = 0.0f;
        for (const auto& side : sides) {
            for (std::size_t i = 0; i < side.size(); ++i) {
                const float x = side[i];
                const bool inside = i >= kFence && i < kFence + length;
                const bool isSound = std::fabs(x) <= kLoudest && (x == 0.0f || std::isnormal(x));
                require(inside ? isSound : x == kFenceValue,
                        "sample " + std::to_string(static_cast<long>(i - kFence)) + " of " +
                            std::to_string(frames) + " is " + std::to_string(x));
                if (inside)
                    peak = std::max(peak, std::fabs(x));
            }
        }
        return peak;
    }
    /// Of the last block: left, then right.
    std::vector<float> sound() const
    {
        std::vector<float> both(sides[0].begin() + kFence, sides[0].end() - kFence);
        both.insert(both.end(), sides[1].begin() + kFence, sides[1].end() - kFence);
        return both;
    }

    const std::unique_ptr<Plugin> plugin;

private:
    static constexpr std::ptrdiff_t kFence = 64;

    std::vector<float> sides[2];
};

/// What hosts do to a plug-in at their worst, in any format.
class Torture : public test::HomeTest, public testing::WithParamInterface<const Format*> {
protected:
    Torture() { copyFactoryBank("Showcase"); }

    const Format& format = *GetParam();
    Dice dice;
};

} // namespace zephra::torture
