// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlTable.h"
#include "EventBuffer.h"
#include "lv2/Ports.h"

#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <dlfcn.h>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zephra::lv2 {

/// What a host offers; the plainest offers nothing but the map.
struct Offers {
    std::string bundle = ZEPHRA_LV2_BUNDLE;
    double rate = 48000.0;
    std::int32_t maxBlock = 0;     ///< frames, 0: not offered
    std::int32_t nominalBlock = 0; ///< likewise
    enum class Worker { None, Waiting, Immediate } worker = Worker::None;
};

/// A value with its type, as hosts keep the properties of a state.
struct Property {
    std::string type;
    Bytes value;
};
using State = std::map<std::string, Property>;

/// One instance of the plug-in in the built bundle, loaded as hosts do. The library is unloaded
/// with the last instance, so that the next one is again the first of its process.
class Lv2Host {
public:
    explicit Lv2Host(const Offers& offers = {}) : offered(offers), events(urids)
    {
        library = ::dlopen((offered.bundle + "/zephra.so").c_str(), RTLD_NOW | RTLD_LOCAL);
        if (!library)
            throw std::runtime_error(::dlerror());
        const auto entry =
            reinterpret_cast<LV2_Descriptor_Function>(::dlsym(library, "lv2_descriptor"));
        descriptor = entry(0);

        const LV2_URID intType = urids(LV2_ATOM__Int);
        const auto option = [&](const char* key, const std::int32_t& value) {
            if (value != 0)
                options.push_back({LV2_OPTIONS_INSTANCE, 0, urids(key), 4, intType, &value});
        };
        option(LV2_BUF_SIZE__maxBlockLength, offered.maxBlock);
        option(LV2_BUF_SIZE__nominalBlockLength, offered.nominalBlock);
        const bool hasOptions = !options.empty();
        options.push_back({});
        const LV2_Feature mapFeature{LV2_URID__map, &urids.map};
        const LV2_Feature optionsFeature{LV2_OPTIONS__options, options.data()};
        const LV2_Feature workerFeature{LV2_WORKER__schedule, &schedule};
        std::vector<const LV2_Feature*> features{&mapFeature};
        if (hasOptions)
            features.push_back(&optionsFeature);
        if (offered.worker != Offers::Worker::None)
            features.push_back(&workerFeature);
        features.push_back(nullptr);

        handle = descriptor->instantiate(descriptor, offered.rate, (offered.bundle + "/").c_str(),
                                         features.data());
        if (!handle)
            throw std::runtime_error("no instance");
        for (int i = 0; i < kNumHostParameters; ++i)
            descriptor->connect_port(handle, FirstControl + static_cast<std::uint32_t>(i),
                                     &controls[static_cast<std::size_t>(i)]);
        descriptor->connect_port(handle, NotifyOut, notices.data());
        descriptor->connect_port(handle, LatencyOut, &latency);
        descriptor->activate(handle);
    }
    ~Lv2Host()
    {
        if (descriptor->deactivate)
            descriptor->deactivate(handle);
        descriptor->cleanup(handle);
        ::dlclose(library);
    }
    Lv2Host(const Lv2Host&) = delete;
    Lv2Host& operator=(const Lv2Host&) = delete;

    /// One block with the events gathered in `events`, which is empty afterwards: left, then right.
    std::vector<float> run(std::uint32_t frames)
    {
        const auto sequence = events.copy();
        events.clear();
        std::vector<float> sound(2 * frames, -1.0f);
        connect(EventsIn, sequence.get());
        connect(LeftOut, sound.data());
        connect(RightOut, sound.data() + frames);
        runOnly(frames);
        return sound;
    }
    void connect(std::uint32_t port, void* data) { descriptor->connect_port(handle, port, data); }
    void runOnly(std::uint32_t frames)
    {
        auto* const out = reinterpret_cast<LV2_Atom*>(notices.data());
        *out = {noticeRoom, chunkType};
        descriptor->run(handle, frames);
        if (out->size > sizeof(LV2_Atom_Sequence_Body))
            ++noticesSeen;
    }

