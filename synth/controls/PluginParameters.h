// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "controls/ControlTable.h"
#include "controls/PatchRecord.h"

#include <functional>
#include <string>
#include <vector>

namespace zephra {

/// Told where a promise inside the program was broken and what it was. It stops nothing.
using AssertionReporter = std::function<void(const char* place, const char* text)>;

/// The values of all stored controls: the truth that host, editor and engine follow. Holds
/// control values just as they were sent: to snap and to limit is the work of who writes and who
/// reads.
///
/// [any] unless marked otherwise; values are single words that order nothing. Only construction
/// and nameOfIndex allocate. An unknown id, page or preset reads 0.0 and writes nothing.
/// Arguments `page` and `preset`: an index, or NoParameter for the current one. There is one page,
/// page 0.
class PluginParameters {
public:
    static constexpr int kMaxPresets = 32767;

    /// [ui] presetCount is limited to 1..kMaxPresets. All presets start at the defaults under the
    /// name "Init Patch", nothing is locked, the snapshot holds the defaults.
    explicit PluginParameters(int presetCount = 1, AssertionReporter reporter = {});

    // --- Host parameters, by host index 0..74 ---
    /// Control id, NoParameter outside the range.
    static int controlOfIndex(int index) noexcept;
    /// Controller number that is bound from the start, kNoController if none or outside the range.
    static int defaultCcOfIndex(int index) noexcept;
    /// Copies the host name; outside the range leaves `text` alone and returns false.
    static bool nameOfIndex(int index, std::string& text);
    /// Host index of a control, NoParameter if hosts do not see it.
    int indexOfControl(int id, int page = NoParameter) const noexcept;

    // --- Values, by control id ---
    float getValue(int id, int page = NoParameter, int preset = NoParameter) const noexcept;
    /// The lock of a locked control follows, unless the value could not be told from no lock
    /// (below -9990, not finite): then the lock keeps what it has.
    void setValue(int id, float value, int page = NoParameter, int preset = NoParameter) noexcept;
    float defaultOf(int id) const noexcept { return defaultValue(id); }

    // --- Locks: controls that the loading of a patch leaves alone ---
    /// [ui] Locks a control at its present value, or unlocks it.
    void setLocked(int id, bool on) noexcept;
    bool isLocked(int id) const noexcept;
    /// [ui] One record a stored control, in storage order, set while locked: for keeping them.
    ControlValues& locks() noexcept { return lockRecords; }
    const ControlValues& locks() const noexcept { return lockRecords; }

    // --- All stored controls at once ---
    /// [ui] There is one snapshot, of whichever preset was saved last.
    void saveSnapshot(int page = NoParameter, int preset = NoParameter) noexcept;
    void restoreSnapshot(int page = NoParameter, int preset = NoParameter) noexcept;
    /// Locked controls too: their locks take the defaults.
    void loadDefaults(int page = NoParameter, int preset = NoParameter) noexcept;
    void loadDefaultsUnlocked(int page = NoParameter, int preset = NoParameter) noexcept;

    // --- Presets ---
    int presetCount() const noexcept { return static_cast<int>(presets.size()); }
    /// The record, which lives as long as this object; an index out of range is reported and gives
    /// nullptr.
    PatchRecord* getPreset(int index);
    const PatchRecord* getPreset(int index) const;

    static constexpr int currentPage = 0;
    Shared<int> currentPreset{0}; ///< index of the preset in use

private:
    /// nullptr if there is no such preset or page.
    const PatchRecord* findPreset(int page, int preset) const noexcept;
    PatchRecord* findPreset(int page, int preset) noexcept;
    void write(PatchRecord& record, std::size_t row, float value) noexcept;

    AssertionReporter report;
    std::vector<PatchRecord> presets;                 ///< never grows
    std::array<float, kNumStoredControls> snapshot{}; ///< in storage order
    ControlValues lockRecords;                        ///< in storage order; unset: no lock
};

} // namespace zephra
