// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/CommandThread.h"

#include <QObject>
#include <QTimer>

#include <system_error>

namespace netupgrade {

void CommandThread::start(QObject &owner, const std::function<void()> &work)
{
    try {
        m_thread = std::thread(work);
    } catch (const std::system_error &) {
        // Without a thread, late answers on the console are better than no install. It runs from
        // the event loop, not within the request with the last block, whose replies are collected
        // until that request ends.
        QTimer::singleShot(0, &owner, work);
    }
}

void CommandThread::wait()
{
    if (m_thread.joinable())
        m_thread.join();
}

} // namespace netupgrade
