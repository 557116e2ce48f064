// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QPointer>
#include <QSerialPort>

class QSocketNotifier;

namespace links {

/**
 * A serial port without Qt's buffers. With them each chunk needs several allocations, and each
 * frame one more iteration of the event loop, in which the port becomes writable.
 *
 * Qt handles the rest of a frame that the kernel does not accept at once, and all errors.
 */
class SerialPort : public QSerialPort
{
    Q_OBJECT

public:
    using QSerialPort::QSerialPort;
    ~SerialPort() override;

    bool open(OpenMode mode) override;
    void close() override;

    /** All bytes that have arrived; call it on readyRead(). Qt's own read functions return no
     *  bytes. */
    QByteArray fetch();
    /** Writes bytes at once; the port must be open. */
    void send(const char *bytes, qint64 length);

private:
    /** Null while the port is closed. */
    QSocketNotifier *m_notifier = nullptr;
    QPointer<QSocketNotifier> m_qtNotifier;
};

} // namespace links
