// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/CommandThread.h"
#include "package/NetImage.h"
#include "platform/Platform.h"

#include <QObject>
#include <QStringList>

namespace netupgrade {

/** One block-by-block install on its own thread: unpacking can take a minute, in which the console
 *  must be served. */
class NetInstallJob : public QObject
{
    Q_OBJECT

public:
    NetInstallJob(const platform::Platform &platform, const package::NetImage &header,
                  QObject *parent);

    /** Returns before the first signal reaches an object of this thread. */
    void start()
    {
        m_thread.start(*this, [this] { run(); });
    }
    /** Returns when the thread has ended. */
    void wait() { m_thread.wait(); }

signals:
    void message(const QStringList &message);
    void progress(double percent);
    /** The last signal, followed by the end of the thread. `lastLine` of a failed install is
     *  reported once the next one may begin. */
    void done(bool succeeded, const QString &lastLine);

private:
    void run();

    platform::Platform m_platform;
    package::NetImage m_header;
    CommandThread m_thread;
};

} // namespace netupgrade
