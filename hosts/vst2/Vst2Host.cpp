// SPDX-License-Identifier: GPL-3.0-or-later
#include "vst2/Vst2Host.h"

#include <array>

namespace zephra::vst2 {

static_assert(HostTime::kTempoValid == kVstTempoValid);

t_fstPtrInt Vst2Host::call(int what, int index, t_fstPtrInt value, void* data,
                           float amount) noexcept
{
    return callback ? callback(&effect, what, index, value, data, amount) : 0;
}

HostTime Vst2Host::time(std::uint32_t wanted) noexcept
{
    const t_fstPtrInt answer = call(audioMasterGetTime, 0, static_cast<t_fstPtrInt>(wanted));
    const auto* info = reinterpret_cast<const t_fstTimeInfo*>(answer);
    return info ? HostTime{info->tempo, static_cast<std::uint32_t>(info->flags)} : HostTime{};
}

std::string Vst2Host::vendor()
{
    std::array<char, 512> text{}; // hosts have been seen to write more than the 64 they may
    call(audioMasterGetVendorString, 0, 0, text.data());
    text.back() = '\0';
    return text.data();
}

void Vst2Host::automate(int index, float value)
{
    call(audioMasterAutomate, index, 0, nullptr, value);
}

void Vst2Host::beginEdit(int index) { call(audioMasterBeginEdit, index); }

void Vst2Host::endEdit(int index) { call(audioMasterEndEdit, index); }

bool Vst2Host::sizeWindow(int width, int height)
{
    return call(audioMasterSizeWindow, width, height) == 1;
}

void Vst2Host::needIdle() { call(kHostNeedIdle); }

void Vst2Host::tellChanges()
{
    if (changed.exchange(false))
        call(kHostUpdateDisplay);
}

} // namespace zephra::vst2
