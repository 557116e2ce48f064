// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Channel.h"

#include <QElapsedTimer>
#include <QIODevice>
#include <QObject>
#include <QSocketNotifier>
#include <QString>

#include <memory>

/** The line to a device over a serial port or TCP. A signal of the user ends every wait. */
class LinkChannel : public QObject, public devicecheck::Channel
{
    Q_OBJECT

public:
    /** `endSignals` is the descriptor of catchEndSignals(). */
    explicit LinkChannel(int endSignals);
    ~LinkChannel() override;

    // Why it cannot be opened; empty when it is open.
    QString openSerialPort(const QString &path, int baudRate);
    QString connectTo(const QString &host, quint16 port);

    bool isInterrupted() const { return m_isInterrupted; }

    devicecheck::milliseconds now() const override;
    void send(const QByteArray &bytes) override;
    Event wait(devicecheck::milliseconds longest, QByteArray &bytes) override;

signals:
    /** Something that ends a wait has happened. */
    void changed();

private:
    void watch();
    void onReadable();
    void onLost();

    std::unique_ptr<QIODevice> m_line;
    QSocketNotifier m_endSignal;
    QElapsedTimer m_clock;
    QByteArray m_received;
    bool m_isLost = false;
    bool m_isInterrupted = false;
};
