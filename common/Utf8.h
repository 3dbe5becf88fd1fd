// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <string_view>

namespace zephra {

/// The start of `text` in at most `mostBytes` bytes, without the beginning of a UTF-8 sequence
/// whose rest is cut off. Bytes that are no UTF-8 are cut where they stand.
constexpr std::string_view utf8Prefix(std::string_view text, std::size_t mostBytes) noexcept
{
    if (text.size() <= mostBytes)
        return text;
    constexpr int kMostContinuationBytes = 3;
    const auto topBits = [&](std::size_t at) {
        return static_cast<unsigned char>(text[at]) & 0xc0u;
    };
    std::size_t start = mostBytes; // of the sequence that the cut would fall into
    for (int i = 0; i < kMostContinuationBytes && start > 0 && topBits(start) == 0x80u; ++i)
        --start;
    return text.substr(0, topBits(start) == 0xc0u ? start : mostBytes);
}

/// Number of characters; bytes that are no UTF-8 count as one each, or less at the end of another.
constexpr std::size_t codePoints(std::string_view text) noexcept
{
    std::size_t count = 0;
    int pending = 0; // bytes of the present character
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if ((byte & 0xc0u) == 0x80u && pending > 0) {
            --pending;
        } else {
            ++count;
            pending = byte >= 0xf0u ? 3 : byte >= 0xe0u ? 2 : byte >= 0xc0u ? 1 : 0;
        }
    }
    return count;
}

} // namespace zephra
