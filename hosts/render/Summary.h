// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

namespace zephra::render {

/// Peak and RMS over both channels of what was written.
class LevelMeter {
public:
    void add(const float* left, const float* right, int count) noexcept;

    double peakDb() const noexcept; ///< dBFS, minus infinity for silence
    double rmsDb() const noexcept; ///< dBFS of a full-scale square wave, minus infinity for silence

private:
    double peak = 0.0;
    double squares = 0.0;
    std::int64_t samples = 0; ///< of both channels
};

/// What there is to tell about a finished render.
struct Summary {
    std::int64_t samples = 0; ///< per channel
    int rate = 48000;         ///< Hz
    LevelMeter levels;
    std::int64_t notes = 0;      ///< note-ons played
    double elapsedSeconds = 0.0; ///< of the clock on the wall

    double seconds() const noexcept { return static_cast<double>(samples) / rate; }
    /// Render speed as a multiple of real time.
    double speed() const noexcept;

    /// One line: length, peak and RMS level, notes, render speed.
    std::string text() const;
    /// The same as a JSON object; levels of silence are null.
    std::string json() const;
};

} // namespace zephra::render
