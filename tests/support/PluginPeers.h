// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "synth/HostPeer.h"
#include "synth/MidiEvents.h"
#include "synth/PluginEditor.h"
#include "synth/SettingsStore.h"
#include "synth/VstXSynth.h"

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace zephra::test {

/// Settings in memory.
struct MemorySettings : SettingsStore {
    std::optional<std::vector<std::uint8_t>> read(std::string_view name) override
    {
        const auto found = values.find(std::string(name));
        return found == values.end() ? std::nullopt : std::optional(found->second);
    }
    bool write(std::string_view name, std::span<const std::uint8_t> bytes) override
    {
        ++writes;
        values[std::string(name)].assign(bytes.begin(), bytes.end());
        return true;
    }

    std::map<std::string, std::vector<std::uint8_t>> values;
    int writes = 0;
};

/// A host that remembers what it was told.
struct RecordingHost : HostPeer {
    HostTime time(std::uint32_t wanted) noexcept override
    {
        asked = wanted;
        return now;
    }
    std::string vendor() override { return vendorName; }
    void automate(int index, float value) override { automated.emplace_back(index, value); }
    void updateDisplay() override { ++displayUpdates; }
    void refreshParameters() override { ++refreshes; }

    HostTime now;
    std::string vendorName;
    std::uint32_t asked = 0;
    std::vector<std::pair<int, float>> automated;
    int displayUpdates = 0, refreshes = 0;
};

/// An editor that remembers what it was told.
struct RecordingEditor : PluginEditor {
    bool isOpen() const noexcept override { return open; }
    void postValue(int tag, float normalised) noexcept override
    {
        posts.emplace_back(tag, normalised);
    }
    void requestRefresh() noexcept override { ++refreshes; }
    bool onWheel(float distance) override
    {
        wheel += distance;
        return true;
    }

    bool open = true;
    std::vector<std::pair<int, float>> posts;
    int refreshes = 0;
    float wheel = 0.0f;
};

/// The events of one block, as a host holds them.
class EventList {
public:
    EventList(std::initializer_list<MidiEvent> midiEvents) : events(midiEvents)
    {
        for (const MidiEvent& event : events)
            pointers.push_back(&event);
    }
    EventList(const EventList&) = delete;

    operator const HostEvents*()
    {
        list = {static_cast<std::int32_t>(pointers.size()), pointers.data()};
        return &list;
    }

private:
    std::vector<MidiEvent> events;
    std::vector<const HostEvent*> pointers;
    HostEvents list;
};

/// The plug-in with everything around it.
struct Plugin {
    explicit Plugin(const char* vendor = "", const std::filesystem::path& soundbankRoot = {})
    {
        host.vendorName = vendor;
        VstXSynthOptions options;
        options.settings = &settings;
        options.host = &host;
        options.soundbankRoot = soundbankRoot;
        options.editorFactory = [this](VstXSynth&, int) {
            auto made = std::make_unique<RecordingEditor>();
            editor = made.get();
            return made;
        };
        synth = std::make_unique<VstXSynth>(options);
    }

    void send(std::initializer_list<MidiEvent> events)
    {
        EventList list(events);
        synth->processEvents(list);
    }
    /// Renders one block and throws the sound away.
    void run(int frames) { render(*synth, frames); }
    /// Renders long enough for an engine without a key down; whether it sleeps then.
    bool fallsAsleep()
    {
        for (int i = 0; i < 40; ++i)
            run(4096);
        return synth->engine().asleep();
    }

    struct Stereo {
        std::vector<float> left, right;
    };
    /// Renders one host block.
    static Stereo render(VstXSynth& plugin, int frames)
    {
        const auto size = static_cast<std::size_t>(frames);
        Stereo sound{std::vector<float>(size, 0.5f), std::vector<float>(size, 0.5f)};
        float* outputs[2] = {sound.left.data(), sound.right.data()};
        plugin.processReplacing(nullptr, outputs, frames);
        return sound;
    }

    MemorySettings settings;
    RecordingHost host;
    RecordingEditor* editor = nullptr; ///< owned by the plug-in
    std::unique_ptr<VstXSynth> synth;
};

inline float peak(const std::vector<float>& sound)
{
    float most = 0.0f;
    for (const float x : sound)
        most = std::max(most, std::abs(x));
    return most;
}

} // namespace zephra::test
