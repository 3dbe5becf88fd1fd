// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <iosfwd>

namespace zephra {

/// What a thread did while it was watched that an audio thread must not do.
struct Offences {
    int allocations = 0; ///< of memory, or memory given back
    int locks = 0;       ///< taken or tried, whether free or not
    int systemCalls = 0; ///< only the first of each watch: it ends the looking out for others

    const char* first = nullptr; ///< of them

    int count() const noexcept { return allocations + locks + systemCalls; }
};

std::ostream& operator<<(std::ostream& out, const Offences& offences);

/// While it lives, everything that its thread allocates, locks or asks the kernel for goes into
/// `offences`, and is carried out as if nobody looked. Other threads are not watched.
///
/// Allocation: the malloc family, and with it operator new and delete. Locks: mutexes, read-write
/// locks and the guards of function-local statics. System calls: trapped by the kernel as they are
/// made; that takes in futexes, and so every wait.
class RealtimeWatch {
public:
    explicit RealtimeWatch(Offences& offences) noexcept;
    ~RealtimeWatch();
    RealtimeWatch(const RealtimeWatch&) = delete;
    RealtimeWatch& operator=(const RealtimeWatch&) = delete;

    /// What is not seen in this program, system calls or anything at all, or nullptr.
    static const char* blindness() noexcept;
};

} // namespace zephra
