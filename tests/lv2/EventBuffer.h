// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <lv2/atom/forge.h>
#include <lv2/midi/midi.h>
#include <lv2/time/time.h>
#include <lv2/urid/urid.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace zephra::lv2 {

using Bytes = std::vector<std::uint8_t>;

/// Numbers for URIs.
struct UridMap {
    LV2_URID operator()(const char* uri)
    {
        return numbers.try_emplace(uri, static_cast<LV2_URID>(numbers.size() + 1)).first->second;
    }
    static LV2_URID call(LV2_URID_Map_Handle self, const char* uri)
    {
        return (*static_cast<UridMap*>(self))(uri);
    }

    std::map<std::string, LV2_URID> numbers;
    LV2_URID_Map map{this, call};
};

/// The events of one block as a host lays them out: written by the forge of the LV2 headers, and
/// read from memory that ends where they end.
class EventBuffer {
public:
    explicit EventBuffer(UridMap& urids) : midiEvent(urids(LV2_MIDI__MidiEvent))
    {
        lv2_atom_forge_init(&forge, &urids.map);
        position = urids(LV2_TIME__Position);
        beatsPerMinute = urids(LV2_TIME__beatsPerMinute);
        clear();
    }

    void clear()
    {
        lv2_atom_forge_set_buffer(&forge, reinterpret_cast<std::uint8_t*>(memory.data()),
                                  memory.size() * sizeof memory[0]);
        lv2_atom_forge_sequence_head(&forge, &frame, 0);
    }
    EventBuffer& midi(std::int64_t at, std::initializer_list<int> bytes)
    {
        const Bytes raw(bytes.begin(), bytes.end());
        return event(at, midiEvent, raw);
    }
    EventBuffer& event(std::int64_t at, LV2_URID type, const Bytes& body)
    {
        lv2_atom_forge_frame_time(&forge, at);
        lv2_atom_forge_atom(&forge, static_cast<std::uint32_t>(body.size()), type);
        if (!body.empty())
            lv2_atom_forge_write(&forge, body.data(), static_cast<std::uint32_t>(body.size()));
        return *this;
    }
    EventBuffer& tempo(std::int64_t at, float value)
    {
        LV2_Atom_Forge_Frame object;
        lv2_atom_forge_frame_time(&forge, at);
        lv2_atom_forge_object(&forge, &object, 0, position);
        lv2_atom_forge_key(&forge, beatsPerMinute);
        lv2_atom_forge_float(&forge, value);
        lv2_atom_forge_pop(&forge, &object);
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

    static constexpr std::size_t kFirstEvent = sizeof(LV2_Atom_Sequence);

private:
    std::vector<std::uint64_t> memory = std::vector<std::uint64_t>(1 << 16);
    LV2_Atom_Forge forge{};
    LV2_Atom_Forge_Frame frame{};
    LV2_URID midiEvent, position, beatsPerMinute;
};

} // namespace zephra::lv2
