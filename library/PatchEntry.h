// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

namespace zephra {

/// One patch file of the library.
struct PatchEntry {
    std::uint32_t id = 0;       ///< position in the list that holds it
    std::uint32_t folderId = 0; ///< of the folder that holds the file, 0: the root or unknown
    std::string fileName;       ///< with extension
    std::string name;           ///< without extension: what the list shows
    std::string path;           ///< full path
};

} // namespace zephra
