// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <span>
#include <system_error>

namespace zephra {

// Files that are read or written as a whole. [!audio]

/// A regular file, open for reading from its start. What else may lie under a name (a folder, a
/// pipe, a device) is refused at once, however long it would have kept the reader waiting.
class RegularFile {
public:
    explicit RegularFile(const std::filesystem::path& path);
    /// Directly in an open folder; a link is refused too.
    RegularFile(int folder, const char* name);
    ~RegularFile();
    RegularFile(const RegularFile&) = delete;
    RegularFile& operator=(const RegularFile&) = delete;

    /// Why it is not open, or what the last read met.
    std::error_code error() const noexcept { return fault; }
    /// Bytes, when it was opened; 0 if it is not open.
    std::uint64_t size() const noexcept { return length; }
    /// Fills `bytes`; returns fewer than that at the end of the file or on an error.
    std::size_t read(std::span<std::uint8_t> bytes);
    /// The same from any place, beside the reading from the start.
    std::size_t readAt(std::uint64_t offset, std::span<std::uint8_t> bytes);

private:
    template <class Read> std::size_t fill(std::span<std::uint8_t> bytes, Read readSome);
    void examine() noexcept;

    int file = -1;
    std::uint64_t length = 0;
    std::error_code fault;
};

/// Writes to an open file; false with errno set on an error.
bool writeAll(int file, std::span<const std::uint8_t> bytes);

/// Puts a file with these bytes under a name, in place of what was there. It is written aside, in
/// the same folder, and renamed when complete: on an error the old file stays, and nothing else.
/// The new one has the rights of the old one; a link is replaced itself, never what it leads to.
std::error_code replaceFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes);

} // namespace zephra
