// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <pthread.h>

namespace zephra {

/// Runs `work` on a thread that may be cancelled at any instruction, as the JACK library does with
/// those of its clients when they close: that waits until `work` is done. Within it there are
/// noexcept functions, whose unwinding would end the whole program, and locks. The caller must not
/// be noexcept itself.
template <class Work> void uncancelled(const Work& work)
{
    int before = PTHREAD_CANCEL_ENABLE;
    ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
    work();
    ::pthread_setcancelstate(before, nullptr);
}

} // namespace zephra
