// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlTable.h"
#include "controls/PluginParameters.h"
#include "hosts/support/Library.h"
#include "library/PatchChunk.h"
#include "lv2/Ports.h"

#include <lv2/atom/forge.h>
#include <lv2/buf-size/buf-size.h>
#include <lv2/core/lv2.h>
#include <lv2/midi/midi.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>
#include <lv2/worker/worker.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace zephra::lv2 {

using Bytes = std::vector<std::uint8_t>;

/// Numbers for URIs, the same in all hosts of this program.
inline LV2_URID urid(const std::string& uri)
{
    static std::mutex mutex;
    static std::map<std::string, LV2_URID> numbers;
    const std::scoped_lock lock(mutex);
    return numbers.try_emplace(uri, static_cast<LV2_URID>(numbers.size() + 1)).first->second;
}
inline LV2_URID_Map uridMap{nullptr, [](void*, const char* uri) { return urid(uri); }};

/// The events of one block as a host lays them out: written by the forge of the LV2 headers, and
/// read from memory that ends where they end.
class EventBuffer {
public:
    EventBuffer()
    {
        lv2_atom_forge_init(&forge, &uridMap);
        clear();
    }

    void clear()
    {
        lv2_atom_forge_set_buffer(&forge, reinterpret_cast<std::uint8_t*>(memory.data()),
                                  memory.size() * sizeof memory[0]);
        lv2_atom_forge_sequence_head(&forge, &frame, 0);
    }
    EventBuffer& midi(std::int64_t at, const Bytes& bytes)
    {
        return event(at, urid(LV2_MIDI__MidiEvent), bytes);
    }
    EventBuffer& event(std::int64_t at, LV2_URID type, const Bytes& body)
    {
        lv2_atom_forge_frame_time(&forge, at);
        lv2_atom_forge_atom(&forge, static_cast<std::uint32_t>(body.size()), type);
        if (!body.empty())
            lv2_atom_forge_write(&forge, body.data(), static_cast<std::uint32_t>(body.size()));
        return *this;
    }
    EventBuffer& tempo(std::int64_t at, float value, const char* object = LV2_TIME__Position)
    {
        LV2_Atom_Forge_Frame inner;
        lv2_atom_forge_frame_time(&forge, at);
        lv2_atom_forge_object(&forge, &inner, 0, urid(object));
        lv2_atom_forge_key(&forge, urid(LV2_TIME__beatsPerMinute));
        lv2_atom_forge_float(&forge, value);
        lv2_atom_forge_pop(&forge, &inner);
        return *this;
    }

    /// A copy in memory of its own, as long as the forge has written.
    std::unique_ptr<std::uint64_t[]> copy() const
    {
        const std::size_t words = (forge.offset + 7) / 8;
        auto exact = std::make_unique<std::uint64_t[]>(words);
        std::copy_n(memory.data(), words, exact.get());
        return exact;
    }
    /// To do damage. `byte` counts from the start of the sequence atom.
    std::uint32_t& wordAt(std::size_t byte)
    {
        return *reinterpret_cast<std::uint32_t*>(reinterpret_cast<std::uint8_t*>(memory.data()) +
                                                 byte);
    }

private:
    std::vector<std::uint64_t> memory = std::vector<std::uint64_t>(1 << 16);
    LV2_Atom_Forge forge{};
    LV2_Atom_Forge_Frame frame{};
};

/// What a host offers; the plainest offers nothing but the map.
struct Offers {
    double rate = 48000.0;
    std::int32_t maxBlock = 0;     ///< frames, 0: not offered
    std::int32_t nominalBlock = 0; ///< likewise
    enum class Worker { None, Waiting, Immediate } worker = Worker::None;
};

/// A value with its type, as hosts keep the properties of a state by their keys.
struct Property {
    LV2_URID type;
    Bytes value;
};
using State = std::map<LV2_URID, Property>;

