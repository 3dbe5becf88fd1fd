// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace zephra::render {

/// A file that appears under its name only when it is complete. It is written aside, next to its
/// place, and takes the name in `commit`; without that nothing remains, not even when the program
/// is interrupted. Standard output ("-"), devices and pipes get the whole content in `commit`.
/// Up to two at a time. Throws Failure with the name.
class PendingFile {
public:
    explicit PendingFile(const std::string& path);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    /// Open for reading and writing, from its start.
    int descriptor() const noexcept { return fd; }
    /// As the user wrote it, or "standard output".
    const std::string& name() const noexcept { return shownName; }
    void write(std::span<const std::uint8_t> bytes);
    /// The content is complete.
    void commit();

private:
    void copyTo(int target);

    std::string shownName;
    std::string target;  ///< path behind links
    bool stream = false; ///< the target takes bytes, not a new name
    std::string aside;   ///< path of the file while it has one of its own, else empty
    int fd = -1;
};

} // namespace zephra::render
