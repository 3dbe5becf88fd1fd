// SPDX-License-Identifier: GPL-3.0-or-later
#include "terminal/ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace zephra::terminal {
namespace {

constexpr int kWidth = 50; ///< characters

} // namespace

ProgressBar::ProgressBar(std::int64_t wholeWork, bool quiet)
    : whole(std::max<std::int64_t>(wholeWork, 1)), visible(!quiet && ::isatty(STDERR_FILENO) == 1)
{
}

ProgressBar::~ProgressBar()
{
    if (visible)
        std::fprintf(stderr, "\r%*s\r", kWidth + 8, "");
}

void ProgressBar::show(std::int64_t position)
{
    const auto percent = static_cast<int>(std::min(position, whole) * 100 / whole);
    if (!visible || percent == shownPercent)
        return;
    shownPercent = percent;
    const auto filled = static_cast<std::size_t>(percent * kWidth / 100);
    const std::string bar = std::string(filled, '#') + std::string(kWidth - filled, '.');
    std::fprintf(stderr, "\r[%s] %3d %%", bar.c_str(), percent);
}

} // namespace zephra::terminal
