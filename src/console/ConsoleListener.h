// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleSocket.h"

#include <QSocketNotifier>
#include <QTcpServer>
#include <QTimer>

#include <memory>

namespace console {

/**
 * A server that accepts each client at once, and that pauses when accept(2) fails: QTcpServer
 * itself tries again without pause once the process is out of descriptors.
 */
class ConsoleListener : public QTcpServer
{
    Q_OBJECT

public:
    explicit ConsoleListener(QObject *parent = nullptr);

    /** Listens on a port of every address. */
    bool start(quint16 port);

    /** While accepting is off, clients wait in the kernel's queue. */
    void setAccepting(bool accepting);

    /** The client that newConnection() announced. */
    ConsoleSocket *nextPendingConnection() override;

signals:
    /** The first of consecutive failures; a free descriptor is noticed within a second. */
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