    /// What the plug-in has scheduled; returns the number of jobs.
    int runWorker()
    {
        const int jobs = std::exchange(jobsWaiting, 0);
        for (int i = 0; i < jobs; ++i)
            extension<LV2_Worker_Interface>(LV2_WORKER__interface)
                .work(handle, nullptr, nullptr, 4, "job");
        return jobs;
    }

    State save()
    {
        struct Context {
            State state;
            UridMap& urids;
        } context{{}, urids};
        extension<LV2_State_Interface>(LV2_STATE__interface)
            .save(
                handle,
                [](LV2_State_Handle data, std::uint32_t key, const void* value, std::size_t size,
                   std::uint32_t type, std::uint32_t) {
                    auto& into = *static_cast<Context*>(data);
                    const auto* const bytes = static_cast<const std::uint8_t*>(value);
                    into.state[uriOf(into.urids, key)] = {uriOf(into.urids, type),
                                                          Bytes(bytes, bytes + size)};
                    return LV2_STATE_SUCCESS;
                },
                &context, 0, nullptr);
        return context.state;
    }
    /// `meanwhile` runs with each property that the plug-in reads.
    LV2_State_Status restore(const State& state, const std::function<void()>& meanwhile = {})
    {
        struct Context {
            const State& state;
            UridMap& urids;
            const std::function<void()>& meanwhile;
        } context{state, urids, meanwhile};
        return extension<LV2_State_Interface>(LV2_STATE__interface)
            .restore(
                handle,
                [](LV2_State_Handle data, std::uint32_t key, std::size_t* size, std::uint32_t* type,
                   std::uint32_t* flags) -> const void* {
                    auto& from = *static_cast<Context*>(data);
                    if (from.meanwhile)
                        from.meanwhile();
                    const auto found = from.state.find(uriOf(from.urids, key));
                    if (found == from.state.end())
                        return nullptr;
                    *size = found->second.value.size();
                    *type = from.urids(found->second.type.c_str());
                    *flags = LV2_STATE_IS_POD;
                    return found->second.value.data();
                },
                &context, 0, nullptr);
    }
    /// The chunk of the present patch.
    Bytes patch() { return save()[kPatchUri].value; }

    template <class Interface> const Interface& extension(const char* uri) const
    {
        return *static_cast<const Interface*>(descriptor->extension_data(uri));
    }

    const Offers offered;
    UridMap urids;
    EventBuffer events;
    /// [host index] At the defaults, as hosts start.
    std::array<float, kNumHostParameters> controls = defaultPorts();
    float latency = -1.0f;
    int noticesSeen = 0;
    std::uint32_t noticeRoom = 1024; ///< bytes behind the atom's head
    const LV2_Descriptor* descriptor = nullptr;
    LV2_Handle handle = nullptr;

private:
    static std::array<float, kNumHostParameters> defaultPorts()
    {
        std::array<float, kNumHostParameters> values{};
        for (int i = 0; i < kNumHostParameters; ++i) {
            const int id = kHostParameters[static_cast<std::size_t>(i)].id;
            values[static_cast<std::size_t>(i)] =
                portScale(i).fromNormalised(defaultValue(id) / controlScale(id));
        }
        return values;
    }

    static std::string uriOf(const UridMap& urids, LV2_URID number)
    {
        for (const auto& [uri, known] : urids.numbers) {
            if (known == number)
                return uri;
        }
        return {};
    }
    static LV2_Worker_Status scheduleWork(LV2_Worker_Schedule_Handle self, std::uint32_t,
                                          const void*)
    {
        auto& host = *static_cast<Lv2Host*>(self);
        ++host.jobsWaiting;
        if (host.offered.worker == Offers::Worker::Immediate)
            host.runWorker();
        return LV2_WORKER_SUCCESS;
    }

    void* library = nullptr;
    std::vector<LV2_Options_Option> options;
    LV2_Worker_Schedule schedule{this, scheduleWork};
    const LV2_URID chunkType = urids(LV2_ATOM__Chunk);
    std::array<std::uint64_t, 512> notices{};
    int jobsWaiting = 0;
};

} // namespace zephra::lv2
