// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/BusyHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zephra {
namespace {

// What the plug-in's threads may do at once. These tests look for what the thread sanitizer
// reports, and for hangs; without it they show only that the sound stays sane.

/// What an editor asks for now and then, with any control and any value of it. The plug-in's own
/// asks for all of it, a generic one on a thread of its own for the first ones.
using Action = void (*)(VstXSynth& plugin, const ControlInfo& control, float value);
constexpr std::size_t kOfAnyEditor = 3;
constexpr Action kActions[] = {
    [](auto& plugin, auto&, float) { plugin.applyCurrentPatch(); },
    [](auto& plugin, auto&, float x) { plugin.setControlSilently(polyphony, x); },
    [](auto& plugin, auto&, float) { plugin.waitForAudioIdle(); },
    // --- of the plug-in's own ---
    [](auto& plugin, auto&, float x) { plugin.setControlValue(polyphony, x, true); },
    [](auto& plugin, auto&, float) { plugin.snapSmoothers(); },
    [](auto& plugin, auto&, float) { plugin.resetVoicesAndEffects(); },
    [](auto& plugin, auto&, float) { plugin.applyAllControls(); },
    [](auto& plugin, auto& control, float) { plugin.startMidiLearn(control.id); },
    [](auto& plugin, auto& control, float) { plugin.forgetMidi(control.id); },
    [](auto& plugin, auto& control, float) { EXPECT_GE(plugin.ccOfControl(control.id), 0); },
    [](auto& plugin, auto&, float) { plugin.midiActivity().seen = plugin.engine().asleep(); },
    [](auto& plugin, auto&, float x) { plugin.setControlInternal(pitch_wheel, x); },
    [](auto& plugin, auto& control, float) {
        plugin.parameterBeingEdited = control.hostIndex;
        plugin.notifyHostAutomate(control.id);
        plugin.parameterBeingEdited = -1;
    },
    [](auto& plugin, auto&, float) {
        plugin.parameters().saveSnapshot();
        plugin.parameters().loadDefaultsUnlocked();
        plugin.applyCurrentPatch();
        plugin.parameters().restoreSnapshot();
    },
    [](auto& plugin, auto& control, float x) { plugin.parameters().setLocked(control.id, x > 1); },
    [](auto& plugin, auto&, float) {
        void* chunk = nullptr;
        const int size = plugin.getChunk(&chunk, true);
        EXPECT_EQ(plugin.setChunk(chunk, size, true), size);
    },
    [](auto& plugin, auto&, float) { plugin.initPatch(); },
    [](auto& plugin, auto&, float) { plugin.serviceRequests(); },
    [](auto& plugin, auto&, float) {
        GeneticsState twoThatAreGone;
        twoThatAreGone.parentCount = 2;
        plugin.breed(twoThatAreGone);
    },
};

TEST(Threads, EditorsWhileTheHostRendersAutomatesAndChangesItsRate)
{
    BusyHost host(4);
    VstXSynth& plugin = host.plugin;
    plugin.setBlockSize(128);
    std::atomic<bool> playing{true};
    const auto edit = [&](std::uint32_t seed, std::size_t actions) {
        Random15 random;
        random.seed(seed);
        const auto below = [&](std::size_t n) {
            return static_cast<std::size_t>(random.next()) % n;
        };
        while (playing) {
            const ControlInfo& control = kControls[below(kControls.size())];
            const float value = control.scale * static_cast<float>(below(128)) / 127.0f;
            if (const std::size_t rare = below(300); rare < actions)
                kActions[rare](plugin, control, value);
            plugin.setControlValue(control.id, value, true);
            plugin.setParameter(control.hostIndex, value / control.scale);
            EXPECT_TRUE(std::isfinite(plugin.getParameter(control.hostIndex)));
            EXPECT_NE(plugin.formatControl(control.id), "");
            std::this_thread::yield();
        }
    };
    std::thread editor(edit, 1, std::size(kActions)), genericEditor(edit, 2, kOfAnyEditor);

    bool sane = true;
    int sounding = 0; // most blocks fall into a pause
    for (int block = 0; sounding < 400; ++block) {
        const int frames = 1 + host.below(128);
        if (block % 300 == 299) // between two blocks
            plugin.setSampleRate(host.any(std::array{44100.0, 48000.0, 96000.0}));
        if (block % 300 == 149)
            plugin.setBlockSize(128 + host.below(2));
        plugin.setParameterAutomated(host.below(kNumHostParameters), host.normalised());
        plugin.setParameter(host.below(kNumHostParameters), host.normalised());
        host.addAnyEvents(frames);
        host.play(frames);
        sane = sane && host.soundIsSane(frames);
        sounding += host.lastBlockSounds();
    }
    playing = false;
    editor.join();
    genericEditor.join();
    EXPECT_TRUE(sane);
}

TEST(Threads, AnOfflineRenderWithoutPausesDoesNotKeepAWriterWaiting)
{
    BusyHost host(6);
    std::atomic<bool> done{false};
    std::thread audio([&] {
        while (!done)
            host.play(64);
    });
    for (int i = 0; i < 100; ++i)
        host.plugin.applyCurrentPatch();
    done = true;
    audio.join();
    EXPECT_TRUE(host.soundIsSane(64));
}

} // namespace
} // namespace zephra
