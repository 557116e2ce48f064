// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace netupgrade {

/**
 * Calls a function again and again on its own thread while the object exists, with a pause before
 * each call. The calls never overlap. The destructor ends the pause and waits for the call that is
 * active. When no thread can be started, the function is never called.
 */
class PeriodicSync
{
public:
    PeriodicSync(std::function<void()> sync, std::chrono::milliseconds pause);
    ~PeriodicSync();
    PeriodicSync(const PeriodicSync &) = delete;
    PeriodicSync &operator=(const PeriodicSync &) = delete;

private:
    void run();

    const std::function<void()> m_sync;
    const std::chrono::milliseconds m_pause;
    std::mutex m_mutex;
    std::condition_variable m_ending;
    bool m_ends = false;
    std::thread m_thread;
};

} // namespace netupgrade
