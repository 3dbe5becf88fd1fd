// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/PathText.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace zephra {

/// A soundbank, which lies directly in the root, or a category, which lies in a bank.
struct PatchFolder {
    std::uint32_t id = 0;         ///< 1 + position in the folder list
    std::uint32_t parent = 0;     ///< id of the bank that holds it, 0 for a bank
    std::uint32_t patchCount = 0; ///< patches directly in it
    PathText relPath;             ///< below the root
    std::string name;
    std::string displayName;
    PathText path; ///< full path with a backslash at the end
};

/// As category names are shown: in small letters behind a capital, but "SFX".
std::string displayFormOf(std::string_view name);

} // namespace zephra
