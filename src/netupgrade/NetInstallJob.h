// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/NetImage.h"
#include "platform/Platform.h"

#include <QStringList>
#include <QThread>

/** One block-by-block install on a thread of its own: unpacking can take a minute, in which the
 *  console must still be answered. */
class NetInstallJob : public QThread
{
    Q_OBJECT

public:
    NetInstallJob(const Platform &platform, const NetImage &header, QObject *parent);

signals:
    void message(const QStringList &message);
    void progress(double percent);
    /** The last signal; the thread ends behind it. */
    void done(bool succeeded);

protected:
    void run() override;

private:
    Platform m_platform;
    NetImage m_header;
};
