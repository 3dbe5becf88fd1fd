// SPDX-License-Identifier: GPL-3.0-or-later
#include "torture/Torture.h"

#include "hosts/support/Library.h"
#include "realtime/RealtimeWatch.h" // sees the plug-in

#include <gmock/gmock.h>

#include <chrono>
#include <fstream>
#include <future>
#include <malloc.h>
#include <unistd.h>

namespace zephra::torture {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

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

template <class Act> Milliseconds best(int times, Act act)
{
    Milliseconds least{1e9}; // whatever else the machine does
    for (int i = 0; i < times; ++i) {
        const auto start = std::chrono::steady_clock::now();
        act();
        least = std::min<Milliseconds>(least, std::chrono::steady_clock::now() - start);
    }
    return least;
}

TEST_P(Torture, LibraryExportsItsEntryPointsAndNeedsTheRunTimeOnly)
{
    EXPECT_EQ(test::definedSymbols(format.library), format.entryPoints);
    EXPECT_THAT(test::neededLibraries(format.library),
                testing::Each(testing::MatchesRegex(
                    "(libstdc\\+\\+|libm|libgcc_s|libc|ld-linux|libasan|libubsan|libtsan).*")));
}

TEST_P(Torture, LoadsIn20MillisecondsAndPlaysIn150)
{
    const auto load = [&] { const test::Library library(format.library); };
    const auto open = [&] { Player(format).play(64); };
    const auto toLoad = best(20, load), toOpen = best(5, open);
    if (!kSanitized) {
        EXPECT_LT(toLoad.count(), 20.0);
        EXPECT_LT(toOpen.count(), 150.0);
        EXPECT_EQ(::dlopen(format.library, RTLD_NOW | RTLD_NOLOAD), nullptr) << "it stays";
    }
}

TEST_P(Torture, AScanLeavesTheFoldersOfTheUserAlone)
{
    std::filesystem::remove_all(home / "data");
    format.scan();
    EXPECT_EQ(home.count(), 0);
    Player(format).play(64);
    EXPECT_TRUE(std::filesystem::exists(soundbanks() / "Showcase/Bass Carpet QX.fxp"));
}

TEST_P(Torture, OpensAndClosesAThousandTimesAndKeepsNoMemory)
{
    const int times = rounds(100, 1000);
    const auto resident = format.open(48000.0, 512); // keeps the library
    long before = 0;
    for (int i = 0; i < times; ++i) {
        if (i == times / 2) {
            ::malloc_trim(0);
            before = residentBytes();
        }
        if (i % 4 == 3)
            format.open(48000.0, 512); // and nothing else
        else
            Player(format).play(64, {noteOn(0, 60)});
    }
    ::malloc_trim(0);
    EXPECT_TRUE(kSanitized || residentBytes() - before < 4'000'000) << residentBytes() - before;
}

TEST_P(Torture, IsLoadedAndUnloadedAndNoThreadStays)
{
    const long before = threadCount();
    for (int i = 0; i < rounds(20, 300); ++i)
        Player(format).play(64, {noteOn(0, 60)});
    for (int wait = 0; wait < 1000 && threadCount() > before; ++wait)
        ::usleep(1000); // an ended thread is counted for a moment
    EXPECT_TRUE(kSanitized || threadCount() <= before);
}

TEST_P(Torture, TwoHundredPlayAtOnceWithLittleMemoryAndFewThreads)
{
    const int howMany = rounds(60, 200);
    const long before = residentBytes();
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < howMany; ++i)
        players.push_back(std::make_unique<Player>(format, 44100.0, 256));
    for (int round = 0; round < 4; ++round) {
        for (int i = 0; i < howMany; ++i) {
            const auto at = static_cast<std::size_t>(i);
            EXPECT_TRUE(players[at]->play(256, {noteOn(i % 256, 36 + i % 60)}) > 0.0f || round < 3);
        }
    }
    EXPECT_TRUE(kSanitized || (residentBytes() - before) / howMany < 30'000'000);
    EXPECT_LT(threadCount(), 10);
}

TEST_P(Torture, NoInstanceHearsOfAnother)
{
    Player one(format), other(format);
    const Bytes before = other.plugin->state();
    for (int index = 0; index < kNumHostParameters; ++index)
        one.plugin->set(index, 1.0f - one.plugin->value(index));
    one.play(512, {noteOn(0, 60), {0, {0xb0, 1, 127}}});
    EXPECT_LT(other.play(512), 1e-6f);
    EXPECT_EQ(other.plugin->state(), before);
}

TEST_P(Torture, FourThreadsOpenPlayAndClose)
{
    const Player loaded(format); // a thread checker does not see the locks of the loader
    const auto live = [this](unsigned seed) {
        Dice own(seed);
        for (int life = 0; life < rounds(5, 100); ++life) {
            Player player(format);
            for (int block = 0; block < 5; ++block)
                player.play(256, own.events(6, 256));
            player.plugin->restore(player.plugin->state());
        }
    };
    std::vector<std::future<void>> threads;
    for (unsigned seed = 1; seed <= 4; ++seed)
        threads.push_back(std::async(std::launch::async, live, seed));
    for (auto& thread : threads)
        thread.get(); // throws what it has thrown
}

INSTANTIATE_TEST_SUITE_P(, Torture, testing::Values(&kVst2, &kLv2, &kAax),
                         [](const auto& at) { return std::string(at.param->name); });

} // namespace
} // namespace zephra::torture
