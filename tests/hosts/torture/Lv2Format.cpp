// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlText.h"
#include "controls/PluginParameters.h"
#include "hosts/support/Library.h"
#include "library/PatchChunk.h"
#include "lv2/Lv2Host.h"
#include "torture/PluginFormat.h"

#include <optional>

namespace zephra::torture {

namespace {

using lv2::Lv2Host;
using lv2::portScale;

int idOf(int index) { return kHostParameters[static_cast<std::size_t>(index)].id; }
bool isParameter(int index) { return index >= 0 && index < kNumHostParameters; }

/// An instance with a worker and options, its ports where the first patch is, as by the default
/// state of the bundle. A host that saves and restores, as if presets were all it knew: the state
/// is the patch, and its ports go where the patch is.
class Lv2Instance : public Instance {
public:
    explicit Lv2Instance(const std::filesystem::path& library) : bundle(library.parent_path())
    {
        host.emplace(offers(48000.0, 512));
        queue({});
        showPatch(state());
        process(nullptr, nullptr, 0);
    }

    void prepare(double rate, int longest) override
    {
        if (rate == host->offered.rate) {
            const LV2_Options_Option given[] = {{LV2_OPTIONS_INSTANCE, 0,
                                                 host->urids(LV2_BUF_SIZE__maxBlockLength), 4,
                                                 host->urids(LV2_ATOM__Int), &longest},
                                                {}};
            host->extension<LV2_Options_Interface>(LV2_OPTIONS__interface).set(host->handle, given);
            return;
        }
        const Bytes kept = state();
        host.emplace(offers(rate, longest));
        isOn = true;
        restore(kept);
    }
    void turn(bool on) override
    {
        if (on && !isOn)
            host->descriptor->activate(host->handle);
        if (!on && isOn && host->descriptor->deactivate)
            host->descriptor->deactivate(host->handle);
        isOn = on;
    }

    void queue(std::span<const Event> list) override
    {
        host->runWorker();
        for (const Event& event : list)
            host->events.midi(event.sample, {event.bytes[0], event.bytes[1], event.bytes[2]});
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
        reinterpret_cast<LV2_Atom*>(queued.get())->size = sizeof(LV2_Atom_Sequence_Body);
    }

    int parameterCount() override { return kNumHostParameters; }
    std::string parameterName(int index) override { return findControl(idOf(index))->hostName; }
    float parameter(int index) override
    {
        return isParameter(index) ? control(idOf(index)) / controlScale(idOf(index)) : 0.0f;
    }
    void setParameter(int index, float value) override
    {
        if (!isParameter(index))
            return;
        host->controls[static_cast<std::size_t>(index)] = portScale(index).fromNormalised(value);
        portsMoved = true;
    }
    std::string parameterText(int index) override
    {
        return controlText(idOf(index), control(idOf(index)));
    }

    Bytes state() override
    {
        host->runWorker();
        if (portsMoved)
            process(nullptr, nullptr, 0); // ports act with a block
        return host->patch();
    }
    void restore(const Bytes& state) override
    {
        host->restore({{lv2::kPatchUri, {LV2_ATOM__Chunk, state}}});
        showPatch(state);
    }

private:
    lv2::Offers offers(double rate, int longest) const
    {
        return {bundle, rate, longest, 0, lv2::Offers::Worker::Waiting};
    }
    float control(int id)
    {
        PluginParameters values;
        readChunk(state(), values);
        return values.getValue(id);
    }
    /// Ports follow a patch with the next block, as if the host had sent them there.
    void showPatch(const Bytes& chunk)
    {
        PluginParameters values;
        readChunk(chunk, values);
        for (int i = 0; i < kNumHostParameters; ++i)
            host->controls[static_cast<std::size_t>(i)] =
                portScale(i).fromNormalised(values.getValue(idOf(i)) / controlScale(idOf(i)));
    }

    const std::string bundle;
    std::optional<Lv2Host> host;
    std::unique_ptr<std::uint64_t[]> queued; ///< a sequence
    bool isOn = true;                        ///< as hosts begin
    bool portsMoved = false;
};

class Lv2Format : public Format {
public:
    explicit Lv2Format(std::filesystem::path libraryPath) : path(std::move(libraryPath)) {}

    std::string name() const override { return "lv2"; }
    std::filesystem::path library() const override { return path; }
    std::vector<std::string> entryPoints() const override { return {"lv2_descriptor"}; }
    Freedoms freedoms() const override
    {
        // Its ports follow a state a block later, so that two states at once would meet there;
        // StateTest.cpp restores while the sound runs and ports stand still.
        return {.missingBuffers = true};
    }

    void scan() override
    {
        const test::Library loaded(path);
        auto* const entry = loaded.find<const LV2_Descriptor*(std::uint32_t)>("lv2_descriptor");
        for (std::uint32_t i = 0; const LV2_Descriptor* found = entry(i); ++i)
            found->extension_data(LV2_STATE__interface);
    }

    std::unique_ptr<Instance> open() override { return std::make_unique<Lv2Instance>(path); }

private:
    const std::filesystem::path path;
};

} // namespace

std::unique_ptr<Format> makeLv2Format(const std::filesystem::path& library)
{
    return std::make_unique<Lv2Format>(library);
}

} // namespace zephra::torture
