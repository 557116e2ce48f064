// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/NetImage.h"
#include "platform/Platform.h"

#include <QObject>
#include <QStringList>

#include <thread>

namespace netupgrade {

/** One block-by-block install on a thread of its own: unpacking can take a minute, in which the
 *  console must still be answered. The thread has no event loop; with one, the process would end
 *  when it has used up its descriptors. When a thread cannot be started, the install runs in the
 *  caller's, from its event loop. */
class NetInstallJob : public QObject
{
    Q_OBJECT

public:
    NetInstallJob(const Platform &platform, const package::NetImage &header, QObject *parent);
    ~NetInstallJob() override;

    /** Returns before the first signal reaches an object of this thread. */
    void start();
    /** Returns when the thread has ended. */
    void wait();

signals:
    void message(const QStringList &message);
    void progress(double percent);
    /** The last signal; the thread ends behind it. What a failed install has to say last comes
     *  along, so that it can be said when the next one may begin. */
    void done(bool succeeded, const QString &lastWords);

private:
    void run();

    Platform m_platform;
    package::NetImage m_header;
    std::thread m_thread;
};

} // namespace netupgrade
