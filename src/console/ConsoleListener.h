// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleSocket.h"

#include <QSocketNotifier>
#include <QTcpServer>
#include <QTimer>

#include <memory>

namespace console {

/**
 * A server that hands out each client at once, and that rests when none can be accepted: QTcpServer
 * itself tries again without pause once the process is out of descriptors.
 */
class ConsoleListener : public QTcpServer
{
    Q_OBJECT

public:
    explicit ConsoleListener(QObject *parent = nullptr);

    /** Listens on a port of every address. */
    bool start(quint16 port);

    /** While it is off, clients wait in the kernel's queue. */
    void setAccepting(bool accepting);

    /** The client that newConnection() tells of. */
    ConsoleSocket *nextPendingConnection() override;

signals:
    /** The first of a row of failures; what has become free is noticed within a second. */
    void cannotAccept(const QString &reason);

private:
    void acceptClients();
    void handOut(int descriptor);
    void restAfter(int error);
    void refresh();

    std::unique_ptr<QSocketNotifier> m_notifier;
    QTimer m_rest;
    bool m_accepting = true;
    bool m_failing = false;
    ConsoleSocket *m_next = nullptr;
};

} // namespace console
