// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of the two effects per host sample, in the sub-blocks of 64 that the engine renders. A
// silent tail must cost what a sounding one costs.
#include "common/FlushDenormals.h"
#include "effects/DelayLine.h"
#include "effects/PlateReverb.h"

#include <benchmark/benchmark.h>

#include <array>
#include <bit>
#include <cstdint>

namespace {

using namespace zephra;

constexpr int kBlock = 64;

enum class Input { Noise, Silence };

struct Scenario {
    const char* name;
    double fs;
    float time; ///< of the reverb
    float feedback; ///< of the delay
    Input input;
};

constexpr Scenario kScenarios[] = {
    { "wet", 48000.0, 0.5f, 0.5f, Input::Noise },
    { "infinite", 48000.0, 1.0f, 1.0f, Input::Noise },
    { "silence", 48000.0, 0.5f, 0.5f, Input::Silence },
    { "infinite silence", 48000.0, 1.0f, 1.0f, Input::Silence },
    { "wet 192k", 192000.0, 0.5f, 0.5f, Input::Noise },
};

/// Renders blocks of the scenario; reports nanoseconds per sample and a hash of the first second.
template <class Render>
void run(benchmark::State& state, const Scenario& scenario, Render render)
{
    const FlushDenormals guard;
    Random15 random;
    std::array<float, kBlock> left, right;
    const auto block = [&] {
        for (int i = 0; i < kBlock; ++i) {
            const bool noise = scenario.input == Input::Noise;
            left[i] = noise ? static_cast<float>(random.next() - 16384) / 32768.0f : 0.0f;
            right[i] = noise ? static_cast<float>(random.next() - 16384) / 32768.0f : 0.0f;
        }
        render(left.data(), right.data());
    };

    std::uint64_t hash = 14695981039346656037ull;
    for (int n = 0; n < static_cast<int>(scenario.fs); n += kBlock) {
        block();
        for (int i = 0; i < kBlock; ++i)
            for (float out : { left[i], right[i] })
                hash = (hash ^ std::bit_cast<std::uint32_t>(out)) * 1099511628211ull;
    }
    for (auto _ : state)
        block();

    state.counters["per_sample"] = benchmark::Counter(
        static_cast<double>(state.iterations()) * kBlock,
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
