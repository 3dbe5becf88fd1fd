// SPDX-License-Identifier: GPL-3.0-or-later
#include "realtime/RealtimeWatch.h"

#include <gtest/gtest.h>

#include <linux/futex.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <shared_mutex>
#include <thread>
#include <vector>

namespace zephra {
namespace {

using std::chrono::milliseconds;

// What the deeds below work on.
void* volatile memory = nullptr; ///< volatile: no compiler leaves an allocation away
std::atomic<int> word{0};
std::mutex mutex;
std::shared_mutex sharedMutex;
std::unique_lock<std::mutex> heldLock; ///< taken before the watch begins
std::mutex heldMutex;
std::condition_variable condition;
pthread_spinlock_t spinLock;
sem_t semaphore;
volatile double number = 0.25;

void makeStatic()
{
    static const double once = std::exp(number);
    number = once;
}

/// Expected number of offences; of some deeds it is known only that there are any.
enum Expected { None, Some };

struct Deed {
    const char* name;
    void (*act)();
    Expected allocations, locks, systemCalls;
};

constexpr Deed kDeeds[] = {
    {"operator new", [] { memory = ::operator new(64); }, Some, None, None},
    {"operator delete", [] { ::operator delete(memory); }, Some, None, None},
    {"aligned new",
     [] { ::operator delete (::operator new (64, std::align_val_t{64}), std::align_val_t{64}); },
     Some, None, None},
    {"malloc", [] { memory = std::malloc(64); }, Some, None, None},
    {"realloc", [] { memory = std::realloc(memory, 200); }, Some, None, None},
    {"free", [] { std::free(memory); }, Some, None, None},
    {"calloc", [] { memory = std::calloc(8, 8); }, Some, None, None},
    {"aligned_alloc", [] { memory = std::aligned_alloc(64, 64); }, Some, None, None},
    {"posix_memalign",
     [] {
         void* aligned = nullptr;
         if (posix_memalign(&aligned, 64, 64) == 0)
             std::free(aligned);
     },
     Some, None, None},
    {"exception",
     [] {
         try {
             throw 1;
         } catch (int) {
         }
     },
     Some, None, None},
    {"large allocation", [] { memory = std::malloc(64 << 20); }, Some, None, Some},

    {"mutex", [] { std::lock_guard lock(mutex); }, None, Some, None},
    {"try_lock", [] { std::unique_lock lock(mutex, std::try_to_lock); }, None, Some, None},
    {"read lock", [] { std::shared_lock lock(sharedMutex); }, None, Some, None},
    {"write lock", [] { std::unique_lock lock(sharedMutex); }, None, Some, None},
    {"spin lock",
     [] {
         pthread_spin_lock(&spinLock);
         pthread_spin_unlock(&spinLock);
     },
     None, Some, None},
    {"semaphore that is free", [] { sem_wait(&semaphore); }, None, Some, None},
    {"first use of a local static", [] { makeStatic(); }, None, Some, None},
    {"later use of a local static", [] { makeStatic(); }, None, None, None},
    {"condition wait", [] { condition.wait_for(heldLock, milliseconds(1)); }, None, None, Some},

    {"write", [] { word = static_cast<int>(write(-1, "x", 1)); }, None, None, Some},
    {"futex", [] { syscall(SYS_futex, &word, FUTEX_WAKE, 1); }, None, None, Some},
    {"system call without its wrapper",
     [] {
         long result = SYS_getpid;
         __asm__ volatile("syscall" : "+a"(result) : : "rcx", "r11", "memory");
         number = static_cast<double>(result);
     },
     None, None, Some},

    {"nothing", [] {}, None, None, None},
    {"arithmetic, copies and atomics",
     [] {
         std::array<float, 512> a{}, b{};
         std::memcpy(a.data(), b.data(), sizeof a);
         number = std::pow(std::exp(number), 0.5) + static_cast<double>(a[17]);
         word.exchange(1);
         word.notify_all();
     },
     None, None, None},
};

class RealtimeWatchTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (const char* reason = RealtimeWatch::blindness())
            GTEST_SKIP() << reason;
        pthread_spin_init(&spinLock, 0);
        sem_init(&semaphore, 0, 1);
        heldLock = std::unique_lock(heldMutex);
    }
    void TearDown() override { heldLock = {}; }
};

TEST_F(RealtimeWatchTest, SeesWhatAnAudioThreadMustNotDoAndNothingElse)
{
    const bool systemCallsSeen = RealtimeWatch::blindnessToSystemCalls() == nullptr;
    for (const Deed& deed : kDeeds) {
        Offences seen;
        {
            const RealtimeWatch watch(seen);
            deed.act();
        }
        EXPECT_EQ(seen.allocations > 0, deed.allocations == Some) << deed.name << ": " << seen;
        EXPECT_EQ(seen.locks > 0, deed.locks == Some) << deed.name << ": " << seen;
        EXPECT_EQ(seen.systemCalls > 0, systemCallsSeen && deed.systemCalls == Some)
            << deed.name << ": " << seen;
    }
    if (!systemCallsSeen)
        GTEST_SKIP() << "system calls: " << RealtimeWatch::blindnessToSystemCalls();
}

TEST_F(RealtimeWatchTest, SeesNothingOutsideItsScopeAndOnOtherThreads)
{
    Offences seen;
    std::vector<int> sent;
    std::atomic<int> stage{0};
    std::thread other([&] {
        while (stage != 1) {
        }
        sent = std::vector<int>(100);
        const std::lock_guard lock(mutex);
        std::this_thread::yield();
        stage = 2;
    });
    {
        const RealtimeWatch watch(seen);
        stage = 1;
        while (stage != 2) {
        }
    }
    other.join();
    memory = std::malloc(100);
    std::free(memory);
    EXPECT_EQ(seen.count(), 0) << seen;
}

TEST_F(RealtimeWatchTest, LeavesWhatItSeesUndisturbed)
{
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    Offences seen;
    ssize_t written = 0;
    int failed = 0;
    {
        const RealtimeWatch watch(seen);
        written = write(ends[1], "zephra", 6);
        failed = close(-1);
    }
    EXPECT_EQ(failed, -1);
    EXPECT_EQ(errno, EBADF);
    std::array<char, 16> received{};
    EXPECT_EQ(written, 6);
    EXPECT_EQ(read(ends[0], received.data(), received.size()), 6);
    EXPECT_STREQ(received.data(), "zephra");
    close(ends[0]);
    close(ends[1]);
}

} // namespace
} // namespace zephra
