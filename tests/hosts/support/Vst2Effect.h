// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "hosts/support/Library.h"
#include "vst2/Vst2Abi.h"

#include <atomic>
#include <cmath>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace zephra::test {

/// A VST2 plug-in and the host's end of it, with what the host was told and asked.
class Vst2Effect {
public:
    explicit Vst2Effect(const Library& library, const char* vendor = "A host") : vendorName(vendor)
    {
        opening = this;
        effect = library.find<t_fstEffect*(audioMasterCallback)>("VSTPluginMain")(&answer);
        opening = nullptr;
        effect->user = this;
        call(effOpen);
    }
    ~Vst2Effect() { call(effClose); }
    Vst2Effect(const Vst2Effect&) = delete;
    Vst2Effect& operator=(const Vst2Effect&) = delete;

    t_fstPtrInt call(int opcode, int index = 0, t_fstPtrInt value = 0, void* data = nullptr,
                     float amount = 0.0f)
    {
        return effect->dispatcher(effect, opcode, index, value, data, amount);
    }
    /// What a call for a text writes.
    std::string text(int opcode, int index = 0)
    {
        char written[256];
        std::memset(written, '?', sizeof written);
        call(opcode, index, 0, written);
        return {written, ::strnlen(written, sizeof written)};
    }

    t_fstEffect* operator->() const noexcept { return effect; }

    std::atomic<double> tempo{0.0}; ///< beats per minute; below 0 the host says that it is wrong
    std::atomic<int> displayUpdates{0};
    std::thread::id displayThread; ///< that told of the last one
    std::atomic<bool> wantsIdle{false};

private:
    static t_fstPtrInt answer(t_fstEffect* asking, int opcode, int, t_fstPtrInt, void* const data,
                              float)
    {
        Vst2Effect* const host =
            asking && asking->user ? static_cast<Vst2Effect*>(asking->user) : opening;
        switch (opcode) {
        case audioMasterVersion: return vst2::kCallsUnderstood;
        case audioMasterGetVendorString:
            std::strcpy(static_cast<char*>(data), host->vendorName);
            return 1;
        case audioMasterGetTime:
            host->now.tempo = std::abs(host->tempo);
            host->now.flags = host->tempo > 0.0 ? kVstTempoValid : 0;
            return reinterpret_cast<t_fstPtrInt>(&host->now);
        case vst2::kHostUpdateDisplay:
            ++host->displayUpdates;
            host->displayThread = std::this_thread::get_id();
            return 1;
        case vst2::kHostNeedIdle: host->wantsIdle = true; return 1;
        default: return 0;
        }
    }

    static inline thread_local Vst2Effect* opening = nullptr; ///< not known to its effect yet

    const char* const vendorName;
    t_fstTimeInfo now{};
    t_fstEffect* effect = nullptr;
};

/// MIDI events of a block in the shape that VST2 hosts hand over: one piece of memory with the
/// pointers behind the count.
class Vst2Events {
public:
    template <class Events> explicit Vst2Events(const Events& list)
    {
        for (const auto& event : list) {
            t_fstMidiEvent one{};
            one.type = kVstMidiType;
            one.byteSize = sizeof one;
            one.deltaFrames = event.sample;
            std::memcpy(one.midiData, event.bytes.data(), 3);
            events.push_back(one);
        }
        memory.resize(sizeof(t_fstEvents) + (events.size() + 1) * sizeof(void*));
        get()->numEvents = static_cast<int>(events.size());
        for (std::size_t i = 0; i < events.size(); ++i)
            get()->events[i] = reinterpret_cast<t_fstEvent*>(&events[i]);
    }
    t_fstEvents* get() { return reinterpret_cast<t_fstEvents*>(memory.data()); }

private:
    std::vector<t_fstMidiEvent> events;
    std::vector<char> memory;
};

} // namespace zephra::test
