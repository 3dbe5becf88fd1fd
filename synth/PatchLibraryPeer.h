// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace zephra {

/// Who selects patches by number, for MIDI and hosts. It outlives the plug-in.
class PatchLibraryPeer {
public:
    virtual ~PatchLibraryPeer() = default;

    /// [any] Asks for a patch of the current bank; it is loaded later, on the user-interface
    /// thread, and the host is notified. A number without a patch does nothing.
    virtual void selectProgram(int program) noexcept = 0;
    /// [any] Asks for another bank, which later program numbers mean.
    virtual void selectBank(int bank) noexcept = 0;
    /// [ui]
    virtual int currentProgram() const noexcept = 0;
};

} // namespace zephra
