// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Shared.h"
#include "lv2/Ports.h"
#include "lv2/Urids.h"
#include "song/BlockMessages.h"
#include "synth/FileSettingsStore.h"
#include "synth/HostPeer.h"
#include "synth/VstXSynth.h"

#include <lv2/atom/atom.h>
#include <lv2/core/lv2.h>
#include <lv2/log/logger.h>
#include <lv2/options/options.h>
#include <lv2/state/state.h>
#include <lv2/worker/worker.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <span>

namespace zephra::lv2 {

/// What the plug-in can use of a host. Only the map is a must; the rest may be nullptr.
struct HostFeatures {
    explicit HostFeatures(const LV2_Feature* const* list) noexcept;

    LV2_URID_Map* map = nullptr;
    LV2_Worker_Schedule* worker = nullptr;
    const LV2_Options_Option* options = nullptr; ///< ends with a zeroed one
    LV2_Log_Log* log = nullptr;
};

/// One instrument in an LV2 host: ports to controls and events, the state property to chunks, the
/// worker to patches that MIDI asks for.
///
/// A control port acts when it moves, not by standing somewhere: a patch may have set the control
/// to something else meanwhile, and the port must not undo that. For the same reason the state
/// also holds the ports as they stood. A host without a worker gets no
/// program changes: there is no thread that could read the files.
///
/// Restore, save and work may come while run does, all else with nothing beside it.
class PluginInstance : private HostPeer {
public:
    /// Hz; `features.map` is there.
    PluginInstance(double sampleRate, const HostFeatures& features);

    void connectPort(std::uint32_t port, void* data) noexcept; ///< [audio or !processing]
    void activate();                                           ///< [!processing]
    void run(std::uint32_t frames) noexcept;                   ///< [audio]
    void close() { synth.close(); }                            ///< [!processing] the last call

    LV2_State_Status save(LV2_State_Store_Function store, LV2_State_Handle handle); ///< [!audio]
    /// [!audio] A property of another type or name leaves the running patch alone.
    LV2_State_Status restore(LV2_State_Retrieve_Function retrieve, LV2_State_Handle handle);
    /// [!audio, or inside run] Loads what MIDI has asked for.
    LV2_Worker_Status work();
    /// [!processing] Arrays end with key 0; a set of LV2_Options_Status comes back.
    std::uint32_t getOptions(LV2_Options_Option* wanted) const noexcept;
    std::uint32_t setOptions(const LV2_Options_Option* given);

private:
    // HostPeer
    HostTime time(std::uint32_t) noexcept override { return {tempo, HostTime::kTempoValid}; }
    void updateDisplay() override { stateChanged = true; }

    VstXSynthOptions surroundings();
    const void* findOption(LV2_URID key, LV2_URID& type) const noexcept;
    void adoptBlockSize();

    float* audioOut(Port port, std::uint32_t from) noexcept;
    void takeControls() noexcept;
    void takeEvents(std::uint32_t from, std::uint32_t to, std::uint32_t last) noexcept;
    void takeMidi(const LV2_Atom& event, int offset) noexcept;
    double tempoIn(const LV2_Atom& event) const noexcept;
    void giveNotice() noexcept;
    void expectPorts(std::span<const std::uint8_t> bytes) noexcept;
    void scheduleWork() noexcept;

    const Urids urids;
    LV2_Worker_Schedule* const worker;
    LV2_Log_Logger logger{};
    FileSettingsStore settings;
    /// As the host has told them; 0: not yet.
    struct {
        std::int32_t maxBlock = 0;     ///< frames
        std::int32_t nominalBlock = 0; ///< frames
        float rate = 0.0f;             ///< Hz
    } options;

    std::array<void*, NumPorts> ports{};
    // Of the control ports, by host index.
    std::array<Shared<float>, kNumHostParameters> seen;     ///< last values
    std::array<Shared<float>, kNumHostParameters> restored; ///< that may come next without a move
    double tempo = 120.0;     ///< [audio] beats per minute of this slice
    double nextTempo = 120.0; ///< [audio] from the next slice on

    Shared<bool> hasRun{false};            ///< some block has looked at the ports
    std::atomic_flag portsInUse;           ///< by a block or by a state; a block never waits for it
    std::atomic<bool> stateChanged{false}; ///< the host is to be told
    std::atomic<bool> workScheduled{false};
    std::mutex patchUse; ///< [!audio] one of save, restore and work

    VstXSynth synth;        ///< goes before all that it leans on
    BlockMessages messages; ///< [audio] MIDI of a slice
};

} // namespace zephra::lv2
