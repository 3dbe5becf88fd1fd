// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <vector>

namespace zephra {

/// Filter constant g by cutoff entry, 256 entries a semitone from 26 Hz up to 41.9 kHz: entry i
/// is tan(pi * F / fs8) with F = 26 * 2^(i / 3072). The Early table lies 1.06 times higher.
class CutoffTables {
public:
    static constexpr int kEntries = 32728;
    static constexpr float kTopEntry = 32726.0f; ///< of cutoff 1

    /// [!processing] Rebuilds both for a host rate; allocates the first time.
    void setSampleRate(double fs);

    const float* late() const noexcept { return lateTable.data(); }
    const float* early() const noexcept { return earlyTable.data(); }

private:
    std::vector<float> lateTable, earlyTable;
};

} // namespace zephra
