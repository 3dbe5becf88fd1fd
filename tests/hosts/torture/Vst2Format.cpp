// SPDX-License-Identifier: GPL-3.0-or-later
#include "hosts/support/Vst2Effect.h"
#include "torture/PluginFormat.h"

#include <optional>

namespace zephra::torture {
namespace {

class Vst2Plugin : public Plugin {
public:
    void prepare(double rate, int longestBlock) override
    {
        effect.call(effSetSampleRate, 0, 0, nullptr, static_cast<float>(rate));
        effect.call(effSetBlockSize, 0, longestBlock);
    }
    void turn(bool on) override { effect.call(effMainsChanged, 0, on); }

    void queue(std::span<const Event> events, double tempo) override
    {
        effect.tempo = tempo;
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

    float value(int index) override { return effect->getParameter(effect.operator->(), index); }
    void set(int index, float value) override
    {
        effect->setParameter(effect.operator->(), index, value);
    }
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
    const test::Library library{ZEPHRA_VST2_LIBRARY}; ///< goes after the effect
    test::Vst2Effect effect{library};
    std::optional<test::Vst2Events> list;
    bool isQueued = false;
};

/// The calls that the scanners of Ardour, MusE and Qtractor make.
void scan()
{
    const test::Library loaded(ZEPHRA_VST2_LIBRARY);
    test::Vst2Effect effect(loaded);
    for (const int what : {effGetEffectName, effGetVendorString, effGetProductString})
        effect.text(what);
    for (const int what : {effGetVstVersion, effGetPlugCategory, effGetVendorVersion, effIdentify})
        effect.call(what);
    std::string ability = "receiveVstEvents";
    effect.call(effCanDo, 0, 0, ability.data());
    for (int index = 0; index < effect->numParams; ++index)
        effect.text(effGetParamName, index);
    effect.call(effSetSampleRate, 0, 0, nullptr, 44100.0f);
    effect.call(effSetBlockSize, 0, 1024);
    effect.call(effMainsChanged, 0, 0);
}

} // namespace

const Format kVst2{.name = "vst2",
                   .library = ZEPHRA_VST2_LIBRARY,
                   .entryPoints = {"VSTPluginMain"},
                   .users = 4,
                   .senseless = true,
                   .scan = scan,
                   .open = [](double rate, int longestBlock) -> std::unique_ptr<Plugin> {
                       auto plugin = std::make_unique<Vst2Plugin>();
                       plugin->prepare(rate, longestBlock);
                       return plugin;
                   }};

} // namespace zephra::torture
