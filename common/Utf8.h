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

/// Number of characters; bytes that are no UTF-8 may count as any or none.
constexpr std::size_t codePoints(std::string_view text) noexcept
{
    std::size_t count = 0;
    for (const char c : text)
        count += (static_cast<unsigned char>(c) & 0xc0u) != 0x80u;
    return count;
}

} // namespace zephra
