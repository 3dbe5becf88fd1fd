// SPDX-License-Identifier: GPL-3.0-or-later
#include "torture/Player.h"

#include <fstream>
#include <future>
#include <malloc.h>
#include <unistd.h>

namespace zephra::torture {

namespace {

/// A number of this process by its name in the kernel's list.
long statusOf(const std::string& name)
{
    std::ifstream status("/proc/self/status");
    for (std::string word; status >> word;) {
        if (long value = -1; word == name && status >> value)
            return value;
    }
    return -1;
}

long residentBytes() { return statusOf("VmRSS:") * 1024; }
long threadCount() { return statusOf("Threads:"); }

void openAndClose(Bench& bench)
{
    const int times = bench.rounds(100, 1000);
    const auto resident = bench.format.open(); // keeps the library
    long before = 0;
    for (int i = 0; i < times; ++i, ++bench.others) {
        if (i == times / 2) {
            ::malloc_trim(0);
            before = residentBytes();
        }
        if (i % 4 == 3) {
            bench.format.open(); // and nothing else
            continue;
        }
        Player player(bench);
        player.play(64, {noteOn(0, 60)});
    }
    ::malloc_trim(0);
    const long grown = residentBytes() - before;
    require(kSanitized || grown < 4'000'000, "it keeps " + std::to_string(grown) + " bytes");
    bench.unit = "instances";
}

void openAndCloseWithItsLibrary(Bench& bench)
{
    for (int i = 0; i < bench.rounds(20, 300); ++i, ++bench.others) {
        Player player(bench);
        player.play(64, {noteOn(0, 60)});
    }
    for (int wait = 0; wait < 1000 && threadCount() > 1; ++wait)
        ::usleep(1000); // an ended thread is counted for a moment
    require(kSanitized || threadCount() == 1, "a thread of it goes on");
    bench.unit = "loads";
}

void twoHundred(Bench& bench)
{
    const int howMany = bench.rounds(60, 200);
    const long before = residentBytes();
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < howMany; ++i)
        players.push_back(std::make_unique<Player>(bench, 44100.0, 256));
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < howMany; ++i)
            players[static_cast<std::size_t>(i)]->play(256, {noteOn(i % 256, 36 + i % 60)});
    }
    for (const auto& player : players)
        require(player->peak() > 0.0f, "not all of them sound");
    const long each = (residentBytes() - before) / howMany;
    require(kSanitized || each < 30'000'000, std::to_string(each) + " bytes an instance");
    require(threadCount() < 10, std::to_string(threadCount()) + " threads");
    bench.others = howMany;
    bench.unit = "instances";
}

void independent(Bench& bench)
{
    Player one(bench), other(bench);
    const Bytes before = other.plugin().state();
    for (int index = 0; index < one.plugin().parameterCount(); ++index)
        one.plugin().setParameter(index, 1.0f - one.plugin().parameter(index));
    one.play(512, {noteOn(0, 60), {0, {0xb0, 1, 127}}});
    other.play(512);
    require(other.plugin().state() == before && other.peak() < kSilence,
            "one instance moves another");
}

void onManyThreads(Bench& bench)
{
    const Player loaded(bench); // a thread checker does not see the locks of the loader
    const auto live = [](Bench own) {
        for (; own.others < own.rounds(5, 100); ++own.others) {
            Player player(own);
            for (int block = 0; block < 5; ++block)
                player.play(256, own.anyEvents(6, 256));
            player.plugin().restore(player.plugin().state());
        }
        return own;
    };
    std::vector<std::future<Bench>> threads;
    for (int i = 0; i < 4; ++i)
        threads.push_back(std::async(std::launch::async, live, bench));
    for (auto& thread : threads) {
        const Bench own = thread.get();
        bench.blocks += own.blocks;
        bench.others += own.others;
    }
    bench.unit = "instances";
}

constexpr Check kChecks[] = {
    {"life.many", "opens and closes many times, also unplayed, and keeps no memory", openAndClose},
    {"life.reload", "its library is loaded and unloaded as often, and no thread stays",
     openAndCloseWithItsLibrary},
    {"life.together", "two hundred play at once, below 30 MB each and on few threads", twoHundred},
    {"life.apart", "no instance hears of another", independent},
    {"life.threads", "four threads open, play and close at the same time", onManyThreads},
};

} // namespace

std::span<const Check> lifeChecks() { return kChecks; }

} // namespace zephra::torture
