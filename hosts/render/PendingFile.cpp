// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/PendingFile.h"

#include "render/Failure.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

namespace zephra::render {
namespace {

namespace fs = std::filesystem;

char interruptedPath[PATH_MAX] = ""; ///< to be removed when a signal ends the program

void removeAndDie(int signal)
{
    ::unlink(interruptedPath);
    std::signal(signal, SIG_DFL);
    ::raise(signal);
}

/// An empty path: nothing to remove.
void removeWhenInterrupted(const std::string& path)
{
    const bool known = !path.empty() && path.size() < sizeof interruptedPath;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, SIG_DFL);
    if (!known)
        return;
    std::memcpy(interruptedPath, path.c_str(), path.size() + 1);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        std::signal(signal, removeAndDie);
}

Failure systemFailure(const std::string& name, int error = errno)
{
    return fileFailure(name, std::strerror(error));
}

/// The rights that a file made by open would have.
mode_t newFileMode()
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

} // namespace

PendingFile::PendingFile(const std::string& path)
    : shownName(path == "-" ? "standard output" : path), target(path)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::is_directory(status))
        throw systemFailure(shownName, EISDIR);
    stream = path == "-" || (fs::exists(status) && !fs::is_regular_file(status));
    if (!stream && fs::exists(status)) {
        const fs::path behindLinks = fs::canonical(path, error);
        if (!error)
            target = behindLinks;
    }

    const fs::path folder =
        stream ? fs::temp_directory_path(error) : fs::path(target).parent_path();
    std::string place = (folder.empty() ? fs::path(".") : folder) / ".zephra-render-XXXXXX";
    fd = ::mkstemp(place.data());
    if (fd < 0)
        throw systemFailure(shownName);
    if (stream) {
        ::unlink(place.c_str());
    } else {
        aside = place;
        removeWhenInterrupted(aside);
        ::fchmod(fd, newFileMode());
    }
}

PendingFile::~PendingFile()
{
    ::close(fd);
    if (!aside.empty()) {
        ::unlink(aside.c_str());
        removeWhenInterrupted({});
    }
}

void PendingFile::commit()
{
    if (stream) {
        const int out =
            target == "-" ? ::dup(STDOUT_FILENO) : ::open(target.c_str(), O_WRONLY | O_CLOEXEC);
        if (out < 0)
            throw systemFailure(shownName);
        copyTo(out);
        if (::close(out) != 0)
            throw systemFailure(shownName);
        return;
    }
    if (::fsync(fd) != 0 || ::rename(aside.c_str(), target.c_str()) != 0)
        throw systemFailure(shownName);
    aside.clear();
    removeWhenInterrupted({});
}

void PendingFile::copyTo(int out)
{
    if (::lseek(fd, 0, SEEK_SET) < 0)
        throw systemFailure(shownName);
    char part[65536];
    for (ssize_t count; (count = ::read(fd, part, sizeof part)) != 0;) {
        if (count < 0)
            throw systemFailure(shownName);
        for (ssize_t written = 0; written < count;) {
            const ssize_t step =
                ::write(out, part + written, static_cast<std::size_t>(count - written));
            if (step < 0 && errno != EINTR) {
                const int error = errno;
                ::close(out);
                throw systemFailure(shownName, error);
            }
            written += std::max<ssize_t>(step, 0);
        }
    }
}

} // namespace zephra::render
