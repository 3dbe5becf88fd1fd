// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Random15.h"
#include "controls/ControlTable.h"
#include "synth/HostPeer.h"
#include "synth/PluginEditor.h"
#include "synth/VstXSynth.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

namespace zephra {

/// A plug-in with everything that may hang on it, and a host that gives it no rest. What happens
/// follows from the seed alone.
class BusyHost : HostPeer {
public:
    static constexpr std::size_t kMostFrames = 4096;
    static constexpr int kEventsPerBlock = 128;
    static constexpr int kLearntCc = 20;

    explicit BusyHost(std::uint32_t seed) : plugin(options()) { random.seed(seed); }

    int below(std::size_t n) noexcept { return random.next() % static_cast<int>(n); }
    const auto& any(const auto& list) noexcept
    {
        return list[static_cast<std::size_t>(below(list.size()))];
    }
    /// 0..1; one in a thousand is nothing that a host should send.
    float normalised() noexcept
    {
        constexpr std::array kOdd = {std::numeric_limits<float>::quiet_NaN(),
                                     std::numeric_limits<float>::infinity(), -1e30f, 7.0f, 1e-40f};
        return below(1000) == 0 ? any(kOdd) : static_cast<float>(below(129)) / 128.0f;
    }

    /// An event for the coming block; further ones than a block takes are dropped.
    void add(int sample, int status, int first, int second) noexcept
    {
        if (count < kEventsPerBlock)
            events[static_cast<std::size_t>(count++)] = MidiEvent(sample, status, first, second);
    }
    /// Fills the coming block up with notes, controllers, bends, pressure and program changes.
    void addAnyEvents(int frames) noexcept
    {
        constexpr std::array kKinds = {0x90, 0x90, 0x90, 0x80, 0xb0, 0xb0, 0xc0, 0xd0, 0xe0};
        constexpr std::array kControllers = {
            1, 0, 2, 4, 7, 11, 32, 64, 64, 74, 120, 121, 123, kLearntCc, kLearntCc, kLearntCc};
        while (count < kEventsPerBlock) {
            const int kind = any(kKinds);
            const int first = kind == 0xb0 ? any(kControllers) : below(128);
            add(count * frames / kEventsPerBlock, kind | below(16), first, below(128));
        }
    }

    /// [audio] One host block with the events that were added.
    void play(int frames) noexcept
    {
        for (int i = 0; i < count; ++i)
            pointers[static_cast<std::size_t>(i)] = &events[static_cast<std::size_t>(i)];
        const HostEvents list = {count, pointers.data()};
        float* outputs[] = {left.data(), right.data()};
        plugin.processEvents(&list);
        plugin.processReplacing(nullptr, outputs, frames);
        count = 0;
        tempo = tempo < 300.0 ? tempo + 0.7 : 20.0;
    }

    /// The last block holds numbers that a sound card can take.
    bool soundIsSane(int frames) const noexcept
    {
        const auto sane = [](float x) { return std::fabs(x) < 50; };
        return std::all_of(left.begin(), left.begin() + frames, sane) &&
               std::all_of(right.begin(), right.begin() + frames, sane);
    }
    /// It was rendered, and something plays.
    bool lastBlockSounds() const noexcept { return left[0] != 0.0f; }

private:
    /// An editor that is always open, so that every value is shown.
    struct Screen : PluginEditor {
        bool isOpen() const noexcept override { return true; }
        void postValue(int, float) noexcept override { shown = shown + 1; }
        void requestRefresh() noexcept override {}
        bool onWheel(float) override { return true; }
        Shared<int> shown{0};
    };

    VstXSynthOptions options()
    {
        VstXSynthOptions all;
        all.host = this;
        all.editorFactory = [](VstXSynth&, int) { return std::make_unique<Screen>(); };
        return all;
    }
    HostTime time(std::uint32_t) noexcept override { return {tempo, HostTime::kTempoValid}; }

    Random15 random;
    double tempo = 120.0;
    std::array<MidiEvent, kEventsPerBlock> events;
    std::array<const HostEvent*, kEventsPerBlock> pointers{};
    int count = 0;
    std::vector<float> left = std::vector<float>(kMostFrames), right = left;

public:
    VstXSynth plugin; ///< last: it leans on the others
};

} // namespace zephra
