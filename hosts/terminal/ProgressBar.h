// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>

namespace zephra::terminal {

/// A bar on standard error when that is a terminal, else nothing. It leaves no trace behind.
class ProgressBar {
public:
    /// `whole` is what counts as 100 %, in any unit.
    ProgressBar(std::int64_t whole, bool quiet);
    ~ProgressBar();
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    void show(std::int64_t position);

private:
    std::int64_t whole;
    bool visible;
    int shownPercent = -1;
};

} // namespace zephra::terminal
