// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace zephra {

/// What a bank tells in its "config.ini", with keys ahead of any section:
///
///   AuthorCode=AB
///   AuthorName=Ada Bell
///   AuthorCode2=..., AuthorName2=..., AuthorCode3=..., AuthorName3=...
///   AddCategories=Drums, Drones
struct BankConfig {
    static constexpr std::string_view kFileName = "config.ini";
    static constexpr std::size_t kMostBytes = 64u << 10; ///< of a file; the rest is not looked at

    std::vector<std::pair<std::string, std::string>> authors; ///< code and name, neither empty
    std::vector<std::string> categories;
};

/// A text that is no such file gives nothing.
BankConfig readBankConfig(std::string_view text);

} // namespace zephra
