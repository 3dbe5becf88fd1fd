// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/Library.h"
#include "realtime/RealtimeWatch.h"
#include "torture/Player.h"

#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdlib>

namespace zephra::torture {

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

void exportsItsEntryPoints(Bench& bench)
{
    const auto found = test::definedSymbols(bench.format.library());
    require(found == bench.format.entryPoints(), "it exports other symbols");
    bench.others = static_cast<long>(found.size());
    bench.unit = "symbols";
}

void needsTheRunTimeOnly(Bench& bench)
{
    constexpr const char* kAllowed[] = {"libstdc++.so", "libm.so", "libgcc_s.so", "libc.so",
                                        "ld-linux",     "libasan", "libubsan",    "libtsan"};
    for (const std::string& name : test::neededLibraries(bench.format.library())) {
        require(std::ranges::any_of(kAllowed,
                                    [&](const char* start) { return name.starts_with(start); }),
                "it needs " + name);
        ++bench.others;
    }
    bench.unit = "libraries";
}

bool isLoaded(const Format& format)
{
    return ::dlopen(format.library().c_str(), RTLD_NOW | RTLD_NOLOAD) != nullptr;
}

void loadsFastAndUnloads(Bench& bench)
{
    Milliseconds best{1e9};
    for (int i = 0; i < bench.rounds(20, 200); ++i) {
        const auto start = Clock::now();
        {
            const test::Library library(bench.format.library());
            best = std::min(best, Milliseconds(Clock::now() - start));
        }
        ++bench.others;
        require(kSanitized || !isLoaded(bench.format), "it stays in memory");
    }
    require(kSanitized || best < Milliseconds(20),
            "it takes " + std::to_string(best.count()) + " ms");
    bench.unit = "loads";
}

/// Tells what happens in the folders that the instrument may use.
class FolderWatch {
public:
    FolderWatch() : queue(::inotify_init1(IN_NONBLOCK))
    {
        for (const char* folder : {"HOME", "ZEPHRA_DATA_ROOT", "ZEPHRA_SETTINGS_DIR"})
            ::inotify_add_watch(queue, std::getenv(folder),
                                IN_OPEN | IN_ACCESS | IN_CREATE | IN_DELETE | IN_MOVE | IN_ATTRIB);
    }
    ~FolderWatch() { ::close(queue); }
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    bool sawAnything() const
    {
        alignas(inotify_event) char events[4096];
        return ::read(queue, events, sizeof events) > 0;
    }

private:
    const int queue;
};

void scansWithoutTheDisk(Bench& bench)
{
    const FolderWatch folders;
    for (int i = 0; i < bench.rounds(20, 200); ++i, ++bench.others)
        bench.format.scan();
    bench.unit = "scans";
    require(!folders.sawAnything(), "a scan looks into the folders of the user");

    Player player(bench); // or the watch would be blind
    player.play(64);
    require(folders.sawAnything(), "not even an instrument looks into the folders of the user");
}

void opensFast(Bench& bench)
{
    Milliseconds best{1e9}; // whatever else the machine does
    for (int i = 0; i < bench.rounds(5, 50); ++i) {
        const auto start = Clock::now();
        Player player(bench);
        player.play(64);
        best = std::min(best, Milliseconds(Clock::now() - start));
    }
    require(kSanitized || best < Milliseconds(150),
            "it takes " + std::to_string(best.count()) + " ms to open");
    bench.others = std::lround(best.count());
    bench.unit = "ms at best";
}

constexpr Check kChecks[] = {
    {"library.exports", "exports its entry points and nothing else", exportsItsEntryPoints},
    {"library.needs", "needs the C and C++ run-time and nothing else", needsTheRunTimeOnly},
    {"library.load", "loads in less than 20 ms and leaves nothing when unloaded",
     loadsFastAndUnloads},
    {"library.scan", "looks at no file of the user when it is only listed", scansWithoutTheDisk},
    {"library.open", "is ready to play in less than 150 ms", opensFast},
};

} // namespace

std::span<const Check> libraryChecks() { return kChecks; }

} // namespace zephra::torture
