// SPDX-License-Identifier: GPL-3.0-or-later
// The worst case: storms of notes, all controls automated, mode changes and whole patches, and of
// each the dearest single call of 64 samples against the median. A host has a deadline for every
// call, not for the mean.
#include "common/Random15.h"
#include "controls/ControlTable.h"
#include "Measure.h"
#include "synth/VstXSynth.h"

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

namespace zephra::bench {
namespace {

constexpr int kFrames = 64;
constexpr int kCalls = 6000;

/// What happens between two calls, in calls on average; 0: never.
struct Script {
    const char* name;
    int notes, controls, modes, patches;
};
// clang-format off
constexpr Script kScripts[] = {
    // name       notes controls modes patches
    {"held",          0,    0,     0,    0},
    {"notes",         1,    0,     0,    0},
    {"controls",      0,    1,     0,    0},
    {"modes",        10,    0,    50,    0},
    {"patches",      10,    0,     0,   50},
    {"everything",    1,    1,   100,  100},
};
// clang-format on

/// Seconds of every call of the script, which is the same in every run.
std::vector<double> play(const Script& script)
{
    Random15 random;
    const auto below = [&random](int n) { return random.next() % n; };
    const auto happens = [&](int every) { return every > 0 && below(every) == 0; };

    VstXSynth plugin;
    plugin.setSampleRate(48000.0);
    plugin.setBlockSize(kFrames);
    plugin.setControlSilently(polyphony, 3.0f);
    plugin.snapSmoothers();
    std::array<MidiEvent, 8> events;
    std::array<const HostEvent*, 8> pointers{};
    const auto send = [&](int count, auto eventOf) {
        for (int i = 0; i < count; ++i) {
            const auto n = static_cast<std::size_t>(i);
            events[n] = eventOf(i);
            pointers[n] = &events[n];
        }
        const HostEvents list = {count, pointers.data()};
        plugin.processEvents(&list);
    };
    const auto chord = [&] { send(8, [](int i) { return MidiEvent(0, 0x90, 36 + 5 * i, 100); }); };
    const auto turnAllControls = [&] { // but polyphony, which silences the voices
        for (int i = 0; i < kNumHostParameters; ++i)
            if (kHostParameters[static_cast<std::size_t>(i)].id != polyphony)
                plugin.setParameter(i, static_cast<float>(below(32768)) / 32767.0f);
    };
    chord();

    std::array<float, kFrames> left, right;
    float* outputs[] = {left.data(), right.data()};
    std::vector<double> seconds;
    for (int call = 0; call < kCalls; ++call) {
        if (happens(script.notes))
            send(8, [&](int i) {
                return MidiEvent(8 * i, below(2) == 0 ? 0x80 : 0x90, 24 + below(84),
                                 1 + below(127));
            });
        if (happens(script.controls))
            turnAllControls();
        if (happens(script.modes)) {
            plugin.setControlSilently(polyphony, static_cast<float>(below(4)));
            chord();
        }
        if (happens(script.patches)) {
            turnAllControls();
            void* chunk = nullptr;
            const int bytes = plugin.getChunk(&chunk, true);
            const std::vector<char> patch(static_cast<char*>(chunk),
                                          static_cast<char*>(chunk) + bytes);
            plugin.setChunk(patch.data(), bytes, true);
            chord();
        }
        const double start = threadSeconds();
        plugin.processReplacing(nullptr, outputs, kFrames);
        seconds.push_back(threadSeconds() - start);
    }
    return seconds;
}

struct Result {
    double worst = 0.0, median = 0.0; ///< seconds
    int atCall = 0;                   ///< where the worst was
};

Result measure(const Script& script)
{
    // What only one of the runs was slow at is another program's doing.
    constexpr int kRuns = 5;
    std::vector<double> least(kCalls, 1.0);
    for (int run = 0; run < kRuns; ++run) {
        const std::vector<double> seconds = play(script);
        for (std::size_t i = 0; i < least.size(); ++i)
            least[i] = std::min(least[i], seconds[i]);
    }
    const auto worst = std::ranges::max_element(least);
    Result result{*worst, 0.0, static_cast<int>(worst - least.begin())};
    std::ranges::nth_element(least, least.begin() + kCalls / 2);
    result.median = least[kCalls / 2];
    return result;
}

void stress(benchmark::State& state, const Script& script)
{
    const Result result = inChild([&] { return measure(script); });
    for (auto _ : state)
        state.SetIterationTime(result.worst);
    state.counters["median_us"] = 1e6 * result.median;
    state.counters["worst_over_median"] = result.worst / result.median;
    state.counters["at_call"] = result.atCall;
}

const bool registered = [] {
    for (const Script& script : kScripts)
        benchmark::RegisterBenchmark((std::string("stress/") + script.name).c_str(), stress, script)
            ->UseManualTime()
            ->Iterations(1)
            ->Unit(benchmark::kMicrosecond);
    return true;
}();

} // namespace
} // namespace zephra::bench
