// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <charconv>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace zephra::lv2 {

// Texts, names and numbers as Turtle writes them.

/// A literal in its quotes.
inline std::string quoted(std::string_view text)
{
    std::string literal = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\')
            literal += '\\';
        literal += c == '\n' || c == '\r' ? ' ' : c;
    }
    return literal + '"';
}

/// A path as part of a URI, relative or not.
inline std::string uriText(std::string_view path)
{
    constexpr std::string_view kPlain = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                        "0123456789-._~/:";
    constexpr std::string_view kHex = "0123456789ABCDEF";
    std::string uri;
    for (const char c : path) {
        const auto byte = static_cast<unsigned char>(c);
        if (kPlain.find(c) != kPlain.npos)
            uri += c;
        else
            uri.append({'%', kHex[byte >> 4], kHex[byte & 15]});
    }
    return uri;
}

/// The shortest decimal that reads as exactly this float. Always with a point: some hosts take
/// whole numbers or exponents for another type and skip the value.
inline std::string decimal(float value)
{
    char digits[64];
    const auto end = std::to_chars(digits, std::end(digits), value, std::chars_format::fixed).ptr;
    std::string text(digits, end);
    return text.find('.') == text.npos ? text + ".0" : text;
}

/// xsd:base64Binary
inline std::string base64(std::span<const std::uint8_t> bytes)
{
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                         "0123456789+/";
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t left = bytes.size() - at;
        const std::uint32_t group =
            bytes[at] << 16 | (left > 1 ? bytes[at + 1] << 8 : 0) | (left > 2 ? bytes[at + 2] : 0);
        text += kDigits[group >> 18];
        text += kDigits[group >> 12 & 63];
        text += left > 1 ? kDigits[group >> 6 & 63] : '=';
        text += left > 2 ? kDigits[group & 63] : '=';
    }
    return text;
}

} // namespace zephra::lv2
