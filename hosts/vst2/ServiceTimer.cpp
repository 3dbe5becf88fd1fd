// SPDX-License-Identifier: GPL-3.0-or-later
#include "vst2/ServiceTimer.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace zephra::vst2 {

namespace {

constexpr std::chrono::milliseconds kPeriod{20};

struct Timer {
    std::mutex mutex; ///< held during all ticks of a round
    std::condition_variable_any wake;
    std::vector<ServiceTimer::Client*> clients;
    std::jthread thread; ///< last: stops first

    void run(const std::stop_token& stop)
    {
        std::unique_lock lock(mutex);
        while (!wake.wait_for(lock, stop, kPeriod, [&stop] { return stop.stop_requested(); })) {
            for (ServiceTimer::Client* client : clients)
                client->tick();
        }
    }
};

Timer& timer()
{
    static Timer one;
    return one;
}

} // namespace

void ServiceTimer::add(Client& client)
{
    Timer& all = timer();
    const std::lock_guard lock(all.mutex);
    all.clients.push_back(&client);
    if (!all.thread.joinable())
        all.thread = std::jthread([&all](const std::stop_token& stop) { all.run(stop); });
}

void ServiceTimer::remove(Client& client)
{
    Timer& all = timer();
    std::jthread ended; // waits for its end without the mutex, which it needs itself
    const std::lock_guard lock(all.mutex);
    std::erase(all.clients, &client);
    if (all.clients.empty())
        ended = std::move(all.thread);
}

} // namespace zephra::vst2
