// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/VstXSynth.h"

#include "common/FlushDenormals.h"
#include "controls/ControlTable.h"
#include "controls/ControlText.h"
#include "library/PatchLibrary.h"
#include "synth/SettingsStore.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string_view>
#include <utility>

namespace zephra {

namespace {

constexpr const char* kNoName = "-/-";
constexpr double kUsualTempo = 120.0; // beats per minute

void fillWithSilence(float** outputs, int sampleFrames) noexcept
{
    for (int channel = 0; outputs && channel < VstXSynth::kIdentity.numOutputs; ++channel)
        if (outputs[channel])
            std::fill_n(outputs[channel], std::max(sampleFrames, 0), 0.0f);
}

} // namespace

// --- Life -----------------------------------------------------------------------------------

VstXSynth::VstXSynth(const VstXSynthOptions& options)
    : AudioEffectX(options.host, kIdentity), settings(options.settings),
      fileSelector(options.fileSelector), controls(parameterStore, soundEngine, gate),
      midi(soundEngine, controls, map, programRequest)
{
    if (settings)
        map.load(*settings);
    adaptToHost(); // ahead of the first volume
    VstXSynth::setSampleRate(kStartSampleRate);
    VstXSynth::setBlockSize(kStartBlockSize);
    soundEngine.snapSmoothers(); // whatever the host: nothing can glide in from nowhere
    openLibrary(options);

    if (options.editorFactory) {
        ownEditor = options.editorFactory(*this, kNumControls);
        if (ownEditor)
            setFlag(EffectIdentity::kHasEditor);
        controls.attachEditor(ownEditor.get());
    }
    isBuilt = true;
}

VstXSynth::~VstXSynth()
{
    if (settings)
        map.saveIfChanged(*settings);
}

void VstXSynth::adaptToHost()
{
    const std::string vendor = host ? host->vendor() : std::string();
    hostIsOwn = vendor == kVendor;
    hostKeepsSmoothers = vendor == "Cockos" || vendor == "Zynewave";
    programListHidden = !hostIsOwn;
    soundEngine.setVolumeDoubled(hostIsOwn);
}

void VstXSynth::close()
{
    const AudioGate::Pause pause(gate);
    soundEngine.allNotesOff();
}

// --- Sound ----------------------------------------------------------------------------------

void VstXSynth::process(float**, float** outputs, int sampleFrames) noexcept
{
    render(outputs, sampleFrames);
}

void VstXSynth::processReplacing(float**, float** outputs, int sampleFrames) noexcept
{
    if (!render(outputs, sampleFrames))
        fillWithSilence(outputs, sampleFrames);
}

int VstXSynth::processEvents(const HostEvents* events) noexcept
{
    carryOutSettings(); // a new block size decides where the events stand
    midi.processEvents(events);
    return 1;
}

/// One host block. False if a writer holds the audio off: nothing was written then.
bool VstXSynth::render(float** outputs, int sampleFrames) noexcept
{
    carryOutSettings();
    const double tempo = hostTempo();

    if (!gate.enterProcessing()) {
        soundEngine.noteQueue.moveToStart(); // no note-off may get lost
        soundEngine.rows.clearFlags();
        return false;
    }

    controls.requests.carryOut(soundEngine);
    if (soundEngine.sleepsOn())
        fillWithSilence(outputs, sampleFrames);
    else
        renderSubBlocks(outputs, sampleFrames, tempo);
    soundEngine.noteQueue.clear();
    soundEngine.rows.clearFlags();
    gate.leaveProcessing();
    return true;
}

void VstXSynth::renderSubBlocks(float** outputs, int sampleFrames, double tempo) noexcept
{
    const FlushDenormals flushing;
    Performance& now = soundEngine.performance;
    now = midi.performance();
    now.tempo = tempo;
    now.modWheelNow = controls.modWheel;
    std::ranges::copy(controls.pitchBend, now.pitchBendNow.begin());

    float* position[2] = {};
    int pos = 0;
    const int end = std::max(sampleFrames, 0);
    do { // an empty block is a block of 0 samples
        const int count = std::min(end - pos, SynthEngine::kSubBlock);
        for (int channel = 0; outputs && channel < kIdentity.numOutputs; ++channel)
            position[channel] = outputs[channel] ? outputs[channel] + pos : unheard.data();
        soundEngine.rows.feed(pos, now.modWheelNow, now.pitchBendNow);
        soundEngine.renderBlock(outputs ? position : nullptr, count, pos);
        pos += count;
    } while (pos < end);
}

double VstXSynth::hostTempo() const noexcept
{
    if (!host)
        return kUsualTempo;
    const HostTime time = host->time(HostTime::kTempoValid);
    const bool valid =
        (time.flags & HostTime::kTempoValid) && std::isfinite(time.tempo) && time.tempo > 0.0;
    return valid ? time.tempo : kUsualTempo;
}

void VstXSynth::setSampleRate(double rate)
{
    rate = std::isfinite(rate)
               ? std::clamp(rate, SynthEngine::kMinSampleRate, SynthEngine::kMaxSampleRate)
               : SynthEngine::kMinSampleRate;
    AudioEffectX::setSampleRate(rate);
    sampleRateWanted = rate;
    carryOutSettings();
}

void VstXSynth::setBlockSize(int size)
{
    size = std::clamp(size, 1, kLargestBlock);
    AudioEffectX::setBlockSize(size);
    blockSizeWanted = size;
    carryOutSettings();
}

/// Rate and block size, unless a writer holds the audio off: then the next block will see to it.
void VstXSynth::carryOutSettings()
{
    if (sampleRateWanted.load() == 0.0 && blockSizeWanted.load() == 0)
        return;
    if (!gate.tryPauseAudio())
        return;
    if (const double rate = sampleRateWanted.exchange(0.0); rate != 0.0) {
        soundEngine.setSampleRate(rate);
        controls.applyAllControls();
    }
    if (const int size = blockSizeWanted.exchange(0); size != 0) {
        soundEngine.rows.setBlockSize(size);
        for (auto& bend : controls.pitchBend)
            bend = 0.0f;
    }
    gate.resumeAudio();
}

// --- Whole patches --------------------------------------------------------------------------

void VstXSynth::applyAllControls()
{
    const AudioGate::Pause pause(gate);
    controls.applyAllControls();
}

void VstXSynth::applyCurrentPatch()
{
    {
        const AudioGate::Pause pause(gate);
        soundEngine.resetVoicesAndEffects();
        soundEngine.allNotesOff();
        controls.applyAllControls();
        if (!hostKeepsSmoothers)
            soundEngine.snapSmoothers();
    }
    tellOfNewPatch();
}

/// Not during a pause: nobody outside may hold the sound up.
void VstXSynth::tellOfNewPatch()
{
    tellOfNewName();
    if (ownEditor)
        ownEditor->requestRefresh();
    if (host && isBuilt)
        host->refreshParameters();
}

/// The first patch is news to nobody.
void VstXSynth::tellOfNewName()
{
    if (host && isBuilt)
        host->updateDisplay();
}

void VstXSynth::snapSmoothers()
{
    const AudioGate::Pause pause(gate);
    soundEngine.snapSmoothers();
}

void VstXSynth::resetVoicesAndEffects()
{
    const AudioGate::Pause pause(gate);
    soundEngine.resetVoicesAndEffects();
}

// --- Parameters by host index ---------------------------------------------------------------

void VstXSynth::setParameter(int index, float value)
{
    if (index == parameterBeingEdited)
        return;
    if (const int id = parameterStore.controlOfIndex(index); id != NoParameter)
        setControlValue(id, value * controlScale(id), true);
}

void VstXSynth::setParameterAutomated(int index, float value)
{
    if (const int id = parameterStore.controlOfIndex(index); id != NoParameter)
        setControlSilently(id, value * controlScale(id));
}

float VstXSynth::getParameter(int index) const
{
    const int id = parameterStore.controlOfIndex(index);
    return id == NoParameter ? 0.0f : parameterStore.getValue(id) / controlScale(id);
}

void VstXSynth::getParameterName(int index, char* text) const
{
    copyText(text, parameterName(index), kMaxHostText);
}

void VstXSynth::getParameterDisplay(int index, char* text) const
{
    copyText(text, formatParameter(index, getParameter(index)), kMaxHostText);
}

void VstXSynth::getParameterLabel(int, char* text) const { copyText(text, {}, kMaxHostText); }

// --- Controls by id -------------------------------------------------------------------------

void VstXSynth::setControlValue(int id, float value, bool notifyEditor)
{
    controls.setControlValue(id, value, notifyEditor);
}

void VstXSynth::setControlSilently(int id, float value) { controls.setControlSilently(id, value); }

void VstXSynth::setControlInternal(int id, float value) { controls.setControlInternal(id, value); }

float VstXSynth::getControlValue(int id) const noexcept { return parameterStore.getValue(id); }

std::string VstXSynth::controlText(int id, float value) const
{
    return zephra::controlText(id, value,
                               {getControlValue(osc_3_range), getControlValue(opts_osc_3_lo_sync)});
}

std::string VstXSynth::formatControl(int id) const { return controlText(id, getControlValue(id)); }

std::string VstXSynth::formatParameter(int index, float normalised) const
{
    const int id = parameterStore.controlOfIndex(index);
    return id == NoParameter ? kNoName : controlText(id, normalised * controlScale(id));
}

std::string VstXSynth::controlName(int id) const
{
    return parameterName(parameterStore.indexOfControl(id));
}

void VstXSynth::notifyHostAutomate(int id)
{
    const int index = parameterStore.indexOfControl(id);
    if (host && index != NoParameter)
        host->automate(index, getParameter(index));
}

// --- What the plug-in is --------------------------------------------------------------------

bool VstXSynth::getOutputProperties(int index, PinProperties& properties) const
{
    if (index < 0 || index >= kIdentity.numOutputs)
        return false;
    std::snprintf(properties.label.data(), properties.label.size(), "Vstx %1d", index + 1);
    properties.flags = PinProperties::kIsActive | PinProperties::kIsStereo;
    return true;
}

bool VstXSynth::getEffectName(char* text) const
{
    copyText(text, kProduct, kMaxHostText);
    return true;
}

bool VstXSynth::getVendorString(char* text) const
{
    copyText(text, kVendor, kMaxHostText);
    return true;
}

bool VstXSynth::getProductString(char* text) const { return getEffectName(text); }

int VstXSynth::canDo(const char* name) const { return ability(name); }

int VstXSynth::ability(const char* name) noexcept
{
    constexpr std::string_view kAbilities[] = {"receiveVstEvents", "receiveVstMidiEvent",
                                               "receiveVstTimeInfo"};
    return name && std::ranges::find(kAbilities, name) != std::end(kAbilities) ? 1 : -1;
}

std::string VstXSynth::parameterName(int index)
{
    std::string name;
    return PluginParameters::nameOfIndex(index, name) ? name : kNoName;
}

std::intptr_t VstXSynth::vendorSpecific(std::int32_t first, std::intptr_t second, void*,
                                        float value)
{
    constexpr std::int32_t kHostTag = fourCharacters("stCA");
    constexpr std::int32_t kWheel = fourCharacters("Whee");
    // The maker's own host leaves the first tag out.
    const bool isWheel = (first == kHostTag && second == kWheel) || (first == kWheel && hostIsOwn);
    return isWheel && ownEditor && ownEditor->isOpen() && ownEditor->onWheel(value) ? 1 : 0;
}

const char* VstXSynth::versionString() noexcept { return ZEPHRA_VERSION; }

} // namespace zephra
