// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/PluginParameters.h"
#include "library/GeneticsRng.h"
#include "library/GeneticsState.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace zephra {

/// Breeds a patch from two or three others: it takes every control whole from one of them. The
/// same seed, mix and parents give the same patch on every machine. [ui]
class GeneticsEngine {
public:
    /// Brings a control value to the child by the way of the plug-in.
    using SetControl = std::function<void(int id, float value)>;

    /// The patches of state.parents in this order, one preset each. A parent that cannot be read
    /// is the "Init Patch". Reads files.
    static std::unique_ptr<PluginParameters> loadParents(const GeneticsState& state);

    /// Turns the current preset of `child` into a child of the presets of `parents`, which are as
    /// many as state.parentCount, and names it. Genes and seed in `state` become those of the last
    /// of three passes, whose seeds count up from `seed`. Nothing happens unless state.canBreed().
    void breed(PluginParameters& child, const SetControl& setControl,
               const PluginParameters& parents, GeneticsState& state, std::uint32_t seed);

private:
    void runPass(PluginParameters& child, const SetControl& setControl,
                 const PluginParameters& parents, GeneticsState& state);
    int pickParent(int parentCount) noexcept;

    GeneticsRng rng;
};

} // namespace zephra
