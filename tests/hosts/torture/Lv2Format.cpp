// SPDX-License-Identifier: GPL-3.0-or-later
#include "controls/ControlTable.h"
#include "controls/ControlText.h"
#include "controls/PluginParameters.h"
#include "hosts/support/Library.h"
#include "library/PatchChunk.h"
#include "lv2/EventBuffer.h"
#include "lv2/Ports.h"
#include "torture/PluginFormat.h"

#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <array>
#include <atomic>
#include <mutex>

namespace zephra::torture {

namespace {

using test::Library;
using Ports = std::array<float, kNumHostParameters>;

/// An instance with a worker and options, its ports where the first patch is, as by the default
/// state of the bundle. A host that saves and restores, as if presets were all it
/// knew: the state is the patch, and its ports go where the patch is.
class Lv2Instance : public Instance {
public:
    explicit Lv2Instance(std::shared_ptr<Library> loaded)
        : library(std::move(loaded)),
          descriptor(*library->find<const LV2_Descriptor*(std::uint32_t)>("lv2_descriptor")(0)),
          events(urids)
    {
        for (std::size_t i = 0; i < ports.size(); ++i) {
            const int id = kHostParameters[i].id;
            ports[i] = lv2::portScale(static_cast<int>(i))
                           .fromNormalised(defaultValue(id) / controlScale(id));
        }
        queue({});
        instantiate(48000.0, 512);
        showPatch(state());
        process(nullptr, nullptr, 0);
    }
    ~Lv2Instance() override { end(); }

    void prepare(double newRate, int newLongest) override
    {
        if (newRate != rate) {
            const Bytes kept = state();
            end();
            instantiate(newRate, newLongest);
            restore(kept);
            return;
        }
        longest = newLongest;
        const LV2_Options_Option given[] = {longestOption(), {}};
        extension<LV2_Options_Interface>(LV2_OPTIONS__interface).set(handle, given);
    }
    void turn(bool on) override
    {
        if (on && !isOn)
            descriptor.activate(handle);
        if (!on && isOn && descriptor.deactivate)
            descriptor.deactivate(handle);
        isOn = on;
    }

    void queue(std::span<const Event> list) override
    {
        work();
        for (const Event& event : list)
            events.midi(event.sample, {event.bytes[0], event.bytes[1], event.bytes[2]});
        queued = events.copy();
        events.clear();
    }
    void process(float* left, float* right, int frames) override
    {
        takePorts();
        portsMoved = false;
        connect(lv2::EventsIn, queued.get());
        connect(lv2::LeftOut, left);
        connect(lv2::RightOut, right);
        notices.head = {sizeof notices - sizeof notices.head, 0};
        descriptor.run(handle, static_cast<std::uint32_t>(frames));
        reinterpret_cast<LV2_Atom*>(queued.get())->size = sizeof(LV2_Atom_Sequence_Body);
    }

    int parameterCount() override { return kNumHostParameters; }
    std::string parameterName(int index) override
    {
        return findControl(kHostParameters[static_cast<std::size_t>(index)].id)->hostName;
    }
    float parameter(int index) override
    {
        if (index < 0 || index >= kNumHostParameters)
            return 0.0f;
        const int id = kHostParameters[static_cast<std::size_t>(index)].id;
        return control(id) / controlScale(id);
    }
    void setParameter(int index, float value) override
    {
        if (index < 0 || index >= kNumHostParameters)
            return;
        takePorts();
        ports[static_cast<std::size_t>(index)] = lv2::portScale(index).fromNormalised(value);
        portsMoved = true;
    }
    std::string parameterText(int index) override
    {
        const int id = kHostParameters[static_cast<std::size_t>(index)].id;
        return controlText(id, control(id));
    }

    Bytes state() override
    {
        work();
        if (portsMoved)
            process(nullptr, nullptr, 0); // ports act with a block
        Saved saved{{}, urids(lv2::kPatchUri)};
        extension<LV2_State_Interface>(LV2_STATE__interface)
            .save(
                handle,
                [](LV2_State_Handle into, std::uint32_t key, const void* value, std::size_t size,
                   std::uint32_t, std::uint32_t) {
                    auto& all = *static_cast<Saved*>(into);
                    const auto* const bytes = static_cast<const std::uint8_t*>(value);
                    if (key == all.patch)
                        all.bytes.assign(bytes, bytes + size);
                    return LV2_STATE_SUCCESS;
                },
                &saved, 0, nullptr);
        return saved.bytes;
    }
    void restore(const Bytes& state) override
    {
        chunkType = urids(LV2_ATOM__Chunk);
        restoring = &state;
        extension<LV2_State_Interface>(LV2_STATE__interface)
            .restore(
                handle,
                [](LV2_State_Handle from, std::uint32_t key, std::size_t* size, std::uint32_t* type,
                   std::uint32_t* flags) -> const void* {
                    auto& self = *static_cast<Lv2Instance*>(from);
                    if (key != self.urids(lv2::kPatchUri))
                        return nullptr;
                    *size = self.restoring->size();
                    *type = self.chunkType;
                    *flags = LV2_STATE_IS_POD;
                    return self.restoring->data();
                },
                this, 0, nullptr);
        showPatch(state);
    }

private:
    struct Saved {
        Bytes bytes;
        LV2_URID patch;
    };

