// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <zlib.h>

#include <cstdint>
#include <string>
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

inline std::string deflated(const std::string& data)
{
    uLongf size = ::compressBound(data.size());
    std::string packed(size, '\0');
    ::compress2(reinterpret_cast<Bytef*>(packed.data()), &size,
                reinterpret_cast<const Bytef*>(data.data()), data.size(), Z_BEST_SPEED);
    return packed.substr(2, size - 2 - 4); // without the frame of another format
}

/// A ZIP archive, built by hand, since no program would write some of these.
inline std::string zipBytes(const std::vector<ZipFile>& files)
{
    const auto two = [](std::size_t value) {
        return std::string{static_cast<char>(value), static_cast<char>(value >> 8)};
    };
    const auto four = [two](std::size_t value) { return two(value) + two(value >> 16); };
    std::string bytes, directory;
    for (const ZipFile& file : files) {
        const std::string packed = file.deflated ? deflated(file.data) : file.data;
        const auto crc =
            ::crc32_z(0, reinterpret_cast<const Bytef*>(file.data.data()), file.data.size());
        const std::string common =
            two(20) + two(file.flags) + two(file.deflated ? 8 : 0) + four(0x00210000) + // 1980
            four(crc ^ file.wrongCrc) + four(packed.size()) +
            four(file.data.size() + file.wrongSize) + two(file.name.size()) + two(0);
        directory += "PK\1\2" + two(20) + common + two(0) + two(0) + two(0) +
                     four(file.attributes) + four(bytes.size()) + file.name;
        bytes += "PK\3\4" + common + file.name + packed;
    }
    return bytes + directory + "PK\5\6" + four(0) + two(files.size()) + two(files.size()) +
           four(directory.size()) + four(bytes.size()) + two(0);
}

} // namespace zephra::test
