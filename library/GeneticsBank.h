// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace zephra {

/// File name of a child, after the time of its storing and the seed of its breed, so that names
/// sort by age: "261121-134502-1F3A.fxp".
std::string geneticsFileName(const std::tm& localTime, std::uint32_t seed);

} // namespace zephra
