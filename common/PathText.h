// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "common/Utf8.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace zephra {

/// A path of the library, backslashes between its elements: at most 511 bytes. A path that came
/// out shorter than was meant names another file, so it remembers that: nobody may touch a file
/// by it.
class PathText {
public:
    static constexpr std::size_t kMostBytes = 511;

    PathText() = default;
    /// A longer text is cut, between two characters.
    explicit PathText(std::string_view whole)
        : text(utf8Prefix(whole, kMostBytes)), shortened(whole.size() > kMostBytes)
    {
    }
    PathText& operator=(std::string_view whole) { return *this = PathText(whole); }

    /// Does nothing if the path would become too long.
    PathText& operator+=(std::string_view more)
    {
        if (text.size() + more.size() > kMostBytes)
            shortened = true;
        else
            text += more;
        return *this;
    }
    friend PathText operator+(PathText path, std::string_view more) { return path += more; }

    /// It is not the path that was meant.
    bool isCut() const noexcept { return shortened; }
    bool empty() const noexcept { return text.empty(); }
    std::string_view view() const noexcept { return text; }
    operator std::string_view() const noexcept { return text; }

    friend bool operator==(const PathText& a, std::string_view b) noexcept { return a.text == b; }
    friend bool operator==(const PathText&, const PathText&) = default;

private:
    std::string text;
    bool shortened = false;
};

} // namespace zephra
