// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "aax/AaxInterface.h"
#include "plugin/EntryPoints.h"
#include "support/TempFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace zephra::aax {

// A host of the smallest kind: it takes a description down, holds instances and plays them.

/// A row of the table that the tests print.
inline void seen(const char* step, const std::string& what)
{
    std::printf("%-26s %s\n", step, what.c_str());
}

inline std::string fourText(TypeId id)
{
    const auto word = static_cast<std::uint32_t>(id);
    return {static_cast<char>(word >> 24), static_cast<char>(word >> 16),
            static_cast<char>(word >> 8), static_cast<char>(word)};
}

// --- Description --------------------------------------------------------------------------------

/// What one operation of the description shall fail with, by its name.
struct Faults {
    std::string operation;
    AAX_Result error = AAX_SUCCESS;

    AAX_Result of(const char* name) const { return operation == name ? error : AAX_SUCCESS; }
};

struct TakenProperties : AAX_IPropertyMap {
    explicit TakenProperties(const Faults& plannedFaults) : faults(plannedFaults) {}
    AAX_Result AddProperty(int property, std::int32_t value) override
    {
        values[property] = value;
        return faults.of("AddProperty");
    }

    const Faults& faults;
    std::map<int, std::int32_t> values;
};

struct TakenEffect : AAX_IEffectDescriptor {
    explicit TakenEffect(const Faults& plannedFaults) : faults(plannedFaults) {}
    AAX_Result AddName(const char* name) override
    {
        names.emplace_back(name);
        return faults.of("AddName");
    }
    AAX_Result AddCategory(std::uint32_t ofEffect) override
    {
        category = ofEffect;
        return faults.of("AddCategory");
    }
    AAX_IPropertyMap* NewPropertyMap() override
    {
        if (faults.of("NewPropertyMap"))
            return nullptr;
        return maps.emplace_back(std::make_unique<TakenProperties>(faults)).get();
    }
    AAX_Result AddProcess(const ProcessType& type, AAX_IPropertyMap* map) override
    {
        types.emplace_back(type, static_cast<TakenProperties*>(map)->values);
        return faults.of("AddProcess");
    }
    AAX_Result SetProperties(AAX_IPropertyMap* map) override
    {
        properties = static_cast<TakenProperties*>(map)->values;
        return faults.of("SetProperties");
    }
    AAX_Result AddDataModelCreator(CreateProc createProc) override
    {
        create = createProc;
        return faults.of("AddDataModelCreator");
    }

    const Faults& faults;
    std::vector<std::string> names;
    std::uint32_t category = 0;
    std::vector<std::pair<ProcessType, std::map<int, std::int32_t>>> types;
    std::map<int, std::int32_t> properties;
    CreateProc create = nullptr;
    std::vector<std::unique_ptr<TakenProperties>> maps;
};

struct TakenCollection : Collection {
    AAX_IEffectDescriptor* NewDescriptor() override
    {
        return faults.of("NewDescriptor") ? nullptr : &effect;
    }
    AAX_Result AddEffect(const char* ofEffect, AAX_IEffectDescriptor*) override
    {
        identifier = ofEffect;
        return faults.of("AddEffect");
    }
    AAX_Result SetManufacturerName(const char* name) override
    {
        manufacturer = name;
        return faults.of("SetManufacturerName");
    }
    AAX_Result AddPackageName(const char* name) override
    {
        packageNames.emplace_back(name);
        return faults.of("AddPackageName");
    }
    AAX_Result SetPackageVersion(std::uint32_t ofPackage) override
    {
        version = ofPackage;
        return faults.of("SetPackageVersion");
    }

    Faults faults;
    TakenEffect effect{faults};
    std::string identifier, manufacturer;
    std::vector<std::string> packageNames;
    std::uint32_t version = 0;
};

struct RecordingServices : HostServices {
    void assertionFailed(const char* source, int line, const char* expression) override
    {
        failures.push_back(std::string(source) + ": " + expression);
        EXPECT_GT(line, 0);
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

/// What a host holds for an instance on a track; sound that comes in lies in `inputs`.
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
        midi.waiting.push_back(
            {static_cast<std::uint32_t>(sample),
             {static_cast<std::uint8_t>(status), static_cast<std::uint8_t>(first),
              static_cast<std::uint8_t>(second), 0xff}});
    }
    void prepareBlock(int blockFrames)
    {
        frames = blockFrames;
        for (auto& channel : outputs)
            std::fill(channel.begin(), channel.end(), kOld);
    }
    float peak(int channel) const
    {
        float most = 0.0f;
        for (int i = 0; i < frames; ++i)
            most = std::max(most, std::abs(outputs[channel][static_cast<std::size_t>(i)]));
        return most;
    }
    std::vector<float> sound(int channel) const
    {
        return {outputs[channel].begin(), outputs[channel].begin() + frames};
    }

    FakeController controller;
    FakeNode midi, global, transport;
    std::int32_t frames = 0;
    std::vector<float> inputs[2] = {std::vector<float>(kMostFrames),
                                    std::vector<float>(kMostFrames)};
    std::vector<float> outputs[2] = {std::vector<float>(kMostFrames),
                                     std::vector<float>(kMostFrames)};
    const float* inputPointers[2] = {inputs[0].data(), inputs[1].data()};
    float* outputPointers[2] = {outputs[0].data(), outputs[1].data()};
    RenderInfo info{};
};

// --- The library --------------------------------------------------------------------------------

/// Every test has a home of its own for the library of patches and the settings.
class AaxTest : public testing::Test {
protected:
    AaxTest()
    {
        ::setenv("ZEPHRA_DATA_ROOT", (home / "data").c_str(), 1);
        ::setenv("ZEPHRA_SETTINGS_DIR", (home / "settings").c_str(), 1);
    }

    test::TempFolder home;
};

/// The library as it was built, loaded and described.
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
        void* const found = ::dlsym(handle, name);
        EXPECT_TRUE(found) << name;
        return reinterpret_cast<Procedure*>(found);
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
    Instance(const LoadedLibrary& library, StemFormat stemFormat) : Track(stemFormat)
    {
        TakenCollection collection;
        library.describe(collection);
        for (const auto& [type, properties] : collection.effect.types) {
            if (type.setup.outputStemFormat == stemFormat)
                process = type.process;
        }
        model.reset(collection.effect.create());
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
    AAX_IParameter* parameter(const std::string& id) const
    {
        for (int i = 0; i < model->parameterCount(); ++i) {
            if (model->parameter(i)->identifier() == id)
                return model->parameter(i);
        }
        return nullptr;
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
    int changes() const
    {
        std::int32_t count = -1;
        EXPECT_EQ(model->GetNumChunkChanges(&count), AAX_SUCCESS);
        return count;
    }
    static Chunk* head(std::vector<std::uint8_t>& block)
    {
        return reinterpret_cast<Chunk*>(block.data());
    }

    static constexpr TypeId kId = 'Z' << 24 | 'P' << 16 | 'C' << 8 | 'H';

    ProcessProc process = nullptr;
    std::unique_ptr<AAX_IEffectParameters> model;
    AAX_CMonolithicParameters* privateData = nullptr;
};

} // namespace zephra::aax
