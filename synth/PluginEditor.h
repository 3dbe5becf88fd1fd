// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

namespace zephra {

class VstXSynth;

/// Tags of the editor that are no controls of the sound; postValue takes them besides control ids.
inline constexpr int kDriveDisplayTag = 203;

/// What the plug-in tells its editor. Whatever comes from outside the user-interface thread is
/// only posted; the editor acts on it in its next idle pass.
class PluginEditor {
public:
    virtual ~PluginEditor() = default;

    /// [any]
    virtual bool isOpen() const noexcept = 0;
    /// [any] Shows a normalised value at the widget of this tag. Tag panel_view turns to the front
    /// panel (1) or the back panel (0).
    virtual void postValue(int tag, float normalised) noexcept = 0;
    /// [any] Everything may have changed: all values are read anew.
    virtual void requestRefresh() noexcept = 0;
    /// [ui] The host passes on its mouse wheel; positive is away from the user. True if used.
    virtual bool onWheel(float distance) = 0;
};

/// Makes the editor of a plug-in, which owns it; controls are 0..numControls-1.
using EditorFactory = std::function<std::unique_ptr<PluginEditor>(VstXSynth&, int numControls)>;

} // namespace zephra
