// SPDX-License-Identifier: GPL-3.0-or-later
#include "voice/CutoffTables.h"

#include "common/Maths.h"
#include "voice/VoiceRates.h"

namespace zephra {

void CutoffTables::setSampleRate(double fs)
{
    const double fs8 = fs * kOversampling;
    constexpr double kLowestHz = 26.0;
    constexpr double kEntriesPerOctave = 3072.0;
    constexpr double kEarlyFactor = 1.06;
    lateTable.resize(kEntries);
    earlyTable.resize(kEntries);
    for (int i = 0; i < kEntries; ++i) {
        const double hz = kLowestHz * std::pow(2.0, i / kEntriesPerOctave);
        const auto at = static_cast<std::size_t>(i);
        lateTable[at] = static_cast<float>(tanCoeff(hz, fs8));
        earlyTable[at] = static_cast<float>(tanCoeff(kEarlyFactor * hz, fs8));
    }
}

} // namespace zephra
