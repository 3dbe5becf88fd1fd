// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <thread>

namespace zephra {

/// Keeps the render loop and everything that rebuilds what it reads apart, without a mutex.
///
/// Each side raises its own flag first and looks at the other's afterwards. All four accesses are
/// sequentially consistent, so at least one side sees the other: the audio thread backs out of a
/// block that a writer wants, a writer waits for a block that has begun. A busy offline host
/// cannot starve a writer, since the flag already refuses the next block. The audio thread never
/// waits.
///
/// What a writer changed while it held the pause is seen by the next block, and the other way
/// round: the flags order all plain data between the two sides.
class AudioGate {
public:
    AudioGate() noexcept = default;
    AudioGate(const AudioGate&) = delete;
    AudioGate& operator=(const AudioGate&) = delete;

    // --- Audio thread ---
    /// [audio] Begins a block; false if a writer holds the audio off: render nothing.
    bool enterProcessing() noexcept;
    /// [audio] Ends the block that enterProcessing began.
    void leaveProcessing() noexcept;

    // --- Writers ---
    /// [!audio] Refuses blocks from now on and waits in steps of 1 ms until none is running. Calls
    /// of one thread nest; other threads wait until the holder has resumed.
    void pauseAudio() noexcept;
    /// Ends one pauseAudio or successful tryPauseAudio of this thread; nothing without one.
    void resumeAudio() noexcept;
    /// [any, on the audio thread only between blocks] As pauseAudio, but false at once if another
    /// thread holds the pause. Between two blocks of its own the audio thread has nothing to wait
    /// for.
    bool tryPauseAudio() noexcept;
    /// [!audio] Returns when no block is running that began before the call.
    void waitForAudioIdle() noexcept;

    /// Pauses while it lives.
    class Pause {
    public:
        explicit Pause(AudioGate& pausedGate) noexcept : gate(pausedGate) { gate.pauseAudio(); }
        ~Pause() { gate.resumeAudio(); }
        Pause(const Pause&) = delete;
        Pause& operator=(const Pause&) = delete;

    private:
        AudioGate& gate;
    };

private:
    bool holdsPause() const noexcept;
    bool takeOwnership() noexcept;
    void raiseAndWait() noexcept;

    std::atomic<int> isProcessing{0};   ///< 1 while a block is rendered
    std::atomic<int> audioPaused{0};    ///< 1 while a writer holds the audio off
    std::atomic<std::thread::id> owner; ///< the writer; no thread: nobody
    int depth = 0;                      ///< pauses of the owner, touched by it alone

    static_assert(std::atomic<std::thread::id>::is_always_lock_free);
};

} // namespace zephra
