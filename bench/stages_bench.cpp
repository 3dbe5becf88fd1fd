// SPDX-License-Identifier: GPL-3.0-or-later
// Where the time goes: each stage of the sound alone, on what the stages before it gave, in core
// cycles per voice-rate sample, all lanes together. The label is a hash of what it put out.
#include "common/FlushDenormals.h"
#include "controls/ControlTable.h"
#include "effects/DecimationStage.h"
#include "effects/DelayLine.h"
#include "effects/OutputStage.h"
#include "effects/PlateReverb.h"
#include "engine/ControlMapping.h"
#include "engine/Smoothers.h"
#include "Measure.h"
#include "voice/AmpCurve.h"
#include "voice/FilterBank.h"
#include "voice/ShapeTables.h"
#include "voice/VoiceRack.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace zephra::bench {
namespace {

constexpr double kRate = 48000.0;
constexpr int kFrames = 64; ///< host samples of a sub-block
constexpr int kCount = kFrames * kOversampling;
constexpr int kSubBlocks = 4; ///< of one chunk that is timed

struct Scene {
    const char* name;
    PolyMode mode;
    Revision revision;
    float feedback = 0.0f;
    float resonance = 0.0f;
};
// clang-format off
constexpr Scene kScenes[] = {
    // name                 mode            revision      feedback resonance
    {"poly-8",              PolyMode::Poly8, Revision::Late},
    {"poly-8 feedback",     PolyMode::Poly8, Revision::Late,  0.7f},
    {"poly-8 early",        PolyMode::Poly8, Revision::Early},
    {"poly-4",              PolyMode::Poly4, Revision::Late},
    {"poly-4 sings",        PolyMode::Poly4, Revision::Late,  0.0f, 1.0f},
    {"poly-4 early",        PolyMode::Poly4, Revision::Early},
    {"mono",                PolyMode::Mono,  Revision::Late},
};
// clang-format on

/// Three saws in every voice of the mode, as the Init Patch has the rest.
EngineValues valuesOf(const Scene& scene)
{
    EngineTargets targets;
    const auto set = [&](int id, double v) { mapControl(targets, id, v, kRate, false); };
    for (const ControlInfo& control : kControls)
        if (control.isStored())
            set(control.id, control.defaultValue);
    for (const int id : {mixer_osc_1, mixer_osc_2, mixer_osc_3, osc_3_ktrk})
        set(id, 1.0);
    set(osc_3_range, 2.0);
    set(mixer_feedback, scene.feedback);
    set(filter_resonance, scene.resonance);
    EngineValues values;
    stepSmoothers(values, targets, 0.0, 1.0f);
    snapSmoothedValues(values, targets, 0.0);
    values.polyMode = scene.mode;
    values.revision = scene.revision;
    return values;
}

/// All stages with their buffers of one chunk.
struct Chain {
    explicit Chain(const Scene& scene) : values(valuesOf(scene))
    {
        rack.setSampleRate(kRate);
        filter.setSampleRate(kRate);
        output.setSampleRate(kRate);
        reverb.setSampleRate(kRate);
        reverb.setDryWet(0.5f);
        delay.setSampleRate(kRate);
        delay.setDryWet(0.5f);
        for (int i = 0; i < voicesOf(scene.mode); ++i)
            rack[i].startNote(values, true, 36 + 5 * i, 100.0f / 127.0f, 0);
    }

    struct SubBlock {
        LaneBuffer lanes;
        std::array<float, kCount> overLeft{}, overRight{};
        std::array<float, kFrames> left{}, right{};
    };

    EngineValues values;
    Performance performance;
    VoiceRack rack{0};
    FilterBank filter;
    DecimationStage decimator;
    OutputStage output;
    PlateReverb reverb{engineSeed(0, 8)};
    DelayLine delay;
    std::array<SubBlock, kSubBlocks> blocks;
};

using Stage = void (*)(Chain&, Chain::SubBlock&);
// clang-format off
constexpr struct {
    const char* name;
    Stage run;
} kStages[] = {
    {"voices", [](Chain& c, Chain::SubBlock& b) {
        c.rack.render(c.values, c.performance, b.lanes, 0, kCount); }},
    {"filter", [](Chain& c, Chain::SubBlock& b) {
        c.filter.process(c.values, b.lanes, kCount, b.overLeft.data(), b.overRight.data()); }},
    {"decimator", [](Chain& c, Chain::SubBlock& b) {
        c.decimator.process(b.overLeft.data(), b.overRight.data(), kFrames, b.left.data(),
                            b.right.data()); }},
    {"output", [](Chain& c, Chain::SubBlock& b) {
        c.output.process(b.left.data(), b.right.data(), kFrames, 0.25f, true); }},
    {"reverb", [](Chain& c, Chain::SubBlock& b) {
        c.reverb.process(b.left.data(), b.right.data(), kFrames, 1.0f); }},
    {"delay", [](Chain& c, Chain::SubBlock& b) {
        c.delay.process(b.left.data(), b.right.data(), kFrames, 120.0, 1.0f); }},
};
// clang-format on

void stages(benchmark::State& state, const Scene& scene)
{
    constexpr int kWarmUp = 100, kChunks = 400;
    const FlushDenormals guard;
    const auto chain = std::make_unique<Chain>(scene);
    SoundHash hash;
    std::array<std::vector<double>, std::size(kStages)> times;
    for (int chunk = 0; chunk < kWarmUp + kChunks; ++chunk) {
        for (std::size_t stage = 0; stage < std::size(kStages); ++stage) {
            const double start = threadSeconds();
            for (Chain::SubBlock& block : chain->blocks)
                kStages[stage].run(*chain, block);
            if (chunk >= kWarmUp)
                times[stage].push_back(threadSeconds() - start);
        }
        for (const Chain::SubBlock& block : chain->blocks)
            hash.add(block.left, block.right);
    }
    const double cyclesPerSecond = coreHz() / (kSubBlocks * kCount);
    double sum = 0.0;
    for (std::size_t stage = 0; stage < std::size(kStages); ++stage) {
        const double seconds = lowerQuartile(times[stage]);
        state.counters[kStages[stage].name] = seconds * cyclesPerSecond;
        sum += seconds;
    }
    for (auto _ : state)
        state.SetIterationTime(sum / (kSubBlocks * kFrames));
    state.SetLabel(hash.text());
}

const bool registered = [] {
    shapeTables();
    ampCurve();
    for (const Scene& scene : kScenes)
        benchmark::RegisterBenchmark((std::string("stages/") + scene.name).c_str(), stages, scene)
            ->UseManualTime()
            ->Iterations(1);
    return true;
}();

} // namespace
} // namespace zephra::bench
