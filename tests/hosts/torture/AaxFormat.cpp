// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/AaxHost.h"
#include "torture/PluginFormat.h"

namespace zephra::torture {
namespace {

/// On a stereo track without sound of its own.
class AaxPlugin : public Plugin {
public:
    explicit AaxPlugin(double rate)
    {
        track.rate = rate;
        track.load(track.chunk()); // the first one is dropped
    }

    void prepare(double rate, int) override { track.rate = rate; }
    void turn(bool) override {}

    void queue(std::span<const Event> events, double tempo) override
    {
        track.transport.beatsPerMinute = tempo;
        track.midi.waiting.clear();
        for (const auto& [sample, bytes] : events)
            track.midiEvent(sample, bytes[0], bytes[1], bytes[2]);
    }
    void process(float* left, float* right, int frames) override
    {
        track.outputPointers[0] = left;
        track.outputPointers[1] = right;
        track.frames = frames;
        track.renderOnly();
    }

    float value(int index) override { return static_cast<float>(track.value(index)); }
    void set(int index, float value) override { track.set("pn_" + std::to_string(index), value); }
    Bytes state() override
    {
        track.model->TimerWakeup();
        return track.chunk();
    }
    void restore(const Bytes& state) override { track.load(state); }

private:
    const aax::LoadedLibrary library;
    aax::Instance track{library};
};

void scan()
{
    aax::TakenDescription effect;
    aax::LoadedLibrary().describe(effect);
}

} // namespace

const Format kAax{.name = "aax",
                  .library = ZEPHRA_AAX_LIBRARY,
                  .entryPoints = {"ACFCanUnloadNow", "ACFGetClassFactory", "ACFGetSDKVersion",
                                  "ACFRegisterComponent", "ACFRegisterPlugin", "ACFShutdown",
                                  "ACFStartup"},
                  .users = 1,
                  .senseless = true,
                  .scan = scan,
                  .open = [](double rate, int) -> std::unique_ptr<Plugin> {
                      return std::make_unique<AaxPlugin>(rate);
                  }};

} // namespace zephra::torture
