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

    /** Valid after finished(). */
    bool succeeded() const { return m_succeeded; }

signals:
    void message(const QStringList &message);
    void progress(double percent);

protected:
    void run() override;

private:
    Platform m_platform;
    NetImage m_header;
    bool m_succeeded = false;
};
