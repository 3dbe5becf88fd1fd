// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <fst/fst.h>

#include <cstdint>

namespace zephra::vst2 {

// Calls of the interface that hosts make and take, and that the header has no numbers for.

enum EffectCall : int {
    kEffGetTailSize = 52, ///< samples; 0: not known
    kEffIdle = 53,        ///< on the user interface's thread, once asked for; 1: go on
    kEffGetParameterProperties = 56,
};

enum HostCall : int {
    kHostNeedIdle = 14,      ///< asks for kEffIdle
    kHostUpdateDisplay = 42, ///< names, texts or values have changed
};

/// The part of what kEffGetParameterProperties fills that the plug-in has to say something about.
struct ParameterProperties {
    static constexpr std::int32_t kIsSwitch = 1 << 0;
    static constexpr std::int32_t kUsesFloatStep = 1 << 2;

    float step, smallStep, largeStep; ///< of the normalised value
    char name[64];
    std::int32_t flags;
};
static_assert(sizeof(ParameterProperties) == 80);

inline constexpr int kCallsUnderstood = 2400; ///< version 2.4

} // namespace zephra::vst2
