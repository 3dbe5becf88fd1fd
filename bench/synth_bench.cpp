// SPDX-License-Identifier: GPL-3.0-or-later
// Cost of the running plug-in per host sample (the column Time), how many times faster than real
// time that is, core cycles per voice-rate sample, and a hash of what the scenario sounds like from
// its first sample on: a faster instrument that gives another hash is another instrument. Numbers
// to look at, never asserted.
#include "controls/ControlIds.h"
#include "Measure.h"
#include "synth/VstXSynth.h"
#include "voice/VoiceRates.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstddef>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace zephra::bench {
namespace {

enum Mode { Unison, Poly4, Mono, Poly8 };
enum Revision { Late, Early };

struct Setting {
    int control = panel_view; ///< no sound
    float value = 0.0f;       ///< control value
};

/// One instrument, with the Init Patch but for what is told here.
struct Scenario {
    const char* name;
    Mode mode = Poly8;
    Revision revision = Late;
    int keys = 8; ///< held
    std::array<Setting, 9> settings{};
    double rate = 48000.0; ///< Hz
    int block = 64;        ///< samples of a host block, a power of two up to 4096
    int instances = 1;     ///< that take turns, block by block; the cost is that of one
};

constexpr std::array<Setting, 9> kEffects = {{
    {fx_active, 1.0f},
    {fx_rev_dry_wet, 0.5f},
    {fx_del_dry_wet, 0.5f},
}};
constexpr std::array<Setting, 9> kThreeSaws = {{
    {mixer_osc_2, 1.0f},
    {mixer_osc_3, 1.0f},
    {osc_3_range, 2.0f},
    {osc_3_ktrk, 1.0f},
}};
constexpr std::array<Setting, 9> threeSawsAnd(std::initializer_list<Setting> more)
{
    auto settings = kThreeSaws;
    std::ranges::copy(more, settings.begin() + 4);
    return settings;
}
constexpr auto kThreeSawsAndEffects = threeSawsAnd({kEffects[0], kEffects[1], kEffects[2]});
/// The steepest task for a ladder that iterates.
constexpr auto kThreeSawsSinging = threeSawsAnd({{filter_cutoff, 1.0f}, {filter_resonance, 1.0f}});
constexpr auto kThreeSawsVibrato = threeSawsAnd({{controls_osc_modulation_sw, 1.0f},
                                                 {modulation_source_3, 6.0f},
                                                 {modulation_target_3, 2.0f},
                                                 {modwheel_amount, 1.0f},
                                                 {modwheel, 1.0f}});
constexpr std::array<Setting, 9> kThreeOscillators = {{
    {mixer_osc_2, 1.0f},
    {mixer_osc_3, 1.0f},
    {osc_3_range, 2.0f},
    {osc_3_ktrk, 1.0f},
    {mixer_noise, 0.5f},
}};

// clang-format off
constexpr Scenario kScenarios[] = {
    // name                         mode    revision keys settings                      rate    block
    {"three saws/poly-8",           Poly8,  Late,    8, kThreeSaws,                     48000.0, 256},
    {"three saws/poly-8 early",     Poly8,  Early,   8, kThreeSaws,                     48000.0, 256},
    {"three saws/poly-8 effects",   Poly8,  Late,    8, kThreeSawsAndEffects,           48000.0, 256},
    {"three saws/poly-4",           Poly4,  Late,    4, kThreeSaws,                     48000.0, 256},
    {"three saws/poly-4 sings",     Poly4,  Late,    4, kThreeSawsSinging,              48000.0, 256},
    {"three saws/poly-8 vibrato",   Poly8,  Late,    8, kThreeSawsVibrato,              48000.0, 256},
    {"three saws/poly-4 early",     Poly4,  Early,   4, kThreeSaws,                     48000.0, 256},
    {"three saws/mono",             Mono,   Late,    1, kThreeSaws,                     48000.0, 256},
    {"asleep",                      Poly8,  Late,    0, {},                             48000.0, 256},
    {"asleep with effects",         Poly8,  Late,    0, kEffects,                       48000.0, 256},
    {"voices/1",                    Poly8,  Late,    1},
    {"voices/4",                    Poly8,  Late,    4},
    {"voices/8",                    Poly8,  Late,    8},
    {"voices/2",                    Poly8,  Late,    2},
    {"voices/6",                    Poly8,  Late,    6},
    {"voices/1 early",              Poly8,  Early,   1},
    {"voices/4 early",              Poly8,  Early,   4},
    {"voices/8 early",              Poly8,  Early,   8},
    {"mode/mono",                   Mono,   Late,    1},
    {"mode/mono early",             Mono,   Early,   1},
    {"mode/unison",                 Unison, Late,    1},
    {"mode/unison early",           Unison, Early,   1},
    {"mode/poly-4",                 Poly4,  Late,    4},
    {"mode/poly-4 early",           Poly4,  Early,   4},
    {"wave/triangle",               Poly8,  Late,    8, {{{osc_1_waveform, 0.0f}}}},
    {"wave/shark",                  Poly8,  Late,    8, {{{osc_1_waveform, 1.0f}}}},
    {"wave/saw",                    Poly8,  Late,    8, {{{osc_1_waveform, 2.0f}}}},
    {"wave/rev saw",                Poly8,  Late,    8, {{{osc_1_waveform, 3.0f}}}},
    {"wave/pulse",                  Poly8,  Late,    8, {{{osc_1_waveform, 4.0f}}}},
    {"wave/wide",                   Poly8,  Late,    8, {{{osc_1_waveform, 5.0f}}}},
    {"wave/narrow",                 Poly8,  Late,    8, {{{osc_1_waveform, 6.0f}}}},
    {"wave/all and noise",          Poly8,  Late,    8, kThreeOscillators},
    {"wave/all and noise early",    Poly8,  Early,   8, kThreeOscillators},
    {"filter/resonant",             Poly8,  Late,    8, {{{filter_resonance, 0.5f}}}},
    {"filter/resonant early",       Poly8,  Early,   8, {{{filter_resonance, 0.5f}}}},
    {"filter/sings",                Poly8,  Late,    8, {{{filter_resonance, 1.0f}}}},
    {"filter/sings early",          Poly8,  Early,   8, {{{filter_resonance, 1.0f}}}},
    {"filter/sings unison",         Unison, Late,    1, {{{filter_resonance, 1.0f}}}},
    {"filter/sings unison early",   Unison, Early,   1, {{{filter_resonance, 1.0f}}}},
    {"filter/open and driven",      Poly8,  Late,    8, {{{filter_cutoff, 1.0f}, {mixer_drive, 1.0f}}}},
    {"filter/open and driven early",Poly8,  Early,   8, {{{filter_cutoff, 1.0f}, {mixer_drive, 1.0f}}}},
    {"feedback",                    Poly8,  Late,    8, {{{mixer_feedback, 0.7f}}}},
    {"feedback early",              Poly8,  Early,   8, {{{mixer_feedback, 0.7f}}}},
    {"effects",                     Poly8,  Late,    8, kEffects},
    {"rate/44100",                  Poly8,  Late,    8, {},                             44100.0},
    {"rate/48000",                  Poly8,  Late,    8, {},                             48000.0},
    {"rate/96000",                  Poly8,  Late,    8, {},                             96000.0},
    {"rate/192000",                 Poly8,  Late,    8, {},                            192000.0},
    {"block/16",                    Poly8,  Late,    8, {},                             48000.0, 16},
    {"block/64",                    Poly8,  Late,    8, {},                             48000.0, 64},
    {"block/256",                   Poly8,  Late,    8, {},                             48000.0, 256},
    {"block/1024",                  Poly8,  Late,    8, {},                             48000.0, 1024},
    {"instances/1",                 Poly8,  Late,    8, kEffects,                       48000.0, 256},
    {"instances/4",                 Poly8,  Late,    8, kEffects,                       48000.0, 256, 4},
    {"instances/16",                Poly8,  Late,    8, kEffects,                       48000.0, 256, 16},
    {"instances/64",                Poly8,  Late,    8, kEffects,                       48000.0, 256, 64},
};
// clang-format on

struct Result {
    double secondsPerSample = 0.0;
    std::array<char, 17> hash{}; ///< over the first second or so
};

/// One instrument and the buffers of its host.
class Player {
public:
    explicit Player(const Scenario& scenario)
        : block(scenario.block), left(static_cast<std::size_t>(block)), right(left)
    {
        plugin.setSampleRate(scenario.rate);
        plugin.setBlockSize(block);
        plugin.setControlSilently(polyphony, static_cast<float>(scenario.mode));
        plugin.setControlSilently(opts_revision, static_cast<float>(scenario.revision));
        for (const Setting& setting : scenario.settings)
            plugin.setControlSilently(setting.control, setting.value);
        plugin.snapSmoothers();

        std::array<MidiEvent, 8> notes;
        std::array<const HostEvent*, 8> pointers{};
        for (int i = 0; i < scenario.keys; ++i) {
            const auto n = static_cast<std::size_t>(i);
            notes[n] = MidiEvent(0, 0x90, 36 + 5 * i, 100);
            pointers[n] = &notes[n];
        }
        const HostEvents keys = {scenario.keys, pointers.data()};
        plugin.processEvents(&keys);
    }
    void render()
    {
        float* outputs[] = {left.data(), right.data()};
        plugin.processReplacing(nullptr, outputs, block);
    }
    void addTo(SoundHash& hash) const { hash.add(left, right); }

private:
    int block;
    VstXSynth plugin;
    std::vector<float> left, right;
};

/// Plays the scenario for a while, again and again; the keys stay down.
Result measure(const Scenario& scenario)
{
    constexpr int kHashedFrames = 16384, kChunks = 60;
    // Reading the clock costs as much as several blocks asleep.
    const int chunkFrames = scenario.keys > 0 ? 4096 : 65536;
    std::vector<std::unique_ptr<Player>> players;
    for (int i = 0; i < scenario.instances; ++i)
        players.push_back(std::make_unique<Player>(scenario));
    SoundHash hash;
    for (int frame = 0; frame < kHashedFrames; frame += scenario.block) {
        for (const auto& player : players)
            player->render();
        players.front()->addTo(hash);
    }
    std::vector<double> chunks;
    for (int chunk = 0; chunk < kChunks; ++chunk) {
        const double start = threadSeconds();
        for (int frame = 0; frame < chunkFrames; frame += scenario.block)
            for (const auto& player : players)
                player->render();
        chunks.push_back((threadSeconds() - start) / (chunkFrames * scenario.instances));
    }
    Result result{lowerQuartile(chunks), {}};
    hash.text().copy(result.hash.data(), result.hash.size() - 1);
    return result;
}

void synth(benchmark::State& state, const Scenario& scenario)
{
    Result result;
    for (auto _ : state) {
        result = inChild([&] { return measure(scenario); });
        state.SetIterationTime(result.secondsPerSample);
    }
    state.counters["x_real_time"] = 1.0 / (result.secondsPerSample * scenario.rate);
    state.counters["cycles"] = result.secondsPerSample / kOversampling * coreHz();
    state.SetLabel(result.hash.data());
}

const bool registered = [] {
    for (const Scenario& scenario : kScenarios)
        benchmark::RegisterBenchmark((std::string("synth/") + scenario.name).c_str(), synth,
                                     scenario)
            ->UseManualTime()
            ->Iterations(1);
    benchmark::AddCustomContext("isa", nameOf(chosenIsa()));
    benchmark::AddCustomContext("compiler", __VERSION__);
    return true;
}();

} // namespace
} // namespace zephra::bench
