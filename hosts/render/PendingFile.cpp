// SPDX-License-Identifier: GPL-3.0-or-later
#include "render/PendingFile.h"

#include "song/Failure.h"

#include <algorithm>
#include <array>
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

constexpr std::array kEndingSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr std::size_t kMostPending = 2; ///< a sound and a patch

/// [file] paths to be removed when a signal ends the program; empty: none
std::array<std::array<char, PATH_MAX>, kMostPending> interruptedPaths{};

void removeAndDie(int signal)
{
    for (const auto& path : interruptedPaths) {
        if (path[0] != '\0')
            ::unlink(path.data());
    }
    std::signal(signal, SIG_DFL);
    ::raise(signal);
}

/// While it lives no signal finds the paths half-written.
class SignalsHeld {
public:
    SignalsHeld() noexcept
    {
        sigset_t ending;
        sigemptyset(&ending);
        for (const int signal : kEndingSignals)
            sigaddset(&ending, signal);
        sigprocmask(SIG_BLOCK, &ending, &before);
    }
    ~SignalsHeld() { sigprocmask(SIG_SETMASK, &before, nullptr); }
    SignalsHeld(const SignalsHeld&) = delete;
    SignalsHeld& operator=(const SignalsHeld&) = delete;

private:
    sigset_t before{};
};

/// One that is too long, or beyond kMostPending, stays when the program is interrupted.
void removeWhenInterrupted(const std::string& path)
{
    const SignalsHeld held;
    const auto free =
        std::ranges::find_if(interruptedPaths, [](const auto& known) { return known[0] == '\0'; });
    if (free == interruptedPaths.end() || path.size() >= free->size())
        return;
    std::memcpy(free->data(), path.c_str(), path.size() + 1);
    for (const int signal : kEndingSignals)
        std::signal(signal, removeAndDie);
}

void keepWhenInterrupted(const std::string& path)
{
    const SignalsHeld held;
    for (auto& known : interruptedPaths) {
        if (path == known.data())
            known[0] = '\0';
    }
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
    const SignalsHeld held; // until it is known what to remove
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
        keepWhenInterrupted(aside);
    }
}

void PendingFile::write(std::span<const std::uint8_t> bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = ::write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR)
            throw systemFailure(shownName);
        bytes = bytes.subspan(static_cast<std::size_t>(std::max<ssize_t>(written, 0)));
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
    keepWhenInterrupted(aside);
    aside.clear();
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
