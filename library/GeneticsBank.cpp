// SPDX-License-Identifier: GPL-3.0-or-later
#include "library/GeneticsBank.h"

#include <array>
#include <cstdio>

namespace zephra {

std::string geneticsFileName(const std::tm& localTime, std::uint32_t seed)
{
    constexpr int kYearOfTm = 1900; // tm_year 0
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), "%.2d%.2d%.2d-%.2d%.2d%.2d-%X.fxp",
                  localTime.tm_year + kYearOfTm - 2000, localTime.tm_mon + 1, localTime.tm_mday,
                  localTime.tm_hour, localTime.tm_min, localTime.tm_sec,
                  static_cast<unsigned>(seed));
    return text.data();
}

} // namespace zephra