    void instantiate(double newRate, int newLongest)
    {
        rate = newRate;
        longest = newLongest;
        const LV2_Options_Option options[] = {longestOption(), {}};
        const LV2_Feature map{LV2_URID__map, &urids.map};
        const LV2_Feature option{LV2_OPTIONS__options, const_cast<LV2_Options_Option*>(options)};
        scheduler = {this, scheduleWork};
        const LV2_Feature worker{LV2_WORKER__schedule, &scheduler};
        const LV2_Feature* const features[] = {&map, &option, &worker, nullptr};
        handle = descriptor.instantiate(&descriptor, rate, "/nowhere/", features);
        for (std::uint32_t i = 0; i < kNumHostParameters; ++i)
            connect(lv2::FirstControl + i, &ports[i]);
        connect(lv2::NotifyOut, &notices);
        connect(lv2::LatencyOut, &latency);
    }
    void end()
    {
        turn(false);
        descriptor.cleanup(handle);
    }

    LV2_Options_Option longestOption()
    {
        return {LV2_OPTIONS_INSTANCE, 0,       urids(LV2_BUF_SIZE__maxBlockLength), 4,
                urids(LV2_ATOM__Int), &longest};
    }
    void connect(std::uint32_t port, void* data) { descriptor.connect_port(handle, port, data); }
    template <class Interface> const Interface& extension(const char* uri) const
    {
        return *static_cast<const Interface*>(descriptor.extension_data(uri));
    }

    static LV2_Worker_Status scheduleWork(LV2_Worker_Schedule_Handle self, std::uint32_t,
                                          const void*)
    {
        static_cast<Lv2Instance*>(self)->hasWork = true;
        return LV2_WORKER_SUCCESS;
    }
    void work()
    {
        if (hasWork.exchange(false))
            extension<LV2_Worker_Interface>(LV2_WORKER__interface)
                .work(handle, nullptr, nullptr, 0, nullptr);
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
        const std::lock_guard lock(shownMutex);
        for (std::size_t i = 0; i < shown.size(); ++i) {
            const int id = kHostParameters[i].id;
            shown[i] = lv2::portScale(static_cast<int>(i))
                           .fromNormalised(values.getValue(id) / controlScale(id));
        }
        hasShown = true;
    }
    void takePorts()
    {
        if (!hasShown)
            return;
        const std::lock_guard lock(shownMutex);
        ports = shown;
        hasShown = false;
    }

    const std::shared_ptr<Library> library; ///< goes after the instance
    const LV2_Descriptor& descriptor;
    lv2::UridMap urids;
    lv2::EventBuffer events;
    std::unique_ptr<std::uint64_t[]> queued; ///< a sequence

    double rate = 0.0;
    std::int32_t longest = 0;
    LV2_Handle handle = nullptr;
    LV2_Worker_Schedule scheduler{};
    std::atomic<bool> hasWork{false};
    bool isOn = false;
    bool portsMoved = false;

    Ports ports{};
    Ports shown{};
    std::mutex shownMutex;
    std::atomic<bool> hasShown{false};
    float latency = 0.0f;
    struct alignas(8) {
        LV2_Atom head;
        std::array<std::uint8_t, 248> body;
    } notices{};

    const Bytes* restoring = nullptr;
    LV2_URID chunkType = 0;
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
        const Library loaded(path);
        auto* const entry = loaded.find<const LV2_Descriptor*(std::uint32_t)>("lv2_descriptor");
        for (std::uint32_t i = 0; const LV2_Descriptor* found = entry(i); ++i)
            found->extension_data(LV2_STATE__interface);
    }

    std::unique_ptr<Instance> open() override
    {
        const std::lock_guard lock(mutex);
        std::shared_ptr<Library> shared = loadedLibrary.lock();
        if (!shared)
            loadedLibrary = shared = std::make_shared<Library>(path);
        return std::make_unique<Lv2Instance>(std::move(shared));
    }

private:
    const std::filesystem::path path;
    std::mutex mutex;
    std::weak_ptr<Library> loadedLibrary;
};

} // namespace

std::unique_ptr<Format> makeLv2Format(const std::filesystem::path& library)
{
    return std::make_unique<Lv2Format>(library);
}

} // namespace zephra::torture
