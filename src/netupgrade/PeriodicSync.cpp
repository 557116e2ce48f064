// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/PeriodicSync.h"

#include <system_error>
#include <utility>

namespace netupgrade {

PeriodicSync::PeriodicSync(std::function<void()> sync, std::chrono::milliseconds pause)
    : m_sync(std::move(sync)), m_pause(pause)
{
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error &) {
        // The sync at the end of the command is the one that counts.
    }
}

PeriodicSync::~PeriodicSync()
{
    {
        const std::lock_guard lock(m_mutex);
        m_ends = true;
    }
    m_ending.notify_one();
    if (m_thread.joinable())
        m_thread.join();
}

void PeriodicSync::run()
{
    std::unique_lock lock(m_mutex);
    while (!m_ending.wait_for(lock, m_pause, [this] { return m_ends; })) {
        lock.unlock();
        m_sync();
        lock.lock();
    }
}

} // namespace netupgrade
