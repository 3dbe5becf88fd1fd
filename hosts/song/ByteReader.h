// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>

namespace zephra {

/// Walks over the bytes of a file or of one chunk of it and never past their end: a read that
/// would do so throws std::runtime_error with the place in the file.
class ByteReader {
public:
    /// `place` is where `bytes` lie in the file, for messages.
    explicit ByteReader(std::span<const std::uint8_t> bytes, std::size_t place = 0)
        : data(bytes), origin(place)
    {
    }

    bool atEnd() const noexcept { return position == data.size(); }
    std::size_t left() const noexcept { return data.size() - position; }

    std::span<const std::uint8_t> take(std::size_t count)
    {
        if (count > left())
            fail("the file ends too early or a length is wrong");
        const auto taken = data.subspan(position, count);
        position += count;
        return taken;
    }

    /// The next `count` bytes as a reader of their own.
    ByteReader takePart(std::size_t count)
    {
        const std::size_t place = origin + position;
        return ByteReader(take(count), place);
    }

    /// Big-endian number of `count` bytes, 1..4.
    std::uint32_t number(std::size_t count)
    {
        std::uint32_t value = 0;
        for (const std::uint8_t byte : take(count))
            value = value << 8 | byte;
        return value;
    }

    std::uint8_t byte() { return take(1)[0]; }
    /// Reads the byte before once more.
    void stepBack() noexcept { --position; }

    /// Number in groups of seven bits, the last one without bit 7; at most four bytes.
    std::uint32_t variableLength()
    {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) {
            const std::uint8_t next = byte();
            value = value << 7 | (next & 0x7fu);
            if (next < 0x80)
                return value;
        }
        fail("a variable-length number has more than 4 bytes");
    }

    [[noreturn]] void fail(const std::string& what) const
    {
        throw std::runtime_error(what + " (byte " + std::to_string(origin + position) + ")");
    }

private:
    std::span<const std::uint8_t> data;
    std::size_t origin = 0;
    std::size_t position = 0;
};

} // namespace zephra
