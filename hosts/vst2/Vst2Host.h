// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "synth/HostPeer.h"
#include "vst2/Vst2Abi.h"

#include <atomic>

namespace zephra::vst2 {

/// A VST2 host behind its one callback.
///
/// What has changed on a display is not told at once but by tellChanges(): patches also change on
/// a thread of the plug-in, and hosts redraw on whichever thread calls them.
class Vst2Host : public HostPeer {
public:
    /// `effect` outlives this object; without a callback nobody is told of anything.
    Vst2Host(audioMasterCallback hostCallback, t_fstEffect& ownEffect) noexcept
        : callback(hostCallback), effect(ownEffect)
    {
    }

    HostTime time(std::uint32_t wanted) noexcept override;
    std::string vendor() override;
    void automate(int index, float value) override;
    void beginEdit(int index) override;
    void endEdit(int index) override;
    void updateDisplay() override { changed = true; }
    void refreshParameters() override { changed = true; }
    bool sizeWindow(int width, int height) override;

    void needIdle();    ///< [ui] asks to be called when there is time
    void tellChanges(); ///< [ui] has the host read all names, texts and values anew, if need be

private:
    t_fstPtrInt call(int what, int index = 0, t_fstPtrInt value = 0, void* data = nullptr,
                     float amount = 0.0f) noexcept;

    const audioMasterCallback callback;
    t_fstEffect& effect;
    std::atomic<bool> changed{false};
};

} // namespace zephra::vst2
