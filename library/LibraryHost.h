// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

namespace zephra {

/// What the library asks of the plug-in, which outlives it. [ui]
class LibraryHost {
public:
    virtual ~LibraryHost() = default;
    virtual void showMessage(std::string_view title, std::string_view text) = 0;
    /// A command on many files gets on.
    virtual void showProgress(std::size_t done, std::size_t whole)
    {
        static_cast<void>(done);
        static_cast<void>(whole);
    }
};

} // namespace zephra
