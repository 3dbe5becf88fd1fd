// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <span>

namespace zephra {

// Numbers as bytes of files and chunks. `at` plus the size of the number lies within `bytes`.

constexpr std::uint32_t littleEndian16(std::span<const std::uint8_t> bytes, std::size_t at) noexcept
{
    return bytes[at] | static_cast<std::uint32_t>(bytes[at + 1]) << 8;
}

constexpr std::uint32_t littleEndian32(std::span<const std::uint8_t> bytes, std::size_t at) noexcept
{
    return littleEndian16(bytes, at) | littleEndian16(bytes, at + 2) << 16;
}

constexpr std::uint32_t bigEndian32(std::span<const std::uint8_t> bytes, std::size_t at) noexcept
{
    return static_cast<std::uint32_t>(bytes[at]) << 24 |
           static_cast<std::uint32_t>(bytes[at + 1]) << 16 |
           static_cast<std::uint32_t>(bytes[at + 2]) << 8 | bytes[at + 3];
}

constexpr float littleEndianFloat(std::span<const std::uint8_t> bytes, std::size_t at) noexcept
{
    return std::bit_cast<float>(littleEndian32(bytes, at));
}

/// Fills a buffer of known size from its start.
class ByteWriter {
public:
    explicit ByteWriter(std::span<std::uint8_t> buffer) noexcept : rest(buffer) {}

    void littleEndian16(std::uint32_t value) noexcept
    {
        byte(value);
        byte(value >> 8);
    }
    void littleEndian32(std::uint32_t value) noexcept
    {
        littleEndian16(value);
        littleEndian16(value >> 16);
    }
    void littleEndianFloat(float value) noexcept
    {
        littleEndian32(std::bit_cast<std::uint32_t>(value));
    }
    void bigEndian32(std::uint32_t value) noexcept
    {
        for (const int shift : {24, 16, 8, 0})
            byte(value >> shift);
    }
    /// The first `count` bytes of `text` and zeros behind it.
    template <class Text> void padded(const Text& text, std::size_t count) noexcept
    {
        for (std::size_t i = 0; i < count; ++i)
            byte(i < text.size() ? static_cast<unsigned char>(text[i]) : 0u);
    }
    void zeros(std::size_t count) noexcept
    {
        for (; count > 0; --count)
            byte(0);
    }

private:
    void byte(std::uint32_t value) noexcept
    {
        rest[0] = static_cast<std::uint8_t>(value);
        rest = rest.subspan(1);
    }

    std::span<std::uint8_t> rest;
};

} // namespace zephra
