// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/BusyHost.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace zephra {
namespace {

// What the plug-in's threads may do at once. These tests look for what the thread sanitizer
// reports, and for hangs; without it they show only that the sound stays sane.

/// What the thread of an editor may ask for, at random: any thread may have a generic editor, and
/// one has the plug-in's own.
void edit(VstXSynth& plugin, Random15& random, bool ownEditor)
{
    const auto below = [&random](int n) { return random.next() % n; };
    const ControlInfo& control = kControls[static_cast<std::size_t>(below(kControls.size()))];
    const float unit = static_cast<float>(below(128)) / 127.0f;
    const float value = unit * control.scale;
    const int index = below(kNumHostParameters);
    char text[64];
    switch (below(ownEditor ? 300 : 200)) {
    case 0: plugin.applyCurrentPatch(); break;
    case 1: plugin.setControlSilently(polyphony, static_cast<float>(below(4))); break;
    case 2:
        plugin.getParameterDisplay(index, text);
        EXPECT_TRUE(std::isfinite(plugin.getParameter(index)));
        plugin.waitForAudioIdle();
        break;
    case 200: plugin.snapSmoothers(); break;
    case 201: plugin.resetVoicesAndEffects(); break;
    case 202: plugin.applyAllControls(); break;
    case 203: plugin.setControlValue(polyphony, static_cast<float>(below(4)), true); break;
    case 204:
        below(2) ? plugin.startMidiLearn(control.id) : plugin.forgetMidi(control.id);
        EXPECT_GE(plugin.ccOfControl(control.id), 0);
        plugin.midiActivity().seen = 0;
        plugin.midiActivity().stampMs = below(1000);
        break;
    case 205:
        plugin.parameters().saveSnapshot();
        plugin.parameters().loadDefaultsUnlocked();
        plugin.applyCurrentPatch();
        plugin.parameters().restoreSnapshot();
        break;
    case 206: plugin.parameters().setLocked(control.id, below(2) == 0); break;
    case 207: plugin.setControlInternal(pitch_wheel, unit); break;
    case 208:
        plugin.parameterBeingEdited = control.hostIndex;
        plugin.notifyHostAutomate(control.id);
        plugin.parameterBeingEdited = -1;
        break;
    case 209: EXPECT_GE(plugin.engine().asleep() + plugin.engine().effectsRunning(), 0); break;
    case 210: {
        void* chunk = nullptr;
        const int size = plugin.getChunk(&chunk, true);
        plugin.setControlValue(control.id, value, true);
        EXPECT_EQ(plugin.setChunk(chunk, size, true), size);
        break;
    }
    case 211: plugin.initPatch(); break;
    case 212: plugin.serviceRequests(); break;
    case 213: {
        GeneticsState twoThatAreGone;
        twoThatAreGone.parentCount = 2;
        plugin.breed(twoThatAreGone);
        break;
    }
    default:
        if (ownEditor)
            plugin.setControlValue(control.id, value, true);
        else
            plugin.setParameter(index, unit);
    }
}

TEST(Threads, EditorsWhileTheHostRendersAutomatesAndChangesItsRate)
{
    BusyHost host(4);
    VstXSynth& plugin = host.plugin;
    plugin.setBlockSize(128);

    std::atomic<bool> playing{true};
    const auto editWhilePlaying = [&](std::uint32_t seed, bool ownEditor) {
        Random15 random;
        random.seed(seed);
        while (playing) {
            edit(plugin, random, ownEditor);
            std::this_thread::yield();
        }
    };
    std::thread editor(editWhilePlaying, 1, true);
    std::thread genericEditor(editWhilePlaying, 2, false);

    constexpr std::array kRates = {44100.0, 48000.0, 96000.0};
    bool sane = true;
    int sounding = 0; // most blocks fall into a pause
    for (int block = 0; sounding < 400; ++block) {
        const int frames = 1 + host.below(128);
        if (block % 300 == 299) // between two blocks
            plugin.setSampleRate(kRates[static_cast<std::size_t>(host.below(kRates.size()))]);
        if (block % 300 == 149)
            plugin.setBlockSize(128 + host.below(2));
        host.moveAnyParameter();
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
