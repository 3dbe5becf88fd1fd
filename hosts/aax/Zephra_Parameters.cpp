// SPDX-License-Identifier: GPL-3.0-or-later
#include "aax/Zephra_Parameters.h"

#include "aax/AAX_CParameter.h"
#include "library/LibraryPlaces.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <string>

namespace zephra::aax {

namespace {

constexpr int kLargestChunk = 10 * 1024 * 1024 - 1;
constexpr std::int32_t kChunkVersion = 1;
constexpr const char* kChunkName = "The Zephra";
constexpr double kTicksPerQuarter = 960000.0;

} // namespace

// --- Life ---------------------------------------------------------------------------------------

AAX_IEffectParameters* Zephra_Parameters::Create() noexcept
{
    try {
        return new Zephra_Parameters;
    } catch (const std::exception&) {
        return nullptr;
    }
}

Zephra_Parameters::Zephra_Parameters()
{
    for (std::size_t i = 0; i < hostEvents.pointers.size(); ++i)
        hostEvents.pointers[i] = &hostEvents.midiBuffer[i];

    VstXSynthOptions options;
    options.settings = &settings;
    options.host = this;
    options.soundbankRoot = defaultSoundbankRoot();
    options.factoryBanks = installedFactoryBanks();
    try {
        synth = std::make_unique<VstXSynth>(options);
    } catch (const std::exception&) {
        synth.reset();
    }
}

AAX_Result Zephra_Parameters::Initialize(Controller& host)
{
    const AAX_Result err = AAX_CMonolithicParameters::Initialize(host);
    if (err == AAX_SUCCESS)
        describeDone = true;
    return err;
}

AAX_Result Zephra_Parameters::Uninitialize()
{
    describeDone = false;
    parameters.fill(nullptr);
    masterBypass = nullptr;
    return AAX_CMonolithicParameters::Uninitialize();
}

AAX_Result Zephra_Parameters::TimerWakeup()
{
    // A chunk that comes or goes just now is not kept waiting: there is a next time.
    if (const std::unique_lock use(patchUse, std::try_to_lock); use && synth)
        synth->serviceRequests();
    return AAX_CMonolithicParameters::TimerWakeup();
}

// --- Parameters ---------------------------------------------------------------------------------

AAX_Result Zephra_Parameters::EffectInit()
{
    const auto bypassText = [](bool on) { return std::string(on ? "on" : "bypass"); };
    masterBypass = addParameter(std::make_unique<AAX_CParameter<bool>>(
        ParameterTexts<bool>{"MasterBypassID", "Master Bypass", bypassText}, false, 2));

    for (int i = 0; synth && i < kNumHostParameters; ++i) {
        const int id = kHostParameters[static_cast<std::size_t>(i)].id;
        const auto text = [this, i](float value) { return synth->formatParameter(i, value); };
        AAX_IParameter* const parameter = addParameter(std::make_unique<AAX_CParameter<float>>(
            ParameterTexts<float>{"pn_" + std::to_string(i), synth->controlName(id), text},
            defaultValue(id) / controlScale(id), 0));
        parameter->setNormalizedValue(synth->getParameter(i));
        parameters[static_cast<std::size_t>(i)] = parameter;
    }
    describeDone = true;
    return AAX_SUCCESS;
}

AAX_Result Zephra_Parameters::UpdateParameterNormalizedValue(const char* id, double value,
                                                             int source)
{
    const AAX_Result err =
        AAX_CMonolithicParameters::UpdateParameterNormalizedValue(id, value, source);
    if (err != AAX_SUCCESS || !synth)
        return err;
    const auto found = std::ranges::find_if(parameters, [id](const AAX_IParameter* parameter) {
        return std::strcmp(parameter->identifier(), id) == 0;
    });
    if (found != parameters.end())
        synth->setParameter(static_cast<int>(found - parameters.begin()),
                            static_cast<float>((*found)->normalizedValue()));
    return err;
}

void Zephra_Parameters::refreshParameters()
{
    if (!describeDone)
        return;
    for (int i = 0; i < kNumHostParameters; ++i)
        parameters[static_cast<std::size_t>(i)]->setNormalizedValue(synth->getParameter(i));
}

// --- Sound --------------------------------------------------------------------------------------

void Zephra_Parameters::RenderAudio(const RenderInfo& info) noexcept
{
    if (!describeDone)
        return;
    readTransport(info.transport ? info.transport->transport() : nullptr);
    const bool bypassed = masterBypass->GetValueAsBool();
    const int sampleFrames = std::max(*info.bufferLength, 0);
    const int channels = static_cast<int>(controller->inputStemFormat() & 0xffff);
    if (synth) {
        adoptFormat(sampleFrames, channels);
        sendMidi(info.inputMidi);
        renderSynth(info.audioOutputs, sampleFrames, channels);
    }

    // On a track with sound of its own the instrument adds to it, or leaves it alone.
    for (int c = 0; info.audioInputs && info.audioOutputs && c < channels; ++c) {
        const float* const in = info.audioInputs[c];
        float* const out = info.audioOutputs[c];
        if (!in || !out)
            continue;
        for (int i = 0; i < sampleFrames; ++i)
            out[i] = bypassed ? in[i] : out[i] + in[i];
    }
}

void Zephra_Parameters::readTransport(AAX_ITransport* transport) noexcept
{
    transportBlock = {};
    if (transport) {
        const bool isPlaying = transport->isPlaying();
        tempo = transport->tempo();
        if (isPlaying != wasPlaying) {
            wasPlaying = isPlaying;
            transportBlock.flags |= TransportBlock::kTransportChanged;
        }
        if (isPlaying) {
            tickValue = transport->ticksPerQuarter() / 1000;
            transportBlock.flags |= TransportBlock::kTransportPlaying;
        }
        transportBlock.ppqPos = static_cast<double>(transport->tickPosition()) / kTicksPerQuarter;
    }
    transportBlock.sampleRate = static_cast<float>(controller->sampleRate());
    transportBlock.tempo = tempo;
    transportBlock.flags |=
        TransportBlock::kPpqPosValid | TransportBlock::kTempoValid | TransportBlock::kClockValid;
}

/// Allocates, but only when the host changes something. An empty block is no change: its events
/// wait for the next one.
void Zephra_Parameters::adoptFormat(int sampleFrames, int channels)
{
    if (sampleFrames == 0)
        return;
    if (sampleFrames != lastBlockSize) {
        synth->setBlockSize(sampleFrames);
        lastBlockSize = sampleFrames;
        const auto monoFrames = static_cast<std::size_t>(channels == 1 ? sampleFrames : 0);
        monoLeft.resize(monoFrames);
        monoRight.resize(monoFrames);
    }
    const auto rate = static_cast<float>(transportBlock.sampleRate);
    if (rate != lastSampleRate) {
        synth->setSampleRate(rate);
        lastSampleRate = rate;
    }
}

void Zephra_Parameters::sendMidi(AAX_IMIDINode* node) noexcept
{
    const MidiStream stream = node ? node->packets() : MidiStream{};
    if (stream.count == 0 || stream.count >= HostEvents::kMost)
        return;
    for (std::uint32_t i = 0; i < stream.count; ++i) {
        MidiEvent& event = hostEvents.midiBuffer[i];
        event.deltaFrames = static_cast<std::int32_t>(stream.packets[i].timestamp);
        std::copy_n(stream.packets[i].data.begin(), 3, event.data.begin());
    }
    const HostEvents events{static_cast<std::int32_t>(stream.count), hostEvents.pointers.data()};
    synth->processEvents(&events);
}

/// A mono host gets the middle of the stereo sound.
void Zephra_Parameters::renderSynth(float* const* outputs, int sampleFrames, int channels) noexcept
{
    if (!outputs || sampleFrames == 0)
        return;
    if (channels == 2) {
        float* stereo[] = {outputs[0], outputs[1]};
        synth->processReplacing(nullptr, stereo, sampleFrames);
    } else if (channels < 2 && !monoLeft.empty()) {
        float* scratch[] = {monoLeft.data(), monoRight.data()};
        synth->processReplacing(nullptr, scratch, sampleFrames);
        for (int i = 0; outputs[0] && i < sampleFrames; ++i)
            outputs[0][i] = (monoLeft[i] + monoRight[i]) * 0.5f;
    }
}

HostTime Zephra_Parameters::time(std::uint32_t) noexcept
{
    return {transportBlock.tempo, transportBlock.flags};
}

// --- State --------------------------------------------------------------------------------------

AAX_Result Zephra_Parameters::GetChunkIDFromIndex(int, TypeId* id) const
{
    if (!id)
        return AAX_ERROR_NULL_OBJECT;
    *id = kChunkId;
    return AAX_SUCCESS;
}

AAX_Result Zephra_Parameters::GetChunkSize(TypeId id, std::uint32_t* size)
{
    if (id != kChunkId || !synth)
        return AAX_ERROR_CHUNK;
    const std::lock_guard use(patchUse);
    chunkSize = synth->getChunk(&chunkData, false);
    if (size)
        *size = static_cast<std::uint32_t>(chunkSize);
    return AAX_SUCCESS;
}

AAX_Result Zephra_Parameters::GetChunk(TypeId id, Chunk* chunk, std::size_t blockSize)
{
    if (chunkSize == 0)
        GetChunkSize(id, nullptr);
    if (id != kChunkId || !synth || !chunk || chunkSize < 1 || chunkSize > kLargestChunk ||
        blockSize < sizeof(Chunk) + static_cast<std::size_t>(chunkSize))
        return AAX_ERROR_CHUNK;

    *chunk = {chunkSize, kChunkVersion, kManufacturer, kProduct, kProduct, kChunkId, {}};
    std::strncpy(chunk->name, kChunkName, sizeof chunk->name - 1);
    std::memcpy(chunk + 1, chunkData, static_cast<std::size_t>(chunkSize));
    chunkSize = 0;
    chunkData = nullptr;
    return AAX_SUCCESS;
}

AAX_Result Zephra_Parameters::SetChunk(TypeId id, const Chunk* chunk, std::size_t blockSize)
{
    changeCount = 0;
    if (ignoreNextSetChunk) {
        ignoreNextSetChunk = false;
        return AAX_SUCCESS;
    }
    if (id != kChunkId || !synth || !chunk || blockSize < sizeof(Chunk) ||
        chunk->manufacturer != kManufacturer || chunk->product != kProduct || chunk->size < 0 ||
        static_cast<std::size_t>(chunk->size) > blockSize - sizeof(Chunk))
        return AAX_ERROR_CHUNK;
    const std::lock_guard use(patchUse);
    synth->setChunk(chunk + 1, chunk->size, false);
    return AAX_SUCCESS;
}

AAX_Result Zephra_Parameters::CompareActiveChunk(const Chunk* chunk, bool* equal) const
{
    if (equal)
        *equal = true;
    return chunk && chunk->id == kChunkId ? AAX_SUCCESS : AAX_ERROR_CHUNK;
}

} // namespace zephra::aax
