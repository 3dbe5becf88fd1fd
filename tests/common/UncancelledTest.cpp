// SPDX-License-Identifier: GPL-3.0-or-later
#include "common/Uncancelled.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace zephra {
namespace {

struct Progress {
    std::atomic<bool> started{false}, cancelled{false}, done{false}, after{false};
};

void* audioThread(void* shared)
{
    auto& progress = *static_cast<Progress*>(shared);
    ::pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    uncancelled([&progress]() noexcept {
        progress.started = true;
        while (!progress.cancelled) {
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        progress.done = true;
    });
    progress.after = true;
    return nullptr;
}

TEST(Uncancelled, WorkIsDoneBeforeTheThreadEnds)
{
    Progress progress;
    pthread_t thread = {};
    ASSERT_EQ(::pthread_create(&thread, nullptr, audioThread, &progress), 0);
    while (!progress.started) {
    }
    EXPECT_EQ(::pthread_cancel(thread), 0);
    progress.cancelled = true;
    ASSERT_EQ(::pthread_join(thread, nullptr), 0);
    EXPECT_TRUE(progress.done);
    EXPECT_FALSE(progress.after) << "the thread is not cancelled";
}

} // namespace
} // namespace zephra
