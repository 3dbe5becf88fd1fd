// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>

namespace zephra {

/// A word that one thread writes and another reads: a lock-free relaxed atomic, a plain aligned
/// store without the data race. It orders nothing. Read it once per sub-block into a local.
template <class T> class Shared {
    static_assert(std::atomic<T>::is_always_lock_free);

public:
    Shared() noexcept = default;
    Shared(T initial) noexcept : word(initial) {}
    Shared(const Shared&) = delete;
    Shared& operator=(const Shared&) = delete;

    T get() const noexcept { return word.load(std::memory_order_relaxed); }
    void set(T value) noexcept { word.store(value, std::memory_order_relaxed); }
    operator T() const noexcept { return get(); }
    Shared& operator=(T value) noexcept
    {
        set(value);
        return *this;
    }

private:
    std::atomic<T> word{};
};

} // namespace zephra
