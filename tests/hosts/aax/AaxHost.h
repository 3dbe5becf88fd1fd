// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AaxInterface.h"
#include "plugin/EntryPoints.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zephra::aax {

// A host of the smallest kind: it takes a description down, holds instances and plays them.

/// A row of the table that the tests print: a step, and what the host saw of it.
template <class... What> void seen(std::string step, const What&... what)
{
    step.resize(20, ' ');
    std::cout << step;
    (std::cout << ... << what) << '\n';
}

inline std::string fourText(TypeId id)
{
    const auto word = static_cast<std::uint32_t>(id);
    return {static_cast<char>(word >> 24), static_cast<char>(word >> 16),
            static_cast<char>(word >> 8), static_cast<char>(word)};
}

// --- Description --------------------------------------------------------------------------------

/// Which operation of the description shall fail, if any.
struct Fault {
    AAX_Result of(const std::string& name) const { return name == operation ? error : AAX_SUCCESS; }

    std::string operation;
    AAX_Result error = AAX_SUCCESS;
};

using Properties = std::map<int, std::int32_t>;

struct TakenProperties : AAX_IPropertyMap {
    explicit TakenProperties(const Fault& planned) : fault(planned) {}
    AAX_Result AddProperty(int property, std::int32_t value) override
    {
        values[property] = value;
        return fault.of(__func__);
    }

    const Fault& fault;
    Properties values;
};

/// A library's description, as far as it has come.
struct TakenCollection : Collection, AAX_IEffectDescriptor {
    AAX_IEffectDescriptor* NewDescriptor() override { return fault.of(__func__) ? nullptr : this; }
    AAX_Result AddEffect(const char* name, AAX_IEffectDescriptor*) override
    {
        identifier = name;
        return fault.of(__func__);
    }
    AAX_Result SetManufacturerName(const char* name) override
    {
        manufacturer = name;
        return fault.of(__func__);
    }
    AAX_Result AddPackageName(const char* name) override
    {
        packageNames.emplace_back(name);
        return fault.of(__func__);
    }
    AAX_Result SetPackageVersion(std::uint32_t ofPackage) override
    {
        version = ofPackage;
        return fault.of(__func__);
    }

    AAX_Result AddName(const char* name) override
    {
        names.emplace_back(name);
        return fault.of(__func__);
    }
    AAX_Result AddCategory(std::uint32_t ofEffect) override
    {
        category = ofEffect;
        return fault.of(__func__);
    }
    AAX_IPropertyMap* NewPropertyMap() override
    {
        maps.push_back(std::make_unique<TakenProperties>(fault));
        return fault.of(__func__) ? nullptr : maps.back().get();
    }
    AAX_Result AddProcess(const ProcessType& type, AAX_IPropertyMap* map) override
    {
        types.emplace_back(type, static_cast<TakenProperties*>(map)->values);
        return fault.of(__func__);
    }
    AAX_Result SetProperties(AAX_IPropertyMap* map) override
    {
        properties = static_cast<TakenProperties*>(map)->values;
        return fault.of(__func__);
    }
    AAX_Result AddDataModelCreator(CreateProc createProc) override
    {
        create = createProc;
        return fault.of(__func__);
    }

    Fault fault;
    std::string identifier, manufacturer;
    std::vector<std::string> names, packageNames;
    std::uint32_t version = 0, category = 0;
    std::vector<std::pair<ProcessType, Properties>> types;
    Properties properties;
    CreateProc create = nullptr;
    std::vector<std::unique_ptr<TakenProperties>> maps;
};

struct RecordingServices : HostServices {
    void assertionFailed(const char* source, int, const char* expression) override
    {
        failures.push_back(std::string(source) + ": " + expression);
    }

    std::vector<std::string> failures;
};

// --- Sound --------------------------------------------------------------------------------------

struct FakeTransport : AAX_ITransport {
    bool isPlaying() noexcept override { return playing; }
    double tempo() noexcept override { return beatsPerMinute; }
    std::int64_t tickPosition() noexcept override { return ticks; }
    std::int32_t ticksPerQuarter() noexcept override { return 960000; }

    bool playing = false;
    double beatsPerMinute = 120.0;
    std::int64_t ticks = 0;
};

struct FakeNode : AAX_IMIDINode {
    MidiStream packets() noexcept override
    {
        ++reads;
        return {waiting.data(), static_cast<std::uint32_t>(waiting.size())};
    }
    AAX_ITransport* transport() noexcept override { return &clock; }

