// SPDX-License-Identifier: GPL-3.0-or-later
#include "vst2/Vst2Plugin.h"

#include "library/LibraryPlaces.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace zephra::vst2 {

namespace {

// Identity flags and events are passed on as they are.
static_assert(EffectIdentity::kCanReplacing == effFlagsCanReplacing &&
              EffectIdentity::kProgramsAreChunks == effFlagsProgramChunks &&
              EffectIdentity::kIsInstrument == effFlagsIsSynth);
static_assert(HostEvent::kMidi == kVstMidiType && sizeof(HostEvent) == sizeof(t_fstEvent) &&
              offsetof(HostEvent, deltaFrames) == offsetof(t_fstEvent, deltaFrames) &&
              sizeof(MidiEvent) == sizeof(t_fstMidiEvent));

int sayText(void* to, std::string_view text)
{
    AudioEffect::copyText(static_cast<char*>(to), text, AudioEffect::kMaxHostText);
    return 1;
}

bool isParameter(int index) { return index >= 0 && index < VstXSynth::kIdentity.numParameters; }

} // namespace

/// A call of the user interface's thread: alone with the instrument while it lives. What it
/// changed is told when others may come in again, since the host may answer with further calls.
class Vst2Plugin::UiCall {
public:
    explicit UiCall(Vst2Plugin& called)
        : plugin(called), synth(called.instrument()), lock(called.ui)
    {
    }
    ~UiCall()
    {
        lock.unlock();
        plugin.host.tellChanges();
    }
    UiCall(const UiCall&) = delete;
    UiCall& operator=(const UiCall&) = delete;

    VstXSynth* operator->() const noexcept { return &synth; }

private:
    Vst2Plugin& plugin;
    VstXSynth& synth;
    std::unique_lock<std::mutex> lock;
};

// --- Life -----------------------------------------------------------------------------------

Vst2Plugin::Vst2Plugin(audioMasterCallback hostCallback) : host(hostCallback, face)
{
    constexpr const EffectIdentity& kIdentity = VstXSynth::kIdentity;
    face.magic = kEffectMagic;
    face.numPrograms = kIdentity.numPrograms;
    face.numParams = kIdentity.numParameters;
    face.numInputs = kIdentity.numInputs;
    face.numOutputs = kIdentity.numOutputs;
    face.flags = static_cast<t_fstPtrInt>(kIdentity.flags) | effFlagsCanDoubleReplacing;
    face.initialDelay = kIdentity.initialDelay;
    face.object = this;
    face.uniqueID = kIdentity.uniqueId;
    face.version = ZEPHRA_VERSION_NUMBER;
    setBlockSize(AudioEffect::kStartBlockSize);
}

Vst2Plugin::~Vst2Plugin()
{
    if (!owned)
        return;
    ServiceTimer::remove(*this);
    owned->close();
}

VstXSynth& Vst2Plugin::instrument()
{
    if (VstXSynth* ready = made)
        return *ready;
    const std::lock_guard lock(making);
    if (!owned) {
        VstXSynthOptions options;
        options.settings = &settings;
        options.host = &host;
        options.soundbankRoot = defaultSoundbankRoot();
        options.factoryBanks = installedFactoryBanks();
        owned = std::make_unique<VstXSynth>(options);
        owned->setSampleRate(rateTold);
        owned->setBlockSize(blockTold);
        made = owned.get();
        ServiceTimer::add(*this);
        host.needIdle();
    }
    return *owned;
}

void Vst2Plugin::setSampleRate(double rate)
{
    const std::lock_guard lock(making);
    rateTold = rate;
    if (owned)
        owned->setSampleRate(rate);
}

void Vst2Plugin::setBlockSize(int size)
{
    const std::lock_guard lock(making);
    blockTold = size;
    if (owned)
        owned->setBlockSize(size);
    for (auto& channel : piece)
        channel.resize(static_cast<std::size_t>(size));
}

/// What MIDI has asked for. A call of the host is not kept waiting by it: there is a next time.
void Vst2Plugin::tick()
{
    if (const std::unique_lock lock(ui, std::try_to_lock); lock)
        owned->serviceRequests();
}

// --- Sound ----------------------------------------------------------------------------------

void Vst2Plugin::processReplacing(float** outputs, int frames)
{
    if (frames > 0)
        instrument().processReplacing(nullptr, outputs, frames);
}

