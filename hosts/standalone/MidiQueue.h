// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "song/MidiMessage.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace zephra::standalone {

using Clock = std::chrono::steady_clock;

/// A message and the moment it came in.
struct ArrivedMessage {
    Clock::time_point when{};
    MidiMessage message;
};

/// Carries messages from any number of threads to the audio thread, without a lock: a ring of
/// cells, each with a turn counter that says whether it is free or filled. [any] unless told
/// otherwise.
class MidiQueue {
public:
    static constexpr std::size_t kLength = 1024; ///< messages, a power of two

    MidiQueue() noexcept
    {
        for (std::size_t i = 0; i < kLength; ++i)
            cells[i].turn.store(i, std::memory_order_relaxed);
    }

    /// False if the queue is full: the message is lost, and `takeLoss` will tell.
    bool push(const ArrivedMessage& message) noexcept
    {
        std::size_t place = end.load(std::memory_order_relaxed);
        for (;;) {
            Cell& cell = cells[place % kLength];
            const auto ahead =
                static_cast<std::ptrdiff_t>(cell.turn.load(std::memory_order_acquire) - place);
            if (ahead < 0) {
                lost.store(true, std::memory_order_relaxed);
                return false;
            }
            if (ahead > 0) {
                place = end.load(std::memory_order_relaxed);
            } else if (end.compare_exchange_weak(place, place + 1, std::memory_order_relaxed)) {
                cell.message = message;
                cell.turn.store(place + 1, std::memory_order_release);
                return true;
            }
        }
    }

    /// [audio] The oldest message, nullptr if there is none.
    const ArrivedMessage* front() const noexcept
    {
        const Cell& cell = cells[start % kLength];
        return cell.turn.load(std::memory_order_acquire) == start + 1 ? &cell.message : nullptr;
    }
    /// [audio] Removes what front() has shown.
    void pop() noexcept
    {
        cells[start % kLength].turn.store(start + kLength, std::memory_order_release);
        ++start;
    }
    /// [audio] Whether messages were lost since the last call.
    bool takeLoss() noexcept { return lost.exchange(false, std::memory_order_relaxed); }

private:
    struct Cell {
        std::atomic<std::size_t> turn{0}; ///< place it can take; place + 1 when it is filled
        ArrivedMessage message;
    };

    std::array<Cell, kLength> cells;
    std::atomic<std::size_t> end{0}; ///< place of the next message
    std::atomic<bool> lost{false};
    std::size_t start = 0; ///< [audio] place of the oldest message
};

} // namespace zephra::standalone
