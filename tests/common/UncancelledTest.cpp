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

void finish(Progress& progress) noexcept
{
    progress.started = true;
    while (!progress.cancelled) {
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(20);
    while (std::chrono::steady_clock::now() < end) {
    }
    progress.done = true;
}

void* audioThread(void* shared)
{
    auto& progress = *static_cast<Progress*>(shared);
    ::pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, nullptr);
    uncancelled([&] { finish(progress); });
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
