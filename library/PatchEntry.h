// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/PathText.h"

#include <cstdint>
#include <string_view>

namespace zephra {

/// The last element of a path.
constexpr std::string_view lastElement(std::string_view path) noexcept
{
    return path.substr(path.rfind('\\') + 1); // npos + 1 is 0
}

/// A path or file name without its extension, and the extension behind the dot. A dot at the start
/// of a file name begins no extension.
constexpr std::string_view withoutExtension(std::string_view path) noexcept
{
    const std::size_t nameLength = lastElement(path).size();
    const std::size_t dot = path.rfind('.');
    const bool found = dot != path.npos && dot > path.size() - nameLength;
    return found ? path.substr(0, dot) : path;
}

constexpr std::string_view extensionOf(std::string_view path) noexcept
{
    const std::string_view stem = withoutExtension(path);
    return stem.size() < path.size() ? path.substr(stem.size() + 1) : std::string_view();
}

/// One patch file of the library. Ids hold until the next rescan, paths beyond it.
struct PatchEntry {
    std::uint32_t id = 0;       ///< position in the list that holds it
    std::uint32_t folderId = 0; ///< of the folder that holds the file, 0: the root or unknown
    PathText path;              ///< full path

    std::string_view fileName() const noexcept { return lastElement(path); } ///< with extension
    std::string_view name() const noexcept { return withoutExtension(fileName()); } ///< shown
};

} // namespace zephra
