// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

namespace zephra::test {

using Bytes = std::vector<std::uint8_t>;

/// Writes patch chunks as other versions of the instrument have done, byte by byte and without any
/// code of the instrument.
class ChunkBytes {
public:
    explicit ChunkBytes(std::uint32_t revision, std::uint32_t engineWord = 0)
    {
        raw(std::string(512, 'x')); // a text that nobody reads
        word(revision);
        word(0xdeadbeef);
        word(engineWord);
        raw(std::string(36, 'x'));
    }

    ChunkBytes& section(const std::string& tag, std::uint32_t elementSize, std::uint32_t count,
                        const std::string& payload)
    {
        word(1);
        raw(std::string(tag.rbegin(), tag.rend()));
        word(elementSize);
        word(count);
        return raw(payload);
    }

    using List = std::vector<std::pair<int, float>>;

    /// Ids and values, all with sub-index 0.
    ChunkBytes& values(const List& list)
    {
        return section("para", 8, static_cast<std::uint32_t>(list.size()), entries(list));
    }
    ChunkBytes& name(const std::string& text)
    {
        return section("name", 28, 1, text + std::string(28 - text.size(), '\0'));
    }

    static std::string entry(int id, int sub, float value)
    {
        std::uint32_t bits;
        std::memcpy(&bits, &value, 4);
        return little(static_cast<std::uint32_t>(id) | static_cast<std::uint32_t>(sub) << 16) +
               little(bits);
    }
    static std::string entries(const List& list)
    {
        std::string all;
        for (const auto& [id, value] : list)
            all += entry(id, 0, value);
        return all;
    }
    static std::string little(std::uint32_t value)
    {
        std::string bytes;
        for (int i = 0; i < 4; ++i)
            bytes += static_cast<char>(value >> 8 * i & 255);
        return bytes;
    }

    ChunkBytes& raw(const std::string& more)
    {
        for (const char c : more)
            bytes.push_back(static_cast<std::uint8_t>(c));
        return *this;
    }

    /// A program file around the chunk.
    Bytes file(const char* id = "ZPHR") const
    {
        const auto big = [](std::size_t value) {
            const std::string turned = little(static_cast<std::uint32_t>(value));
            return std::string(turned.rbegin(), turned.rend());
        };
        ChunkBytes whole;
        whole.raw("CcnK" + big(bytes.size() + 52) + "FPCh" + big(1) + id + big(1) + big(75));
        whole.raw(std::string("unread") + std::string(22, '\0') + big(bytes.size()));
        whole.bytes.insert(whole.bytes.end(), bytes.begin(), bytes.end());
        return whole.bytes;
    }

    Bytes bytes;

private:
    ChunkBytes() = default;

    ChunkBytes& word(std::uint32_t value) { return raw(little(value)); }
};

} // namespace zephra::test
