// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <thread>

class QObject;

namespace netupgrade {

/** A thread for commands that take long. It has no event loop, since creating one ends the process
 *  when it is out of descriptors. */
class CommandThread
{
public:
    CommandThread() = default;
    ~CommandThread() { wait(); }
    CommandThread(const CommandThread &) = delete;
    CommandThread &operator=(const CommandThread &) = delete;

    /** Runs `work` once. When no thread can be started, it runs in the thread of `owner`, from its
     *  event loop, unless the owner is deleted before. */
    void start(QObject &owner, const std::function<void()> &work);
    /** Returns when the thread has ended. */
    void wait();

private:
    std::thread m_thread;
};

} // namespace netupgrade
