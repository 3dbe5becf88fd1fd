// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/RealtimeWatch.h"
#include "torture/Player.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <limits>
#include <list>
#include <set>
#include <sstream>

namespace zephra::torture {

namespace {

void namesAndTexts(Bench& bench)
{
    Player player(bench);
    Instance& plugin = player.plugin();
    require(plugin.parameterCount() == 75,
            "there are " + std::to_string(plugin.parameterCount()) + " parameters");
    std::set<std::string> names;
    for (int index = 0; index < plugin.parameterCount(); ++index) {
        const std::string name = plugin.parameterName(index);
        require(!name.empty() && name.size() < 64 &&
                    (names.insert(name).second || name == "(reserved)"),
                "parameter " + std::to_string(index) + " is named \"" + name + "\"");
        for (const float value : {0.0f, 0.5f, 1.0f}) {
            plugin.setParameter(index, value);
            require(plugin.parameterText(index).size() < 64, name + " has a text without end");
            ++bench.others;
        }
    }
    bench.unit = "texts";
}

/// What is set comes back; steps and switches come to their grid, and stay there.
void valuesComeBack(Bench& bench)
{
    Player player(bench);
    Instance& plugin = player.plugin();
    for (int index = 0; index < plugin.parameterCount(); ++index) {
        for (int i = 0; i < bench.rounds(20, 500); ++i, ++bench.others) {
            const float value =
                i < 2 ? static_cast<float>(i) : static_cast<float>(bench.below(10001)) / 10000.0f;
            plugin.setParameter(index, value);
            const float held = plugin.parameter(index);
            require(std::fabs(held - value) <= 0.5f + 1e-6f && (i > 1 || held == value),
                    plugin.parameterName(index) + " makes " + std::to_string(held) + " of " +
                        std::to_string(value));
            plugin.setParameter(index, held);
            require(plugin.parameter(index) == held, plugin.parameterName(index) + " wanders");
        }
    }
    bench.unit = "values";
}

void everyEndSounds(Bench& bench)
{
    Player player(bench);
    Instance& plugin = player.plugin();
    for (int index = 0; index < plugin.parameterCount(); ++index) {
        const float before = plugin.parameter(index);
        for (const float value : {0.0f, 1.0f, std::numeric_limits<float>::quiet_NaN()}) {
            plugin.setParameter(index, value);
            player.play(256, {noteOn(0, 36 + index % 60)});
        }
        plugin.setParameter(index, before);
    }
    for (const int index : {-1, plugin.parameterCount(), std::numeric_limits<int>::max()}) {
        plugin.setParameter(index, 0.5f);
        plugin.parameter(index);
    }
}

void randomSettings(Bench& bench)
{
    Player player(bench);
    Instance& plugin = player.plugin();
    for (int i = 0; i < bench.rounds(60, 3000); ++i) {
        for (int index = 0; index < plugin.parameterCount(); ++index)
            plugin.setParameter(index, bench.anyValue());
        player.play(512, bench.anyEvents(8, 512));
        player.play(512);
    }
}

void severalThreads(Bench& bench)
{
    if (!bench.format.freedoms().parametersFromAnyThread)
        throw Skip("its hosts set parameters where they play");
    Player player(bench);
    Instance& plugin = player.plugin();
    std::atomic<long> calls{0};
    {
        std::list<Beside> users;
        for (unsigned seed = 1; seed <= 4; ++seed) {
            users.emplace_back([&plugin, &calls, random = std::mt19937(seed)]() mutable {
                const int index = static_cast<int>(random() % 75);
                plugin.setParameter(index, static_cast<float>(random() % 1000) / 999.0f);
                plugin.parameter(index);
                plugin.parameterText(static_cast<int>(random() % 75));
                calls += 3;
            });
        }
        for (int i = 0; i < bench.rounds(150, 5000) || calls < 1000; ++i)
            player.play(256, bench.anyEvents(4, 256));
    }
    bench.others = calls;
    bench.unit = "calls";
}

void theAudioThreadIsLeftAlone(Bench& bench)
{
    if (const char* reason = RealtimeWatch::blindness())
        throw Skip(reason);
    Player player(bench);
    Instance& plugin = player.plugin();
    std::array<float, 512> left, right;
    Offences seen;
    for (int i = 0; i < bench.rounds(300, 20000); ++i, ++bench.blocks) {
        const int frames = 1 + bench.below(512);
        std::vector<Event> events = bench.anyEvents(16, frames);
        std::erase_if(events, [](const Event& e) { return (e.bytes[0] & 0xf0) == 0xc0; });
        plugin.queue(events);
        const int index = bench.below(plugin.parameterCount());
        const float value = bench.anyValue();
        const RealtimeWatch watch(seen);
        plugin.setParameter(index, value);
        plugin.process(left.data(), right.data(), frames);
    }
    std::ostringstream text;
    text << seen;
    require(seen.count() == 0, text.str());
}

constexpr Check kChecks[] = {
    {"parameters.texts", "75 parameters have names of their own and texts that end", namesAndTexts},
    {"parameters.values", "a value that is set is the value that is read", valuesComeBack},
    {"parameters.ends", "every parameter sounds at both ends and survives what lies beyond",
     everyEndSounds},
    {"parameters.random", "any setting of all parameters gives sane sound", randomSettings},
    {"parameters.threads", "parameters are set and read on four threads while it plays",
     severalThreads},
    {"parameters.realtime", "allocates, locks and asks the kernel for nothing on the audio thread",
     theAudioThreadIsLeftAlone},
};

} // namespace

std::span<const Check> parameterChecks() { return kChecks; }

} // namespace zephra::torture
