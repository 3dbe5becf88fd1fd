// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "library/LibraryFiles.h"
#include "library/LibraryScan.h"

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zephra {

/// Names with a line feed, say, would break the lists that tell them.
inline bool holdsControlBytes(std::string_view text)
{
    return std::ranges::any_of(text, [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte < 0x20 || byte == 0x7f;
    });
}

/// False for names that files and folders cannot be imported under.
inline bool isFitName(std::string_view name)
{
    return isListedName(name) && !holdsControlBytes(name) && name.find('\\') == name.npos;
}

/// A file that may be imported. Of its path, slashes between the elements, only the last two
/// count: the folder, which becomes a category, and the name.
struct ImportItem {
    std::string path;
    std::size_t index = 0; ///< by which its source knows it

    std::string_view name() const noexcept
    {
        return std::string_view(path).substr(path.rfind('/') + 1); // npos + 1 is 0
    }
    /// Empty if the path is a name only.
    std::string_view folder() const noexcept
    {
        std::string_view rest = path;
        rest.remove_suffix(name().size());
        if (rest.empty())
            return rest;
        rest.remove_suffix(1);
        return rest.substr(rest.rfind('/') + 1);
    }
};

/// Where a new bank comes from. [!audio]
class ImportSource {
public:
    virtual ~ImportSource() = default;

    /// In the order in which they are imported. All files, and the folders that hold them, have fit
    /// names.
    virtual const std::vector<ImportItem>& items() const noexcept = 0;
    /// Copies one of them into a tree, in place of what was there, unflushed. False if it could not
    /// be read or written.
    virtual bool copy(const ImportItem& item, const LibraryFiles& files, const PathText& to) = 0;
};

} // namespace zephra
