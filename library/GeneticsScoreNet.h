// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PluginParameters.h"

#include <array>

namespace zephra {

/// Judges a patch: a fixed feed-forward network of two hidden layers, whose units never fall below
/// 0, and one output. Its weights are placeholders until somebody trains them.
class GeneticsScoreNet {
public:
    static constexpr std::size_t kInputs = kNumHostParameters;
    static constexpr std::size_t kUnits = 10; ///< of each hidden layer

    using Inputs = std::array<double, kInputs>;

    /// The control values of the current patch in the order of the host parameters, 0 where the net
    /// is blind: the ranges of the modulation mix, the modulation matrix and what was added later.
    static Inputs inputsOf(const PluginParameters& patch) noexcept;

    static double score(const Inputs& inputs) noexcept;
};

} // namespace zephra
