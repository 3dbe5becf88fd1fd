// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/Vst2Effect.h"
#include "torture/PluginFormat.h"

#include <optional>

namespace zephra::torture {

namespace {

using test::Library;
using test::Vst2Effect;

class Vst2Instance : public Instance {
public:
    explicit Vst2Instance(const std::filesystem::path& path) : library(path), effect(library) {}

    void prepare(double rate, int longestBlock) override
    {
        effect.call(effSetSampleRate, 0, 0, nullptr, static_cast<float>(rate));
        effect.call(effSetBlockSize, 0, longestBlock);
    }
    void turn(bool on) override { effect.call(effMainsChanged, 0, on); }

    void queue(std::span<const Event> events) override
    {
        list.emplace(events);
        isQueued = true;
    }
    void process(float* left, float* right, int frames) override
    {
        if (isQueued)
            effect.call(effProcessEvents, 0, 0, list->get());
        isQueued = false;
        float* outputs[] = {left, right};
        effect->processReplacing(effect.operator->(), nullptr, outputs, frames);
    }

    int parameterCount() override { return effect->numParams; }
    std::string parameterName(int index) override { return effect.text(effGetParamName, index); }
    float parameter(int index) override { return effect->getParameter(effect.operator->(), index); }
    void setParameter(int index, float value) override
    {
        effect->setParameter(effect.operator->(), index, value);
    }
    std::string parameterText(int index) override { return effect.text(effGetParamDisplay, index); }

    Bytes state() override
    {
        void* bytes = nullptr;
        const t_fstPtrInt size = effect.call(effGetChunk, 0, 0, &bytes);
        const auto* first = static_cast<const std::uint8_t*>(bytes);
        return {first, first + size};
    }
    void restore(const Bytes& state) override
    {
        Bytes copy = state;
        effect.call(effSetChunk, 0, static_cast<t_fstPtrInt>(copy.size()), copy.data());
    }

private:
    const Library library; ///< goes after the effect
    Vst2Effect effect;
    std::optional<test::Vst2Events> list;
    bool isQueued = false;
};

class Vst2Format : public Format {
public:
    explicit Vst2Format(std::filesystem::path libraryPath) : path(std::move(libraryPath)) {}

    std::string name() const override { return "vst2"; }
    std::filesystem::path library() const override { return path; }
    std::vector<std::string> entryPoints() const override { return {"VSTPluginMain"}; }
    Freedoms freedoms() const override
    {
        return {.missingBuffers = true,
                .parametersFromAnyThread = true,
                .stateWhilePlaying = true,
                .unprepared = true};
    }

    /// The calls that the scanners of Ardour, MusE and Qtractor make.
    void scan() override
    {
        const Library loaded(path);
        Vst2Effect effect(loaded);
        for (const int what : {effGetEffectName, effGetVendorString, effGetProductString})
            effect.text(what);
        for (const int what :
             {effGetVstVersion, effGetPlugCategory, effGetVendorVersion, effIdentify})
            effect.call(what);
        for (const char* ability : {"receiveVstEvents", "sendVstEvents", "receiveVstMidiEvent",
                                    "midiProgramNames", "offline"}) {
            std::string name = ability;
            effect.call(effCanDo, 0, 0, name.data());
        }
        for (int index = 0; index < effect->numParams; ++index)
            effect.text(effGetParamName, index);
        effect.call(effSetSampleRate, 0, 0, nullptr, 44100.0f);
        effect.call(effSetBlockSize, 0, 1024);
        effect.call(effMainsChanged, 0, 0);
    }

    std::unique_ptr<Instance> open() override
    {
        auto instance = std::make_unique<Vst2Instance>(path);
        instance->prepare(48000.0, 512);
        return instance;
    }

private:
    const std::filesystem::path path;
};

} // namespace

std::unique_ptr<Format> makeFormat(const std::string& name, const std::filesystem::path& library)
{
    if (name == "lv2")
        return makeLv2Format(library);
    return name == "vst2" ? std::make_unique<Vst2Format>(library) : nullptr;
}

} // namespace zephra::torture
