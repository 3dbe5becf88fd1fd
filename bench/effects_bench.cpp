// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of the two effects per host sample, in the sub-blocks of 64 that the engine renders. A
// tail that fades into silence must cost what sound costs.
#include "common/FlushDenormals.h"
#include "common/Random15.h"
#include "effects/DelayLine.h"
#include "effects/PlateReverb.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace {

using namespace zephra;

constexpr int kBlock = 64;

struct Scenario {
    const char* name;
    double fs;
    float time;     ///< of the reverb
    float feedback; ///< of the delay
    bool noise;     ///< else silence, after one second of noise that leaves a tail
};

// clang-format off
constexpr Scenario kScenarios[] = {
    // name                  fs  time  feedback  noise
    {"wet",             48000.0, 0.5f,     0.5f, true},
    {"infinite",        48000.0, 1.0f,     1.0f, true},
    {"silence",         48000.0, 0.5f,     0.5f, false},
    {"infinite_tail",   48000.0, 1.0f,     1.0f, false},
    {"wet_192k",       192000.0, 0.5f,     0.5f, true},
};
// clang-format on

/// Renders blocks of the scenario; reports seconds per sample and a hash of the first second.
template <class Process>
void run(benchmark::State& state, const Scenario& scenario, Process process)
{
    const FlushDenormals guard;
    Random15 random;
    std::vector<float> noise(1 << 14), input(noise.size(), 0.0f);
    for (float& x : noise)
        x = static_cast<float>(random.next() - 16384) / 32768.0f;

    std::array<float, kBlock> left, right;
    std::size_t from = 0;
    const auto render = [&](const std::vector<float>& source) {
        std::copy_n(source.begin() + static_cast<std::ptrdiff_t>(from), kBlock, left.begin());
        right = left;
        process(left.data(), right.data());
        from = (from + kBlock) % source.size();
    };

    std::uint64_t hash = 14695981039346656037ull;
    for (int n = 0; n < static_cast<int>(scenario.fs); n += kBlock) {
        render(noise);
        for (std::size_t i = 0; i < kBlock; ++i)
            for (const float out : {left[i], right[i]})
                hash = (hash ^ std::bit_cast<std::uint32_t>(out)) * 1099511628211ull;
    }
    if (scenario.noise)
        input = noise;
    for (auto _ : state)
        render(input);

    state.counters["per_sample"] =
        benchmark::Counter(static_cast<double>(state.iterations()) * kBlock,
                           benchmark::Counter::kIsRate | benchmark::Counter::kInvert);
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(hash));
    state.SetLabel(text);
}

void reverb(benchmark::State& state, const Scenario& scenario)
{
    PlateReverb effect(engineSeed(0, 8));
    effect.setSampleRate(scenario.fs);
    effect.setTime(scenario.time);
    effect.setColor(0.5f);
    effect.setWidth(1.0f);
    effect.setDryWet(1.0f);
    run(state, scenario,
        [&](float* left, float* right) { effect.process(left, right, kBlock, 1.0f); });
}

void delay(benchmark::State& state, const Scenario& scenario)
{
    DelayLine effect;
    effect.setSampleRate(scenario.fs);
    effect.setTime(7);
    effect.setFeedback(scenario.feedback);
    effect.setWidth(1.0f);
    effect.setDryWet(1.0f);
    run(state, scenario,
        [&](float* left, float* right) { effect.process(left, right, kBlock, 120.0, 1.0f); });
}

const bool registered = [] {
    for (const Scenario& scenario : kScenarios) {
        const std::string name = scenario.name;
        benchmark::RegisterBenchmark(("reverb/" + name).c_str(), reverb, scenario);
        benchmark::RegisterBenchmark(("delay/" + name).c_str(), delay, scenario);
    }
    return true;
}();

} // namespace
