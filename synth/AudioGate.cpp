// SPDX-License-Identifier: GPL-3.0-or-later
#include "synth/AudioGate.h"

#include <chrono>

namespace zephra {

namespace {

void sleepOneMillisecond() noexcept { std::this_thread::sleep_for(std::chrono::milliseconds(1)); }

} // namespace

bool AudioGate::enterProcessing() noexcept
{
    if (audioPaused.load())
        return false;
    isProcessing.exchange(1);
    // A writer may have come between the look and the flag; it has seen no block running then.
    if (audioPaused.load()) {
        isProcessing.exchange(0);
        return false;
    }
    return true;
}

void AudioGate::leaveProcessing() noexcept { isProcessing.exchange(0); }

void AudioGate::pauseAudio() noexcept
{
    if (holdsPause()) {
        ++depth;
        return;
    }
    while (!takeOwnership())
        sleepOneMillisecond();
    raiseAndWait();
}

bool AudioGate::tryPauseAudio() noexcept
{
    if (holdsPause()) {
        ++depth;
        return true;
    }
    if (!takeOwnership())
        return false;
    raiseAndWait();
    return true;
}

void AudioGate::resumeAudio() noexcept
{
    if (!holdsPause() || --depth > 0)
        return;
    audioPaused.exchange(0);
    owner.store(std::thread::id{}); // last: the next owner raises the flag again
}

void AudioGate::waitForAudioIdle() noexcept { const Pause pause(*this); }

bool AudioGate::holdsPause() const noexcept { return owner.load() == std::this_thread::get_id(); }

bool AudioGate::takeOwnership() noexcept
{
    std::thread::id nobody;
    return owner.compare_exchange_strong(nobody, std::this_thread::get_id());
}

void AudioGate::raiseAndWait() noexcept
{
    depth = 1;
    audioPaused.exchange(1);
    while (isProcessing.load())
        sleepOneMillisecond();
}

} // namespace zephra
