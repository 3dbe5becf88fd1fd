// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "synth/AudioEffect.h"
#include "synth/MidiEvents.h"

#include <array>
#include <cstdint>

namespace zephra {

/// What a host may know about an output.
struct PinProperties {
    static constexpr std::int32_t kIsActive = 1 << 0;
    static constexpr std::int32_t kIsStereo = 1 << 1;

    std::array<char, 64> label{};
    std::int32_t flags = 0;
};

/// The second half of the VST2 interface: events, automation, names, abilities.
class AudioEffectX : public AudioEffect {
public:
    using AudioEffect::AudioEffect;

    /// [audio] The events of the coming block. 1: taken in.
    virtual int processEvents(const HostEvents* events) noexcept = 0;
    /// [any] As setParameter, for a host that needs no answer.
    virtual void setParameterAutomated(int index, float value) = 0;

    // --- What the plug-in is. [any] ---
    virtual bool getOutputProperties(int index, PinProperties& properties) const = 0;
    virtual bool getEffectName(char* text) const = 0;
    virtual bool getVendorString(char* text) const = 0;
    virtual bool getProductString(char* text) const = 0;
    /// 1: yes, -1: no.
    virtual int canDo(const char* ability) const = 0;
    /// [ui] A message beyond the common interface, marked by its first two words. 0: not used.
    virtual std::intptr_t vendorSpecific(std::int32_t first, std::intptr_t second, void* data,
                                         float value) = 0;
};

} // namespace zephra
