// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/RealtimeWatch.h"

#include <ostream>

#ifndef ZEPHRA_SANITIZED

#include <dlfcn.h>
#include <linux/prctl.h>
#include <pthread.h>
#include <sys/prctl.h>
#include <ucontext.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>

namespace zephra {

namespace {

thread_local Offences* watching = nullptr; ///< of this thread; nullptr: nobody looks

/// The kernel reads it at every system call of the thread while dispatch is on.
thread_local volatile char dispatch = SYSCALL_DISPATCH_FILTER_ALLOW;

/// A breakpoint on the line that counts shows who called.
void note(int Offences::*count, const char* what) noexcept
{
    if (!watching)
        return;
    ++(watching->*count);
    if (!watching->first)
        watching->first = what;
}

#if defined(__x86_64__)

/// A system call of a watched thread, which the kernel has not begun: noted, then made again.
void onSystemCall(int, siginfo_t*, void* context) noexcept
{
    constexpr long kInstructionBytes = 2; // "syscall"
    note(&Offences::systemCalls, "system call");
    dispatch = SYSCALL_DISPATCH_FILTER_ALLOW; // for the return from here, too
    static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP] -= kInstructionBytes;
}

bool setDispatch(unsigned long mode) noexcept
{
    const volatile char* const selector = mode == PR_SYS_DISPATCH_ON ? &dispatch : nullptr;
    return prctl(PR_SET_SYSCALL_USER_DISPATCH, mode, 0, 0, selector) == 0;
}

bool installTrap() noexcept
{
    struct sigaction action = {};
    action.sa_sigaction = onSystemCall;
    action.sa_flags = SA_SIGINFO;
    return sigaction(SIGSYS, &action, nullptr) == 0 && setDispatch(PR_SYS_DISPATCH_ON) &&
           setDispatch(PR_SYS_DISPATCH_OFF);
}

#else

constexpr unsigned long PR_SYS_DISPATCH_ON = 1, PR_SYS_DISPATCH_OFF = 0;
bool setDispatch(unsigned long) noexcept { return false; }
bool installTrap() noexcept { return false; }

#endif

bool trapsSystemCalls() noexcept
{
    static const bool works = installTrap();
    return works;
}

/// The function of this name that the program would have called without the watch.
template <std::size_t size> struct Name {
    char text[size];
    constexpr Name(const char (&name)[size]) { std::copy_n(name, size, text); }
};
template <Name name, class Result = int, class... Args> Result lockBy(Args... args) noexcept
{
    using Function = Result (*)(Args...);
    static constinit std::atomic<Function> found{nullptr};
    Function function = found;
    if (!function) {
        function = reinterpret_cast<Function>(dlsym(RTLD_NEXT, name.text));
        found = function;
    }
    note(&Offences::locks, name.text);
    return function(args...);
}

void* noted(const char* what, void* memory) noexcept
{
    note(&Offences::allocations, what);
    return memory;
}

} // namespace

RealtimeWatch::RealtimeWatch(Offences& offences) noexcept
{
    if (trapsSystemCalls() && setDispatch(PR_SYS_DISPATCH_ON))
        dispatch = SYSCALL_DISPATCH_FILTER_BLOCK;
    watching = &offences;
}

RealtimeWatch::~RealtimeWatch()
{
    watching = nullptr;
    dispatch = SYSCALL_DISPATCH_FILTER_ALLOW;
    if (trapsSystemCalls())
        setDispatch(PR_SYS_DISPATCH_OFF);
}

const char* RealtimeWatch::blindness() noexcept
{
    return trapsSystemCalls() ? nullptr : "this kernel does not hand system calls back to programs";
}

} // namespace zephra

// What the whole program calls in place of the functions of the C library, which end up here too
// when that library or the C++ library calls them itself.

using zephra::lockBy;
using zephra::noted;

extern "C" {

void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* __libc_memalign(std::size_t, std::size_t);
void __libc_free(void*);

void* malloc(std::size_t size) noexcept { return noted("malloc", __libc_malloc(size)); }
void* calloc(std::size_t n, std::size_t size) noexcept
{
    return noted("calloc", __libc_calloc(n, size));
}
void* realloc(void* old, std::size_t size) noexcept
{
    return noted("realloc", __libc_realloc(old, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept
{
    return noted("aligned_alloc", __libc_memalign(alignment, size));
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) noexcept
{
    *memory = noted("posix_memalign", __libc_memalign(alignment, size));
    return *memory ? 0 : ENOMEM;
}
void free(void* memory) noexcept { __libc_free(noted("free", memory)); }

int pthread_mutex_lock(pthread_mutex_t* m) noexcept { return lockBy<"pthread_mutex_lock">(m); }
int pthread_mutex_trylock(pthread_mutex_t* m) noexcept
{
    return lockBy<"pthread_mutex_trylock">(m);
}
int pthread_rwlock_rdlock(pthread_rwlock_t* l) noexcept
{
    return lockBy<"pthread_rwlock_rdlock">(l);
}
int pthread_rwlock_wrlock(pthread_rwlock_t* l) noexcept
{
    return lockBy<"pthread_rwlock_wrlock">(l);
}
int __cxa_guard_acquire(long long* guard) { return lockBy<"__cxa_guard_acquire">(guard); }

} // extern "C"

#else // a sanitizer

namespace zephra {

RealtimeWatch::RealtimeWatch(Offences&) noexcept {}
RealtimeWatch::~RealtimeWatch() = default;

const char* RealtimeWatch::blindness() noexcept
{
    return "a sanitizer stands where the watch would, and allocates and locks on its own account";
}

} // namespace zephra

#endif

namespace zephra {

std::ostream& operator<<(std::ostream& out, const Offences& offences)
{
    return out << offences.allocations << " allocations, " << offences.locks << " locks, "
               << offences.systemCalls
               << " system calls; first: " << (offences.first ? offences.first : "none");
}

} // namespace zephra
