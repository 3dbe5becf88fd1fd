// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <csignal>
#include <initializer_list>
#include <sys/signalfd.h>
#include <unistd.h>

namespace zephra::standalone {

/// Takes signals as values to be read in the main loop, instead of as interruptions anywhere. To
/// be made before any other thread: those inherit that they are not interrupted either.
class Signals {
public:
    Signals() noexcept
    {
        sigset_t all;
        sigemptyset(&all);
        for (const int signal :
             {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGCONT, SIGTTIN, SIGTTOU})
            sigaddset(&all, signal);
        ::pthread_sigmask(SIG_BLOCK, &all, nullptr);
        file = ::signalfd(-1, &all, SFD_NONBLOCK | SFD_CLOEXEC);
        std::signal(SIGPIPE, SIG_IGN);
    }
    ~Signals() { ::close(file); }
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    int descriptor() const noexcept { return file; } ///< to poll for reading
    /// The next signal, 0 if there is none.
    int take() const noexcept
    {
        signalfd_siginfo info = {};
        return ::read(file, &info, sizeof info) == sizeof info ? static_cast<int>(info.ssi_signo)
                                                               : 0;
    }

private:
    int file = -1;
};

} // namespace zephra::standalone
