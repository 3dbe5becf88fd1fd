// SPDX-License-Identifier: GPL-3.0-or-later
#include "torture/Player.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <limits>
#include <thread>

namespace zephra::torture {

namespace {

/// The instrument goes on: all keys up, then one note that is heard.
void requireItPlays(Player& player)
{
    player.play(64, {{0, {0xb0, 123, 0}}});
    float peak = 0.0f;
    player.play(512, {noteOn(0, 57, 127)});
    for (int i = 0; i < 20; ++i) {
        player.play(512);
        peak = std::max(peak, player.peak());
    }
    require(peak > 1e-4f, "it plays no more");
}

void tenThousand(Bench& bench)
{
    Player player(bench);
    for (const int howMany : {127, 128, 129, 1000, 4096, 4097, 10000}) {
        for (int i = 0; i < bench.rounds(2, 20); ++i, bench.others += howMany)
            player.play(512, bench.anyEvents(howMany, 512));
    }
    bench.unit = "events";
    requireItPlays(player);
}

void anyBytesAnywhere(Bench& bench)
{
    constexpr std::array kOutside = {
        -1, -100000, 512, 100000, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()};
    Player player(bench);
    for (int i = 0; i < bench.rounds(150, 5000); ++i) {
        std::vector<Event> events(30);
        for (Event& event : events) {
            event.sample = bench.below(4) ? bench.below(512)
                                          : kOutside[static_cast<std::size_t>(bench.below(6))];
            for (std::uint8_t& byte : event.bytes)
                byte = static_cast<std::uint8_t>(bench.below(256));
            if (bench.below(2))
                event.bytes[0] |= 0x80; // a status
        }
        bench.others += 30;
        player.play(1 + bench.below(512), events);
    }
    bench.unit = "events";
    requireItPlays(player);
}

void keyOnAndOffAtOnce(Bench& bench)
{
    Player player(bench);
    for (int i = 0; i < bench.rounds(50, 1000); ++i) {
        const int key = 24 + bench.below(80);
        player.play(64, {noteOn(5, key), noteOff(5, key), noteOn(5, key), noteOff(5, key)});
    }
    for (int second = 0; second < 20 && player.peak() != 0.0f; ++second)
        player.playFor(48000);
    require(player.peak() == 0.0f, "a note hangs");
}

void programChange(Bench& bench)
{
    using namespace std::chrono_literals;
    Player player(bench);
    for (int program = 1; program <= bench.rounds(3, 20); ++program, ++bench.others) {
        const Bytes before = player.plugin().state();
        const auto end = std::chrono::steady_clock::now() + 10s;
        player.play(64, {{0, {0xc0, static_cast<std::uint8_t>(program), 0}}});
        while (player.plugin().state() == before) {
            require(std::chrono::steady_clock::now() < end, "no other patch is loaded");
            std::this_thread::sleep_for(1ms);
            player.play(64);
        }
    }
    bench.unit = "patches";
    requireItPlays(player);
}

constexpr Check kChecks[] = {
    {"events.many", "a block may hold 10,000 events", tenThousand},
    {"events.bytes", "events may hold any bytes, in any order, within their block and outside",
     anyBytesAnywhere},
    {"events.hanging", "no note hangs that starts and ends on one sample", keyOnAndOffAtOnce},
    {"events.program", "a program change loads another patch of the library", programChange},
};

} // namespace

std::span<const Check> eventChecks() { return kChecks; }

} // namespace zephra::torture
