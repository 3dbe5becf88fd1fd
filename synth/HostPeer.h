// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

namespace zephra {

/// What a host tells about its transport.
struct HostTime {
    static constexpr std::uint32_t kTempoValid = 1u << 10;

    double tempo = 120.0; ///< beats per minute, if the flag is set
    std::uint32_t flags = 0;
};

/// The host as the plug-in sees it: one face for every plug-in format. A binding overrides what
/// its host can do. It outlives the plug-in.
class HostPeer {
public:
    virtual ~HostPeer() = default;

    /// [audio] At the start of a block; `wanted` names the flags that the caller will look at.
    virtual HostTime time(std::uint32_t /*wanted*/) noexcept { return {}; }
    /// [ui] Who made the host; asked once, while the plug-in is built.
    virtual std::string vendor() { return {}; }

    // [ui] `index` is a host parameter 0..74, values are normalised.
    virtual void automate(int /*index*/, float /*value*/) {}
    virtual void beginEdit(int /*index*/) {}
    virtual void endEdit(int /*index*/) {}

    /// [ui] Names, texts or the program have changed.
    virtual void updateDisplay() {}
    /// [ui] All parameter values have changed at once; a binding that keeps them reads them anew.
    virtual void refreshParameters() {}
    /// [ui] The editor wants another size; pixels. False if the host will not.
    virtual bool sizeWindow(int /*width*/, int /*height*/) { return false; }
};

} // namespace zephra
