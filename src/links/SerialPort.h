// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QPointer>
#include <QSerialPort>

class QSocketNotifier;

namespace links {

/**
 * A serial port whose bytes go straight between the kernel and the link. With Qt's own buffers each
 * chunk costs several allocations, and each frame costs one more turn of the event loop, in which
 * the port reports that it can be written.
 *
 * Whatever is unusual is left to Qt: the rest of a frame that the kernel does not take at once, and
 * every error.
 */
class SerialPort : public QSerialPort
{
    Q_OBJECT

public:
    using QSerialPort::QSerialPort;
    ~SerialPort() override;

    bool open(OpenMode mode) override;
    void close() override;

    /** All bytes that have arrived; to be called at readyRead(). Qt's own read functions have none
     *  of them. */
    QByteArray fetch();
    /** Hands bytes to the kernel at once; the port must be open. */
    void send(const char *bytes, qint64 length);

private:
    /** Null while the port is closed. */
    QSocketNotifier *m_notifier = nullptr;
    QPointer<QSocketNotifier> m_qtNotifier;
};

} // namespace links
