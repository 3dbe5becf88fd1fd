// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "controls/ControlIds.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace zephra {

class SettingsStore;

/// Which MIDI controller drives which control. The editor starts and forgets bindings, the audio
/// thread completes them: all words are shared. If a binding is completed while another is
/// forgotten, the last store wins.
class MidiMap {
public:
    static constexpr int kControllers = 128;
    static constexpr int kNoControl = 32767; ///< as stored in files
    static constexpr int kNoCc = 255;

    /// [ui] The map from the start: only the modulation wheel has a controller, 1.
    MidiMap() noexcept;

    /// [any] Control id that a controller (masked to 0..127) drives, or kNoControl. A damaged file
    /// can name controls that do not exist.
    int controlOfCc(int cc) const noexcept { return controls[index(cc)]; }
    /// [any] Controller of a control, kNoCc if none. Kept: it is overlaid, never cleared, so after
    /// a forget it may name a controller that drives it no longer; of two controllers the higher
    /// number shows.
    int ccOfControl(int id) const noexcept;

    /// [ui] The next controller but 0 is bound to this control; -1 ends the waiting. Other ids
    /// outside 0..153 do nothing.
    void startMidiLearn(int id) noexcept;
    /// [ui] No controller drives this control any more. A learn that waits goes on waiting.
    void forgetMidi(int id) noexcept;
    /// [audio] A controller has moved: binds it if a control waits for one.
    void learn(int cc) noexcept;

    /// [ui] Takes over the stored map, a value of exactly 256 bytes: the control ids of the 128
    /// controllers as little-endian 16-bit words. Anything else changes nothing.
    void load(SettingsStore& settings);
    /// [ui] Writes the map if learning or forgetting has touched it. A failure is ignored.
    void saveIfChanged(SettingsStore& settings);

private:
    static constexpr std::size_t index(int cc) noexcept
    {
        return static_cast<std::size_t>(cc & 127);
    }
    void overlayCcOfControl() noexcept;

    std::array<Shared<std::uint16_t>, kControllers> controls; ///< control ids by controller
    std::array<Shared<std::uint16_t>, kNumControls> ccs;      ///< controllers by control id
    Shared<int> midiLearnControl{-1};
    Shared<bool> midiMapDirty{false};
};

} // namespace zephra
