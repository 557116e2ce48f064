// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/CommandThread.h"
#include "netupgrade/NetResume.h"
#include "platform/Platform.h"

#include <QObject>

namespace netupgrade {

/** Completes an interrupted install on its own thread, so that the console is served meanwhile. */
class NetResumeJob : public QObject
{
    Q_OBJECT

public:
    NetResumeJob(const platform::Platform &platform, QObject *parent)
        : QObject(parent), m_platform(platform)
    {
        // Between two threads a signal's argument is found by its name.
        qRegisterMetaType<NetResumeEvent>("netupgrade::NetResumeEvent");
    }

    /** Returns before the first signal reaches an object of this thread. */
    void start()
    {
        m_thread.start(*this, [this] { run(); });
    }
    /** Returns when the thread has ended. */
    void wait() { m_thread.wait(); }

signals:
    void reported(const netupgrade::NetResumeEvent &event);
    /** The last signal, followed by the end of the thread. */
    void done(bool reboots);

private:
    void run()
    {
        NetResume resume(m_platform, [this](const NetResumeEvent &event) { emit reported(event); });
        emit done(resume.run());
    }

    platform::Platform m_platform;
    CommandThread m_thread;
};

} // namespace netupgrade
