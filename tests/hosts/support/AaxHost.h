// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AaxInterface.h"
#include "hosts/support/Library.h"
#include "plugin/EntryPoints.h"

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// An AAX host of the smallest kind: it takes a description down, holds instances and plays them.
namespace zephra::aax {

inline std::string fourText(TypeId id)
{
    const auto word = static_cast<std::uint32_t>(id);
    return {static_cast<char>(word >> 24), static_cast<char>(word >> 16),
            static_cast<char>(word >> 8), static_cast<char>(word)};
}

/// Takes a description down as a list of calls. One of them may be told to fail.
struct TakenDescription : Collection, AAX_IEffectDescriptor, AAX_IPropertyMap {
    static constexpr AAX_Result kFault = -20099;

    AAX_IEffectDescriptor* NewDescriptor() override { return call(__func__) ? nullptr : this; }
    AAX_Result AddName(const char* name) override { return call(__func__, name); }
    AAX_Result AddCategory(std::uint32_t category) override { return call(__func__, category); }
    AAX_IPropertyMap* NewPropertyMap() override { return call(__func__) ? nullptr : this; }
    AAX_Result AddProperty(int property, std::int32_t value) override
    {
        return call(__func__, property, value);
    }
    AAX_Result AddProcess(const ProcessType& type, AAX_IPropertyMap*) override
    {
        types.push_back(type);
        return call(__func__, fourText(type.setup.pluginId));
    }
    AAX_Result SetProperties(AAX_IPropertyMap*) override { return call(__func__); }
    AAX_Result AddDataModelCreator(CreateProc maker) override
    {
        create = maker;
        return call(__func__);
    }
    AAX_Result AddEffect(const char* identifier, AAX_IEffectDescriptor*) override
    {
        return call(__func__, identifier);
    }
    AAX_Result SetManufacturerName(const char* name) override { return call(__func__, name); }
    AAX_Result AddPackageName(const char* name) override { return call(__func__, name); }
    AAX_Result SetPackageVersion(std::uint32_t version) override { return call(__func__, version); }

    std::string failing; ///< operation
    std::vector<std::string> calls;
    std::vector<ProcessType> types;
    CreateProc create = nullptr;

private:
    template <class... What> AAX_Result call(const char* operation, const What&... what)
    {
        std::ostringstream text;
        text << operation;
        ((text << ' ' << what), ...);
        calls.push_back(text.str());
        return operation == failing ? kFault : AAX_SUCCESS;
    }
};

struct Node : AAX_IMIDINode, AAX_ITransport {
    MidiStream packets() noexcept override
    {
        return {waiting.data(), static_cast<std::uint32_t>(waiting.size())};
    }
    AAX_ITransport* transport() noexcept override { return this; }
    bool isPlaying() noexcept override { return playing; }
    double tempo() noexcept override { return beatsPerMinute; }
    std::int64_t tickPosition() noexcept override { return ticks; }
    std::int32_t ticksPerQuarter() noexcept override { return 960000; }

    std::vector<MidiPacket> waiting;
    bool playing = false;
    double beatsPerMinute = 120.0;
    std::int64_t ticks = 0;
};

/// What a host holds for an instance on a track.
struct Track : Controller {
    static constexpr std::size_t kMostFrames = 8192;
    static constexpr float kOld = 0.25f; ///< what lies in the outputs before a block

    explicit Track(StemFormat trackStems) : stems(trackStems) {}
    Track(const Track&) = delete;
    double sampleRate() noexcept override { return rate; }
    StemFormat inputStemFormat() noexcept override { return stems; }

    void midiEvent(int sample, int status, int first, int second)
    {
        const auto byte = [](int value) { return static_cast<std::uint8_t>(value); };
        midi.waiting.push_back(
            {static_cast<std::uint32_t>(sample), {byte(status), byte(first), byte(second), 0xff}});
    }
    void prepareBlock(int blockFrames)
    {
        frames = blockFrames;
        for (auto& channel : outputs)
            std::ranges::fill(channel, kOld);
    }
    /// Of the last block.
    std::vector<float> sound(int channel) const
    {
        return {outputs[channel].begin(), outputs[channel].begin() + frames};
    }

    double rate = 48000.0;
    const StemFormat stems;
    Node midi, global, transport;
    std::int32_t frames = 0;
    std::vector<float> silence = std::vector<float>(kMostFrames);
    std::vector<float> inputs[2] = {silence, silence}, outputs[2] = {silence, silence};
    const float* inputPointers[2] = {inputs[0].data(), inputs[1].data()};
    float* outputPointers[2] = {outputs[0].data(), outputs[1].data()};
    AAX_CMonolithicParameters* privateData = nullptr;
    RenderInfo info = {inputPointers, outputPointers, &frames,    nullptr,
                       &midi,         &global,        &transport, {},
                       nullptr,       nullptr,        nullptr};
};

/// The library as it was built.
struct LoadedLibrary : test::Library {
    LoadedLibrary() : Library(ZEPHRA_AAX_LIBRARY) {}

    /// As a host does when it scans.
    AAX_Result describe(Collection& collection) const
    {
        TypeId classId = 0;
        DescribeProc describeEffects = nullptr;
        find<decltype(ACFRegisterComponent)>("ACFRegisterComponent")(0, &classId);
        find<decltype(ACFGetClassFactory)>("ACFGetClassFactory")(classId, &describeEffects);
        return describeEffects(collection);
    }
};

/// An instance of the loaded library on a track of its own.
struct Instance : Track {
    static constexpr TypeId kId = 'Z' << 24 | 'P' << 16 | 'C' << 8 | 'H'; ///< of its chunks

    explicit Instance(const LoadedLibrary& library, StemFormat trackStems = AAX_eStemFormat_Stereo)
        : Track(trackStems)
    {
        TakenDescription effect;
        library.describe(effect);
        process = effect.types.front().process;
        model.reset(effect.create());
        if (model->Initialize(*this) != AAX_SUCCESS ||
            model->ResetFieldData(22, &privateData, sizeof privateData) != AAX_SUCCESS)
            throw std::runtime_error("no instance");
        info.privateData = &privateData;
    }

    void render(int blockFrames)
    {
        prepareBlock(blockFrames);
        renderOnly();
    }
    void renderOnly()
    {
        RenderInfo* const instances[] = {&info};
        process(instances, 1);
        midi.waiting.clear();
    }
    AAX_Result set(const std::string& id, double value)
    {
        return model->UpdateParameterNormalizedValue(id.c_str(), value, 0);
    }
    double value(int hostIndex) const { return model->parameter(hostIndex + 1)->normalizedValue(); }
    int changes() const
    {
        std::int32_t count = -1;
        model->GetNumChunkChanges(&count);
        return count;
    }

    std::vector<std::uint8_t> chunk()
    {
        std::uint32_t size = 0;
        model->GetChunkSize(kId, &size);
        std::vector<std::uint8_t> block(sizeof(Chunk) + size);
        if (model->GetChunk(kId, head(block), block.size()) != AAX_SUCCESS)
            throw std::runtime_error("no chunk");
        return block;
    }
    AAX_Result load(std::vector<std::uint8_t> block)
    {
        return model->SetChunk(kId, head(block), block.size());
    }
    static Chunk* head(std::vector<std::uint8_t>& block)
    {
        return reinterpret_cast<Chunk*>(block.data());
    }

    ProcessProc process = nullptr;
    std::unique_ptr<AAX_IEffectParameters> model;
};

} // namespace zephra::aax
