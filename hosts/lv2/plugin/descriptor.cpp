// SPDX-License-Identifier: GPL-3.0-or-later
// The one name that the plug-in library exports, and the calls of the host behind it. No exception
// leaves them.
#include "lv2/PluginInstance.h"

#include "common/Uncancelled.h"

#include <cstring>
#include <exception>
#include <memory>

namespace zephra::lv2 {
namespace {

PluginInstance& instanceOf(LV2_Handle handle) { return *static_cast<PluginInstance*>(handle); }

/// What `call` returns, or `failure` if it throws.
template <class Result, class Call> Result guarded(Result failure, Call call) noexcept
{
    try {
        return call();
    } catch (const std::exception&) {
        return failure;
    }
}

LV2_Handle instantiate(const LV2_Descriptor*, double rate, const char*,
                       const LV2_Feature* const* list) noexcept
{
    const HostFeatures features(list);
    if (!features.map)
        return nullptr;
    return guarded<LV2_Handle>(
        nullptr, [&] { return std::make_unique<PluginInstance>(rate, features).release(); });
}

void connectPort(LV2_Handle handle, std::uint32_t port, void* data) noexcept
{
    instanceOf(handle).connectPort(port, data);
}

void activate(LV2_Handle handle) noexcept { instanceOf(handle).activate(); }

void run(LV2_Handle handle, std::uint32_t frames)
{
    uncancelled([&] { instanceOf(handle).run(frames); });
}

void cleanup(LV2_Handle handle) noexcept
{
    instanceOf(handle).close();
    delete &instanceOf(handle);
}

// --- Extensions -----------------------------------------------------------------------------

LV2_State_Status save(LV2_Handle handle, LV2_State_Store_Function store, LV2_State_Handle state,
                      std::uint32_t, const LV2_Feature* const*) noexcept
{
    return guarded(LV2_STATE_ERR_UNKNOWN, [&] { return instanceOf(handle).save(store, state); });
}

LV2_State_Status restore(LV2_Handle handle, LV2_State_Retrieve_Function retrieve,
                         LV2_State_Handle state, std::uint32_t, const LV2_Feature* const*) noexcept
{
    return guarded(LV2_STATE_ERR_UNKNOWN,
                   [&] { return instanceOf(handle).restore(retrieve, state); });
}

LV2_Worker_Status work(LV2_Handle handle, LV2_Worker_Respond_Function, LV2_Worker_Respond_Handle,
                       std::uint32_t, const void*) noexcept
{
    return guarded(LV2_WORKER_ERR_UNKNOWN, [&] { return instanceOf(handle).work(); });
}

LV2_Worker_Status workResponse(LV2_Handle, std::uint32_t, const void*) noexcept
{
    return LV2_WORKER_SUCCESS; // work answers nothing
}

std::uint32_t getOptions(LV2_Handle handle, LV2_Options_Option* options) noexcept
{
    return instanceOf(handle).getOptions(options);
}

std::uint32_t setOptions(LV2_Handle handle, const LV2_Options_Option* options) noexcept
{
    return guarded<std::uint32_t>(LV2_OPTIONS_ERR_UNKNOWN,
                                  [&] { return instanceOf(handle).setOptions(options); });
}

const void* extensionData(const char* uri) noexcept
{
    static constexpr LV2_State_Interface kState{save, restore};
    static constexpr LV2_Worker_Interface kWorker{work, workResponse, nullptr};
    static constexpr LV2_Options_Interface kOptions{getOptions, setOptions};
    const struct {
        const char* uri;
        const void* data;
    } extensions[] = {
        {LV2_STATE__interface, &kState},
        {LV2_WORKER__interface, &kWorker},
        {LV2_OPTIONS__interface, &kOptions},
    };
    for (const auto& extension : extensions) {
        if (uri && std::strcmp(uri, extension.uri) == 0)
            return extension.data;
    }
    return nullptr;
}

constexpr LV2_Descriptor kDescriptor{kPluginUri, instantiate, connectPort, activate,
                                     run,        nullptr,     cleanup,     extensionData};

} // namespace
} // namespace zephra::lv2

LV2_SYMBOL_EXPORT const LV2_Descriptor* lv2_descriptor(std::uint32_t index)
{
    return index == 0 ? &zephra::lv2::kDescriptor : nullptr;
}