template <class Sample, class Put> void Vst2Plugin::processBy(Put put, Sample** outputs, int frames)
{
    VstXSynth& synth = instrument();
    float* rendered[] = {piece[0].data(), piece[1].data()};
    for (int done = 0; done < frames;) {
        const int count = std::min(frames - done, static_cast<int>(piece[0].size()));
        synth.processReplacing(nullptr, rendered, count);
        for (int channel = 0; outputs && channel < 2; ++channel) {
            for (int i = 0; outputs[channel] && i < count; ++i)
                put(outputs[channel][done + i], rendered[channel][i]);
        }
        done += count;
    }
}

void Vst2Plugin::processAdding(float** outputs, int frames)
{
    processBy([](float& sample, float more) { sample += more; }, outputs, frames);
}

void Vst2Plugin::processDoubleReplacing(double** outputs, int frames)
{
    processBy([](double& sample, float rendered) { sample = rendered; }, outputs, frames);
}

// --- Calls by number ------------------------------------------------------------------------

t_fstPtrInt Vst2Plugin::dispatch(int opcode, int index, t_fstPtrInt value, void* data, float amount)
{
    switch (opcode) {
    // Life
    case effSetSampleRate: setSampleRate(amount); return 0;
    case effSetBlockSize:
        setBlockSize(
            static_cast<int>(std::clamp<t_fstPtrInt>(value, 1, AudioEffect::kLargestBlock)));
        return 0;
    case effSetProcessPrecision: return 1;
    case effMainsChanged:
        if (value)
            instrument().resume();
        else if (VstXSynth* synth = made)
            synth->suspend();
        return 0;
    case effEditIdle:
    case kEffIdle: UiCall(*this)->serviceRequests(); return 1;

    // What the plug-in is
    case effIdentify: return fourCharacters("NvEf");
    case effGetVstVersion: return kCallsUnderstood;
    case effGetEffectName:
    case effGetProductString: return sayText(data, VstXSynth::kProduct);
    case effGetVendorString: return sayText(data, VstXSynth::kVendor);
    case effGetVendorVersion: return face.version;
    case effGetPlugCategory: return kPlugCategSynth;
    case effCanDo: return VstXSynth::ability(static_cast<const char*>(data));
    case effGetOutputProperties:
        return data && outputProperties(index, *static_cast<t_fstPinProperties*>(data));
    // No length is told: feedback of the delay may last for ever.
    case kEffGetTailSize: return 0;
    case effVendorSpecific: return instrument().vendorSpecific(index, value, data, amount);

    // Parameters
    case effGetParamName: return sayText(data, VstXSynth::parameterName(index));
    case effGetParamLabel:
        instrument().getParameterLabel(index, static_cast<char*>(data));
        return 1;
    case effGetParamDisplay:
        instrument().getParameterDisplay(index, static_cast<char*>(data));
        return 1;
    case effCanBeAutomated: return isParameter(index);

    // Programs and state
    case effGetProgram: return UiCall(*this)->getProgram();
    case effSetProgram: UiCall(*this)->setProgram(static_cast<int>(value)); return 0;
    case effGetProgramName: UiCall(*this)->getProgramName(static_cast<char*>(data)); return 0;
    case effSetProgramName:
        if (data)
            UiCall(*this)->setProgramName(static_cast<const char*>(data));
        return 0;
    case effGetProgramNameIndexed:
        return UiCall(*this)->getProgramNameIndexed(index, static_cast<char*>(data));
    case effGetChunk:
        return data ? UiCall(*this)->getChunk(static_cast<void**>(data), index != 0) : 0;
    case effSetChunk:
        return UiCall(*this)->setChunk(
            data, static_cast<int>(std::clamp<t_fstPtrInt>(value, 0, INT32_MAX)), index != 0);

    case effProcessEvents: {
        const auto* list = static_cast<const t_fstEvents*>(data);
        if (!list)
            return 0;
        const HostEvents events{list->numEvents,
                                reinterpret_cast<const HostEvent* const*>(list->events)};
        return instrument().processEvents(&events);
    }
    default: return 0;
    }
}

bool Vst2Plugin::outputProperties(int index, t_fstPinProperties& properties)
{
    PinProperties pin;
    if (!instrument().getOutputProperties(index, pin))
        return false;
    properties = {};
    static_assert(sizeof properties.label == sizeof pin.label);
    std::memcpy(properties.label, pin.label.data(), sizeof properties.label);
    properties.flags = pin.flags;
    return true;
}

} // namespace zephra::vst2
