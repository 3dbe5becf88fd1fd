// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace zephra {

/// Reads what is stored or deflated in a ZIP archive. Whatever the archive tells about itself, it
/// takes no more time and memory than these bounds allow. [!audio]
class ZipReader {
public:
    static constexpr std::size_t kMostItems = 65535;
    static constexpr std::size_t kMostNameBytes = 511;
    static constexpr std::size_t kMostItemBytes = 16u << 20; ///< unpacked
    static constexpr std::size_t kMostBytes = 1u << 30;      ///< unpacked, of all items together

    explicit ZipReader(const std::filesystem::path& archive);
    ~ZipReader();
    ZipReader(const ZipReader&) = delete;
    ZipReader& operator=(const ZipReader&) = delete;

    /// False if this is no archive, or its directory is damaged.
    bool isOpen() const noexcept { return archive != nullptr; }
    /// Of the files and folders in it, in their order; the bytes that the archive has. Empty for a
    /// name that is too long or holds a NUL, and for what only its attributes mark as a folder.
    const std::vector<std::string>& names() const noexcept { return itemNames; }
    /// Unpacks the item of that index. False if it is encrypted, damaged or too long.
    bool read(std::size_t index, std::string& bytes);

private:
    struct Archive;

    bool list();

    std::unique_ptr<Archive> archive;
    std::vector<std::string> itemNames;
    std::vector<std::uint64_t> places; ///< of the items, in the archive's directory
    std::size_t bytesLeft = kMostBytes;
};

} // namespace zephra
