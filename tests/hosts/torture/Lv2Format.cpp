// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/Lv2Host.h"
#include "torture/PluginFormat.h"

#include <optional>

namespace zephra::torture {
namespace {

using lv2::Lv2Host;
using lv2::portScale;
using lv2::urid;

int idOf(int index) { return kHostParameters[static_cast<std::size_t>(index)].id; }

/// An instance with a worker and options, its ports where the first patch is, as by the default
/// state of the bundle. A host that saves and restores, as if presets were all it knew: the state
/// is the patch, and its ports go where the patch is.
class Lv2Plugin final : public Plugin {
public:
    Lv2Plugin(double rate, int longest) { renew(rate, longest); }

    void prepare(double rate, int longest) override
    {
        if (rate != host->offered.rate) {
            const Bytes kept = state();
            renew(rate, longest);
            restore(kept);
            return;
        }
        const LV2_Options_Option given[] = {{LV2_OPTIONS_INSTANCE, 0,
                                             urid(LV2_BUF_SIZE__maxBlockLength), 4,
                                             urid(LV2_ATOM__Int), &longest},
                                            {}};
        host->extension<LV2_Options_Interface>(LV2_OPTIONS__interface).set(host->handle, given);
    }
    void turn(bool on) override
    {
        if (on && !isOn)
            host->descriptor->activate(host->handle);
        if (!on && isOn && host->descriptor->deactivate)
            host->descriptor->deactivate(host->handle);
        isOn = on;
    }

    void queue(std::span<const Event> list, double tempo) override
    {
        host->runWorker();
        host->events.tempo(0, static_cast<float>(tempo));
        for (const auto& [sample, bytes] : list) {
            const bool isShort = (bytes[0] & 0xe0) == 0xc0;
            host->events.midi(sample, {bytes.begin(), bytes.end() - isShort});
        }
        queued = host->events.copy();
        host->events.clear();
    }
    void process(float* left, float* right, int frames) override
    {
        portsMoved = false;
        host->connect(lv2::EventsIn, queued.get());
        host->connect(lv2::LeftOut, left);
        host->connect(lv2::RightOut, right);
        host->runOnly(static_cast<std::uint32_t>(frames));
        if (queued)
            reinterpret_cast<LV2_Atom*>(queued.get())->size = sizeof(LV2_Atom_Sequence_Body);
    }

    float value(int index) override
    {
        state(); // ports act with a block
        return host->control(index) / controlScale(idOf(index));
    }
    void set(int index, float value) override
    {
        if (index < 0 || index >= kNumHostParameters)
            return;
        host->port(index) = portScale(index).fromNormalised(value);
        portsMoved = true;
    }
    Bytes state() override
    {
        host->runWorker();
        if (portsMoved)
            process(nullptr, nullptr, 0);
        return host->patch();
    }
    void restore(const Bytes& state) override
    {
        host->restore({{urid(lv2::kPatchUri), {urid(LV2_ATOM__Chunk), state}}});
        showPatch(state);
    }

private:
    void renew(double rate, int longest)
    {
        host.emplace(lv2::Offers{rate, longest, 0, lv2::Offers::Worker::Waiting});
        isOn = true;
        showPatch(host->patch());
        process(nullptr, nullptr, 0);
    }
    /// Ports follow a patch with the next block, as if the host had sent them there.
    void showPatch(const Bytes& chunk)
    {
        PluginParameters patch;
        readChunk(chunk, patch);
        for (int i = 0; i < kNumHostParameters; ++i)
            host->port(i) =
                portScale(i).fromNormalised(patch.getValue(idOf(i)) / controlScale(idOf(i)));
    }

    std::optional<Lv2Host> host;
    std::unique_ptr<std::uint64_t[]> queued; ///< a sequence
    bool isOn = true;                        ///< as hosts begin
    bool portsMoved = false;
};

void scan()
{
    const test::Library loaded(ZEPHRA_LV2_BUNDLE "/zephra.so");
    auto* const entry = loaded.find<const LV2_Descriptor*(std::uint32_t)>("lv2_descriptor");
    for (std::uint32_t i = 0; const LV2_Descriptor* found = entry(i); ++i)
        found->extension_data(LV2_STATE__interface);
}

} // namespace

const Format kLv2{.name = "lv2",
                  .library = ZEPHRA_LV2_BUNDLE "/zephra.so",
                  .entryPoints = {"lv2_descriptor"},
                  .users = 0, // ports are read by the audio thread, and follow a state
                  .senseless = false,
                  .scan = scan,
                  .open = [](double rate, int longestBlock) -> std::unique_ptr<Plugin> {
                      return std::make_unique<Lv2Plugin>(rate, longestBlock);
                  }};

} // namespace zephra::torture
