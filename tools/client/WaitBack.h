// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentConnection.h"

#include <QObject>
#include <QTimer>

#include <memory>

namespace client {

/** Waits until the agent of a restarting network module answers again. */
class WaitBack : public QObject
{
    Q_OBJECT

public:
    WaitBack(const QString &host, quint16 port);

    void start();
    bool isRunning() const { return m_limit.isActive(); }

signals:
    void back(const QString &version);
    void missing();

private:
    void tryOnce();
    void tryLater();

    const QString m_host;
    const quint16 m_port;
    std::unique_ptr<AgentConnection> m_agent;
    QTimer m_next;
    QTimer m_limit;
};

} // namespace client
