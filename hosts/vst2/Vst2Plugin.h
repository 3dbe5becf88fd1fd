// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "synth/FileSettingsStore.h"
#include "synth/VstXSynth.h"
#include "vst2/ServiceTimer.h"
#include "vst2/Vst2Host.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <vector>

namespace zephra::vst2 {

/// One instrument as a VST2 host sees it: calls by number in, calls of VstXSynth out.
///
/// The instrument is made by the first call that needs one. What a scan of plug-ins asks, opening
/// and closing included, is answered without: it makes no engine and looks at no file. Hosts turn
/// a plug-in on before they play it, which makes the instrument on their own thread; only one that
/// plays without a word gets it on the audio thread.
///
/// [any] as the operations of VstXSynth that stand behind. What is marked [ui] there runs under
/// a mutex here, since the service timer also comes by; the audio thread never takes it.
class Vst2Plugin final : ServiceTimer::Client {
public:
    explicit Vst2Plugin(audioMasterCallback hostCallback);
    ~Vst2Plugin();
    Vst2Plugin(const Vst2Plugin&) = delete;
    Vst2Plugin& operator=(const Vst2Plugin&) = delete;

    /// What the host holds, and gives back with every call.
    t_fstEffect& effect() noexcept { return face; }

    t_fstPtrInt dispatch(int opcode, int index, t_fstPtrInt value, void* data, float amount);
    VstXSynth& instrument();

    // [audio] The events of an empty block belong to the next one.
    void processReplacing(float** outputs, int frames);
    /// What older hosts call: adds to what is in the outputs.
    void processAdding(float** outputs, int frames);
    void processDoubleReplacing(double** outputs, int frames);

private:
    class UiCall;

    void tick() override;
    void setSampleRate(double rate);
    void setBlockSize(int size);
    template <class Sample, class Put> void processBy(Put put, Sample** outputs, int frames);
    bool outputProperties(int index, t_fstPinProperties& properties);

    t_fstEffect face{};
    Vst2Host host;
    FileSettingsStore settings;

    std::mutex making;
    std::unique_ptr<VstXSynth> owned;      ///< made under the mutex
    std::atomic<VstXSynth*> made{nullptr}; ///< the same, for all threads

    // What the host has told, maybe before there was an instrument; under the mutex.
    double rateTold = AudioEffect::kStartSampleRate;
    int blockTold = AudioEffect::kStartBlockSize;

    /// [channel][sample] of a block, for outputs that the instrument cannot write to. Longer
    /// blocks go in pieces: no event of theirs lies beyond the announced length.
    std::vector<float> piece[2];

    std::mutex ui;
};

} // namespace zephra::vst2