    std::vector<MidiPacket> waiting;
    FakeTransport clock;
    int reads = 0;
};

struct FakeController : Controller {
    double sampleRate() noexcept override { return rate; }
    StemFormat inputStemFormat() noexcept override { return stems; }

    double rate = 48000.0;
    StemFormat stems = AAX_eStemFormat_Stereo;
};

/// What a host holds for an instance on a track.
struct Track {
    static constexpr std::size_t kMostFrames = 1024;
    static constexpr float kOld = 0.25f; ///< what lies in the outputs before a block

    explicit Track(StemFormat stems)
    {
        controller.stems = stems;
        info.audioInputs = inputPointers;
        info.audioOutputs = outputPointers;
        info.bufferLength = &frames;
        info.inputMidi = &midi;
        info.globalMidi = &global;
        info.transport = &transport;
    }
    Track(const Track&) = delete;

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

    FakeController controller;
    FakeNode midi, global, transport;
    std::int32_t frames = 0;
    std::vector<float> silence = std::vector<float>(kMostFrames);
    std::vector<float> inputs[2] = {silence, silence}, outputs[2] = {silence, silence};
    const float* inputPointers[2] = {inputs[0].data(), inputs[1].data()};
    float* outputPointers[2] = {outputs[0].data(), outputs[1].data()};
    RenderInfo info{};
};

// --- The library --------------------------------------------------------------------------------

/// Every test has a home of its own for patches and settings, with an empty library.
class AaxTest : public testing::Test {
protected:
    AaxTest()
    {
        std::filesystem::create_directories(soundbanks());
        ::setenv("ZEPHRA_DATA_ROOT", home.path().c_str(), 1);
        ::setenv("ZEPHRA_SETTINGS_DIR", (home / "settings").c_str(), 1);
    }

    std::filesystem::path soundbanks() const { return home / "Soundbanks"; }

    test::TempFolder home;
};

/// The library as it was built.
class LoadedLibrary {
public:
    LoadedLibrary() : handle(::dlopen(ZEPHRA_AAX_LIBRARY, RTLD_NOW | RTLD_LOCAL))
    {
        if (!handle)
            throw std::runtime_error(::dlerror());
        procedure<decltype(ACFStartup)>("ACFStartup")(&services);
    }
    ~LoadedLibrary()
    {
        EXPECT_EQ(procedure<decltype(ACFShutdown)>("ACFShutdown")(), AAX_SUCCESS);
        EXPECT_EQ(procedure<decltype(ACFCanUnloadNow)>("ACFCanUnloadNow")(), AAX_SUCCESS);
        ::dlclose(handle);
    }
    LoadedLibrary(const LoadedLibrary&) = delete;

    template <class Procedure> Procedure* procedure(const char* name) const
    {
        return reinterpret_cast<Procedure*>(::dlsym(handle, name));
    }

    /// As a host does when it scans.
    AAX_Result describe(Collection& collection) const
    {
        TypeId classId = 0;
        DescribeProc describeEffects = nullptr;
        procedure<decltype(ACFRegisterComponent)>("ACFRegisterComponent")(0, &classId);
        procedure<decltype(ACFGetClassFactory)>("ACFGetClassFactory")(classId, &describeEffects);
        return describeEffects(collection);
    }

    RecordingServices services;

private:
    void* handle;
};

/// An instance of the loaded library on a track of its own.
struct Instance : Track {
    static constexpr TypeId kId = 'Z' << 24 | 'P' << 16 | 'C' << 8 | 'H'; ///< of its chunks

    explicit Instance(const LoadedLibrary& library, StemFormat stems = AAX_eStemFormat_Stereo)
        : Track(stems)
    {
        TakenCollection collection;
        library.describe(collection);
        process = collection.types.front().first.process;
        model.reset(collection.create());
        EXPECT_EQ(model->Initialize(controller), AAX_SUCCESS);
        EXPECT_EQ(model->ResetFieldData(22, &privateData, sizeof privateData), AAX_SUCCESS);
        info.privateData = &privateData;
    }

    void render(int blockFrames)
    {
        prepareBlock(blockFrames);
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
        EXPECT_EQ(model->GetChunkSize(kId, &size), AAX_SUCCESS);
        std::vector<std::uint8_t> block(sizeof(Chunk) + size);
        EXPECT_EQ(model->GetChunk(kId, head(block), block.size()), AAX_SUCCESS);
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
    AAX_CMonolithicParameters* privateData = nullptr;
};

} // namespace zephra::aax
