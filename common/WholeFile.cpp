// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/WholeFile.h"

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace zephra {

namespace {

std::error_code systemError() noexcept { return {errno, std::generic_category()}; }

/// A new file in a folder, under a name that nobody else uses; -1 with errno set if there is none
/// to be had. The leading dot keeps it out of what the user sees.
int openAside(const std::filesystem::path& folder, std::filesystem::path& aside)
{
    static std::atomic<unsigned> files{0};
    int file = -1;
    do { // one of a process that died may still lie there
        aside = folder / (".zephra-" + std::to_string(::getpid()) + '-' + std::to_string(files++));
        file = ::open(aside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    } while (file < 0 && errno == EEXIST);
    return file;
}

} // namespace

RegularFile::RegularFile(const std::filesystem::path& path)
    : file(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC))
{
    examine();
}

RegularFile::RegularFile(int folder, const char* name)
    : file(::openat(folder, name, O_RDONLY | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC))
{
    examine();
}

void RegularFile::examine() noexcept
{
    struct stat status {};
    if (file < 0 || ::fstat(file, &status) != 0)
        fault = systemError();
    else if (S_ISDIR(status.st_mode))
        fault = std::make_error_code(std::errc::is_a_directory);
    else if (!S_ISREG(status.st_mode))
        fault = std::make_error_code(std::errc::not_supported);
    else
        length = static_cast<std::uint64_t>(status.st_size);
}

RegularFile::~RegularFile()
{
    if (file >= 0)
        ::close(file);
}

template <class Read> std::size_t RegularFile::fill(std::span<std::uint8_t> bytes, Read readSome)
{
    std::size_t count = 0;
    while (!fault && count < bytes.size()) {
        const ssize_t taken = readSome(bytes.subspan(count), count);
        if (taken < 0 && errno == EINTR)
            continue;
        if (taken < 0)
            fault = systemError();
        if (taken <= 0)
            break;
        count += static_cast<std::size_t>(taken);
    }
    return count;
}

std::size_t RegularFile::read(std::span<std::uint8_t> bytes)
{
    return fill(bytes, [this](std::span<std::uint8_t> rest, std::size_t) {
        return ::read(file, rest.data(), rest.size());
    });
}

std::size_t RegularFile::readAt(std::uint64_t offset, std::span<std::uint8_t> bytes)
{
    if (offset >= length)
        return 0;
    return fill(bytes, [&](std::span<std::uint8_t> rest, std::size_t count) {
        return ::pread(file, rest.data(), rest.size(), static_cast<off_t>(offset + count));
    });
}

bool writeAll(int file, std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(file, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
    return true;
}

std::error_code replaceFile(const std::filesystem::path& path, std::span<const std::uint8_t> bytes)
{
    std::filesystem::path aside;
    const int file = openAside(path.parent_path(), aside);
    if (file < 0)
        return systemError();
    std::error_code error;
    struct stat old {};
    if (::lstat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode))
        ::fchmod(file, old.st_mode & 0777); // not vital: some file systems have no rights
    if (!writeAll(file, bytes) || ::fsync(file) != 0)
        error = systemError();
    if (::close(file) != 0 && !error)
        error = systemError();
    if (!error && ::rename(aside.c_str(), path.c_str()) != 0)
        error = systemError();
    if (error)
        ::unlink(aside.c_str());
    return error;
}

} // namespace zephra