/// One instance of the plug-in in the built bundle.
class Lv2Host {
public:
    explicit Lv2Host(const Offers& given = {}) : offered(given)
    {
        descriptor = library.find<const LV2_Descriptor*(std::uint32_t)>("lv2_descriptor")(0);
        std::vector<LV2_Options_Option> options;
        for (const auto& [key, value] :
             {std::pair{LV2_BUF_SIZE__maxBlockLength, &offered.maxBlock},
              {LV2_BUF_SIZE__nominalBlockLength, &offered.nominalBlock}}) {
            if (*value != 0)
                options.push_back(
                    {LV2_OPTIONS_INSTANCE, 0, urid(key), 4, urid(LV2_ATOM__Int), value});
        }
        const bool hasOptions = !options.empty();
        options.push_back({});
        const LV2_Feature map{LV2_URID__map, &uridMap};
        const LV2_Feature told{LV2_OPTIONS__options, options.data()};
        const LV2_Feature worker{LV2_WORKER__schedule, &schedule};
        std::vector<const LV2_Feature*> features{&map};
        if (hasOptions)
            features.push_back(&told);
        if (offered.worker != Offers::Worker::None)
            features.push_back(&worker);
        features.push_back(nullptr);

        handle = descriptor->instantiate(descriptor, offered.rate, ZEPHRA_LV2_BUNDLE "/",
                                         features.data());
        if (!handle)
            throw std::runtime_error("no instance");
        for (int i = 0; i < kNumHostParameters; ++i) {
            const int id = kHostParameters[static_cast<std::size_t>(i)].id;
            port(i) = portScale(i).fromNormalised(defaultValue(id) / controlScale(id));
            connect(FirstControl + static_cast<std::uint32_t>(i), &port(i));
        }
        connect(NotifyOut, notices.data());
        connect(LatencyOut, &latency);
        descriptor->activate(handle);
    }
    ~Lv2Host()
    {
        if (descriptor->deactivate)
            descriptor->deactivate(handle);
        descriptor->cleanup(handle);
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
    void connect(std::uint32_t to, void* data) { descriptor->connect_port(handle, to, data); }
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

    State save() const
    {
        const auto store = [](LV2_State_Handle into, std::uint32_t key, const void* value,
                              std::size_t size, std::uint32_t type, std::uint32_t) {
            const auto* const bytes = static_cast<const std::uint8_t*>(value);
            (*static_cast<State*>(into))[key] = {type, Bytes(bytes, bytes + size)};
            return LV2_STATE_SUCCESS;
        };
        State state;
        extension<LV2_State_Interface>(LV2_STATE__interface)
            .save(handle, store, &state, 0, nullptr);
        return state;
    }
    /// `meanwhile` is told of each property that the plug-in reads.
    LV2_State_Status restore(
        const State& state, const std::function<void(LV2_URID)>& meanwhile = [](LV2_URID) {}) const
    {
        const auto retrieve = [](LV2_State_Handle data, std::uint32_t key, std::size_t* size,
                                 std::uint32_t* type, std::uint32_t* flags) -> const void* {
            const auto& [from, tell] =
                *static_cast<std::pair<const State&, decltype(meanwhile)>*>(data);
            tell(key);
            const auto found = from.find(key);
            if (found == from.end())
                return nullptr;
            *size = found->second.value.size();
            *type = found->second.type;
            *flags = LV2_STATE_IS_POD;
            return found->second.value.data();
        };
        std::pair<const State&, decltype(meanwhile)> context{state, meanwhile};
        return extension<LV2_State_Interface>(LV2_STATE__interface)
            .restore(handle, retrieve, &context, 0, nullptr);
    }
    /// The chunk of the present patch, and a control of it by its host index.
    Bytes patch() const { return save()[urid(kPatchUri)].value; }
    float control(int index) const
    {
        PluginParameters values;
        readChunk(patch(), values);
        return values.getValue(kHostParameters[static_cast<std::size_t>(index)].id);
    }

    template <class Interface> const Interface& extension(const char* uri) const
    {
        return *static_cast<const Interface*>(descriptor->extension_data(uri));
    }
    float& port(int index) { return controls[static_cast<std::size_t>(index)]; }

    const Offers offered;
    EventBuffer events;
    std::array<float, kNumHostParameters> controls{}; ///< [host index] at first the defaults
    float latency = -1.0f;
    int noticesSeen = 0;
    std::uint32_t noticeRoom = 1024; ///< bytes behind the atom's head
    const LV2_Descriptor* descriptor = nullptr;
    LV2_Handle handle = nullptr;

private:
    static LV2_Worker_Status scheduleWork(LV2_Worker_Schedule_Handle self, std::uint32_t,
                                          const void*)
    {
        auto& host = *static_cast<Lv2Host*>(self);
        ++host.jobsWaiting;
        if (host.offered.worker == Offers::Worker::Immediate)
            host.runWorker();
        return LV2_WORKER_SUCCESS;
    }

    const test::Library library{ZEPHRA_LV2_BUNDLE "/zephra.so"};
    LV2_Worker_Schedule schedule{this, scheduleWork};
    const LV2_URID chunkType = urid(LV2_ATOM__Chunk);
    std::array<std::uint64_t, 512> notices{};
    int jobsWaiting = 0;
};

} // namespace zephra::lv2
