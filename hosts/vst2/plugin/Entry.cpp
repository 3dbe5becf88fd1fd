// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Uncancelled.h"
#include "vst2/Vst2Plugin.h"

#include <exception>

namespace zephra::vst2 {

namespace {

Vst2Plugin& pluginOf(t_fstEffect* effect) { return *static_cast<Vst2Plugin*>(effect->object); }

/// Nothing is thrown at a host, which may be written in any language: a call that fails, for want
/// of memory, say, answers "no".
template <class Call> auto answer(Call call) noexcept -> decltype(call())
{
    try {
        return call();
    } catch (const std::exception&) {
        return decltype(call())();
    }
}

template <class Call> void play(Call call)
{
    uncancelled([&] { answer(call); });
}

t_fstPtrInt dispatch(t_fstEffect* effect, int opcode, int index, t_fstPtrInt value, void* data,
                     float amount)
{
    if (opcode == effClose) {
        delete &pluginOf(effect);
        return 1;
    }
    return answer([=] { return pluginOf(effect).dispatch(opcode, index, value, data, amount); });
}

void setParameter(t_fstEffect* effect, int index, float value)
{
    answer([=] { pluginOf(effect).instrument().setParameter(index, value); });
}

float getParameter(t_fstEffect* effect, int index)
{
    return answer([=] { return pluginOf(effect).instrument().getParameter(index); });
}

void process(t_fstEffect* effect, float**, float** outputs, int frames)
{
    play([=] { pluginOf(effect).processAdding(outputs, frames); });
}

void processReplacing(t_fstEffect* effect, float**, float** outputs, int frames)
{
    play([=] { pluginOf(effect).processReplacing(outputs, frames); });
}

void processDoubleReplacing(t_fstEffect* effect, double**, double** outputs, int frames)
{
    play([=] { pluginOf(effect).processDoubleReplacing(outputs, frames); });
}

t_fstEffect* open(audioMasterCallback host)
{
    t_fstEffect& effect = (new Vst2Plugin(host))->effect(); // goes with effClose
    effect.dispatcher = dispatch;
    effect.setParameter = setParameter;
    effect.getParameter = getParameter;
    effect.process = process;
    effect.processReplacing = processReplacing;
    effect.processDoubleReplacing = processDoubleReplacing;
    return &effect;
}

} // namespace

} // namespace zephra::vst2

/// What hosts look for in the file. The effect is the host's until it sends effClose.
extern "C" __attribute__((visibility("default"))) t_fstEffect*
VSTPluginMain(audioMasterCallback host)
{
    return zephra::vst2::answer([host] { return zephra::vst2::open(host); });
}
