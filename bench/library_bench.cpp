// SPDX-License-Identifier: GPL-3.0-or-later
// A library of many patches, warm: reading it whole, as after every change, and one keystroke in
// the search field. Both must grow with the number of patches and no faster.
#include "library/PatchLibrary.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <unistd.h>

namespace {

using namespace zephra;
namespace fs = std::filesystem;

struct SilentHost : LibraryHost {
    void showMessage(std::string_view, std::string_view) override {}
};

/// Banks of 333 patches in seven folders each, in the system's folder for such things.
class ManyPatches {
public:
    explicit ManyPatches(int patches)
        : root(fs::temp_directory_path() / ("zephra-bench-" + std::to_string(::getpid())))
    {
        constexpr int kPatchesPerBank = 333;
        constexpr const char* kPlaces[] = {"Bass", "Chords", "Lead", "Poly", "SFX", "Vintage", ""};
        constexpr const char* kWords[] = {"Deep", "Glass", "Wide", "Choir", "Storm"};
        for (int i = 0; i < patches; ++i) {
            const fs::path folder =
                root / ("Bank " + std::to_string(i / kPatchesPerBank)) / kPlaces[i % 7];
            fs::create_directories(folder);
            std::ofstream(folder / (std::string(kWords[i % 5]) + " " + kWords[i / 5 % 5] + " " +
                                    std::to_string(i) + " QX.fxp"));
        }
    }
    ~ManyPatches() { fs::remove_all(root); }
    ManyPatches(const ManyPatches&) = delete;
    ManyPatches& operator=(const ManyPatches&) = delete;

    const fs::path root;
};

void scan(benchmark::State& state)
{
    const ManyPatches disk(static_cast<int>(state.range(0)));
    SilentHost host;
    PatchLibrary library(disk.root, host);
    for (auto _ : state)
        library.reload(true);
    state.counters["patches"] = static_cast<double>(library.entries().size());
}

void search(benchmark::State& state)
{
    const ManyPatches disk(static_cast<int>(state.range(0)));
    SilentHost host;
    PatchLibrary library(disk.root, host);
    library.filter.searchText = "choir 1";
    for (auto _ : state)
        library.buildView({});
    state.counters["shown"] = static_cast<double>(library.view.rows.size());
}

BENCHMARK(scan)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);
BENCHMARK(search)->Arg(20000)->Arg(100000)->Unit(benchmark::kMillisecond);

} // namespace
