// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/BusyHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zephra {
namespace {

// What the plug-in's threads may do at once. These tests look for what the thread sanitizer
// reports, and for hangs; without it they show only that the sound stays sane.

/// What any thread but the audio thread may ask for, at random.
void useGenericEditor(VstXSynth& plugin, Random15& random)
{
    const auto below = [&random](int n) { return random.next() % n; };
    const int index = below(kNumHostParameters);
    const float value = static_cast<float>(below(128)) / 127.0f;
    char text[64];
    switch (below(200)) {
    case 0: plugin.applyCurrentPatch(); break;
    case 1: plugin.setControlSilently(polyphony, static_cast<float>(below(4))); break;
    case 2: plugin.getParameterDisplay(index, text); break;
    case 3: EXPECT_TRUE(std::isfinite(plugin.getParameter(index))); break;
    case 4: plugin.waitForAudioIdle(); break;
    default: plugin.setParameter(index, value); break;
    }
}

/// What the one thread of the editor may ask for, at random.
void useEditor(VstXSynth& plugin, Random15& random)
{
    const auto below = [&random](int n) { return random.next() % n; };
    const ControlInfo& control = kControls[static_cast<std::size_t>(below(kControls.size()))];
    const float value = static_cast<float>(below(128)) / 127.0f * control.scale;
    char text[64];
    switch (below(300)) {
    case 0: plugin.applyCurrentPatch(); break;
    case 1: plugin.snapSmoothers(); break;
    case 2: plugin.resetVoicesAndEffects(); break;
    case 3: plugin.applyAllControls(); break;
    case 4: plugin.setControlValue(polyphony, static_cast<float>(below(4)), true); break;
    case 5: plugin.startMidiLearn(control.id); break;
    case 6: plugin.forgetMidi(control.id); break;
    case 7:
        plugin.parameters().saveSnapshot();
        plugin.parameters().loadDefaultsUnlocked();
        plugin.applyCurrentPatch();
        plugin.parameters().restoreSnapshot();
        break;
    case 8: plugin.parameters().setLocked(control.id, below(2) == 0); break;
    case 9: plugin.setControlInternal(pitch_wheel, value / control.scale); break;
    case 10:
        plugin.parameterBeingEdited = control.hostIndex;
        plugin.notifyHostAutomate(control.id);
        plugin.parameterBeingEdited = -1;
        break;
    case 11: plugin.getParameterDisplay(control.hostIndex, text); break;
    case 12:
        plugin.pauseAudio();
        plugin.pauseAudio();
        plugin.resumeAudio();
        plugin.resumeAudio();
        plugin.waitForAudioIdle();
        break;
    case 13:
        plugin.midiActivity().seen = 0;
        plugin.midiActivity().stampMs = below(1000);
        EXPECT_GE(plugin.ccOfControl(control.id), 0);
        break;
    case 14: EXPECT_GE(plugin.engine().asleep() + plugin.engine().effectsRunning(), 0); break;
    case 15: {
        void* chunk = nullptr;
        const int size = plugin.getChunk(&chunk, true);
        plugin.setControlValue(control.id, value, true);
        EXPECT_EQ(plugin.setChunk(chunk, size, true), size);
        break;
    }
    case 16: plugin.initPatch(); break;
    case 17: plugin.serviceRequests(); break;
    case 18: {
        GeneticsState twoThatAreGone;
        twoThatAreGone.parentCount = 2;
        plugin.breed(twoThatAreGone);
        break;
    }
    default: plugin.setControlValue(control.id, value, true); break;
    }
}

TEST(Threads, EditorsWhileTheHostRendersAutomatesAndChangesItsRate)
{
    BusyHost host(4);
    VstXSynth& plugin = host.plugin;
    plugin.setBlockSize(128);

    std::atomic<bool> playing{true};
    const auto edit = [&](auto use, std::uint32_t seed) {
        Random15 random;
        random.seed(seed);
        while (playing) {
            use(plugin, random);
            std::this_thread::yield();
        }
    };
    std::thread editor(edit, useEditor, 1);
    std::thread genericEditor(edit, useGenericEditor, 2);

    constexpr std::array kRates = {44100.0, 48000.0, 96000.0};
    bool sane = true;
    int sounding = 0; // most blocks fall into a pause
    for (int block = 0; sounding < 400; ++block) {
        const int frames = 1 + host.below(128);
        if (block % 300 == 299) // between two blocks
            plugin.setSampleRate(kRates[static_cast<std::size_t>(host.below(kRates.size()))]);
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

TEST(Threads, HostStopsTheSoundToChangeTheRateFromItsOwnThread)
{
    BusyHost host(5);
    for (const double rate : {44100.0, 192000.0, 48000.0}) {
        std::thread audio([&host] {
            for (int block = 0; block < 30; ++block) {
                host.addAnyEvents(256);
                host.play(256);
            }
        });
        audio.join();
        host.plugin.setSampleRate(rate);
        host.plugin.setBlockSize(256);
    }
    EXPECT_TRUE(host.soundIsSane(256));
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
