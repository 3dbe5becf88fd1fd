// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>

namespace zephra {

// Texts compared without regard to the case of A to Z, whatever the locale. All other bytes count
// as they are.

constexpr char lowerAscii(char c) noexcept
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char upperAscii(char c) noexcept
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

inline std::string lowerAscii(std::string_view text)
{
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(), [](char c) { return lowerAscii(c); });
    return lower;
}

/// Below 0, 0 or above 0; bytes above 127 come last.
constexpr int compareNoCase(std::string_view a, std::string_view b) noexcept
{
    const std::size_t common = std::min(a.size(), b.size());
    for (std::size_t i = 0; i < common; ++i) {
        const auto left = static_cast<unsigned char>(lowerAscii(a[i]));
        const auto right = static_cast<unsigned char>(lowerAscii(b[i]));
        if (left != right)
            return left < right ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

constexpr bool equalNoCase(std::string_view a, std::string_view b) noexcept
{
    return a.size() == b.size() && compareNoCase(a, b) == 0;
}

/// `lowerPart` is in lower case.
constexpr bool containsNoCase(std::string_view text, std::string_view lowerPart) noexcept
{
    const auto same = [](char c, char lower) { return lowerAscii(c) == lower; };
    return lowerPart.empty() || std::search(text.begin(), text.end(), lowerPart.begin(),
                                            lowerPart.end(), same) != text.end();
}

/// For containers of texts without regard to case: ordered ones, since names that come from outside
/// may be made to collide in any table of hashes.
struct NoCaseLess {
    using is_transparent = void;

    bool operator()(std::string_view a, std::string_view b) const noexcept
    {
        return compareNoCase(a, b) < 0;
    }
};

} // namespace zephra
