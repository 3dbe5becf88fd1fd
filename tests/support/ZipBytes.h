// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <zlib.h>

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace zephra::test {

/// A file in an archive, and what may be wrong with it.
struct ZipFile {
    std::string name;
    std::string data;
    bool deflated = false;
    std::uint16_t flags = 0;      ///< 1: encrypted, 0x800: the name is UTF-8
    std::uint32_t wrongCrc = 0;   ///< bits of the checksum that are turned over
    std::uint32_t wrongSize = 0;  ///< bytes that the archive adds to the true size
    std::uint32_t attributes = 0; ///< 0x10: a folder
};

/// Any number of bytes, low byte first.
inline std::string littleEndian(std::initializer_list<std::pair<std::uint64_t, int>> fields)
{
    std::string bytes;
    for (auto [value, size] : fields)
        for (; size > 0; --size, value >>= 8)
            bytes += static_cast<char>(value & 0xff);
    return bytes;
}

inline std::string deflated(std::string_view data)
{
    z_stream stream{};
    ::deflateInit2(&stream, Z_BEST_SPEED, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::string packed(::deflateBound(&stream, data.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(data.data()));
    stream.avail_in = static_cast<uInt>(data.size());
    stream.next_out = reinterpret_cast<Bytef*>(packed.data());
    stream.avail_out = static_cast<uInt>(packed.size());
    ::deflate(&stream, Z_FINISH);
    packed.resize(stream.total_out);
    ::deflateEnd(&stream);
    return packed;
}

/// A ZIP archive, built by hand, since no program would write some of these. More than 65,535
/// files are fine.
inline std::string zipBytes(const std::vector<ZipFile>& files)
{
    std::string bytes, directory;
    for (const ZipFile& file : files) {
        const std::string packed = file.deflated ? deflated(file.data) : file.data;
        const auto crc =
            static_cast<std::uint32_t>(::crc32(0, reinterpret_cast<const Bytef*>(file.data.data()),
                                               static_cast<uInt>(file.data.size())));
        const std::string common = littleEndian({{20, 2},
                                                 {file.flags, 2},
                                                 {file.deflated ? 8 : 0, 2},
                                                 {0x00210000, 4}, // 1 January 1980
                                                 {crc ^ file.wrongCrc, 4},
                                                 {packed.size(), 4},
                                                 {file.data.size() + file.wrongSize, 4},
                                                 {file.name.size(), 2},
                                                 {0, 2}});
        directory += "PK\1\2" + littleEndian({{20, 2}}) + common +
                     littleEndian({{0, 2 + 2 + 2}, {file.attributes, 4}, {bytes.size(), 4}}) +
                     file.name;
        bytes += "PK\3\4" + common + file.name + packed;
    }
    const std::uint64_t start = bytes.size(), end = start + directory.size();
    bytes += directory;
    const bool isLarge = files.size() > 0xffff;
    if (isLarge) // for counts that the old end of an archive cannot tell
        bytes += "PK\6\6" +
                 littleEndian({{44, 8},
                               {45, 2},
                               {45, 2},
                               {0, 8},
                               {files.size(), 8},
                               {files.size(), 8},
                               {directory.size(), 8},
                               {start, 8}}) +
                 "PK\6\7" + littleEndian({{0, 4}, {end, 8}, {1, 4}});
    const std::uint64_t count = isLarge ? 0xffff : files.size();
    return bytes + "PK\5\6" +
           littleEndian({{0, 4},
                         {count, 2},
                         {count, 2},
                         {directory.size(), 4},
                         {isLarge ? 0xffffffff : start, 4},
                         {0, 2}});
}

} // namespace zephra::test
