// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

namespace zephra {

/// What a file selector shows.
struct FileRequest {
    bool save = false; ///< a file to write, which may be missing; else one to read
    std::string title;
    std::string typeName;  ///< of the one type on offer
    std::string extension; ///< of that type, without the dot
    std::string folder;    ///< where it opens; empty: the soundbank root
    std::string name;      ///< proposed file name, without an extension
};

/// A window of the system in which the user chooses a file. It outlives the plug-in.
class FileSelector {
public:
    virtual ~FileSelector() = default;

    /// [ui] Returns when the user has chosen; nothing if the user has given up.
    virtual std::optional<std::string> choose(const FileRequest& request) = 0;
};

} // namespace zephra
