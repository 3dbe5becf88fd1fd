// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <fst/fst.h>

namespace zephra::vst2 {

// Calls of the interface that hosts make and take, and that the header has no numbers for.

enum EffectCall : int {
    kEffGetTailSize = 52, ///< samples; 0: not known
    kEffIdle = 53,        ///< on the user interface's thread, once asked for; 1: go on
};

enum HostCall : int {
    kHostNeedIdle = 14,      ///< asks for kEffIdle
    kHostUpdateDisplay = 42, ///< names, texts or values have changed
};

inline constexpr int kCallsUnderstood = 2400; ///< version 2.4

} // namespace zephra::vst2
