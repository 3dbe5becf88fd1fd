// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <fcntl.h>
#include <unistd.h>

namespace zephra::standalone {

/// Keeps standard error shut while it lives: the libraries of sound systems complain there, line
/// after line, about each of them that a machine does not have. [ui]
class MutedErrors {
public:
    MutedErrors() noexcept : kept(::dup(STDERR_FILENO))
    {
        if (const int nowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC); nowhere >= 0) {
            ::dup2(nowhere, STDERR_FILENO);
            ::close(nowhere);
        }
    }
    ~MutedErrors()
    {
        if (kept < 0)
            return;
        ::dup2(kept, STDERR_FILENO);
        ::close(kept);
    }
    MutedErrors(const MutedErrors&) = delete;
    MutedErrors& operator=(const MutedErrors&) = delete;

private:
    int kept;
};

} // namespace zephra::standalone
