// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QObject>
#include <QString>

namespace links {

/** The interface of both transports to a device. Neither does any framing. */
class DeviceLink : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

    /** A short name for the log. */
    virtual const char *label() const = 0;
    /** Opens the link: the name of a serial port and its baud rate, or a host and its TCP port.
     *  True when it is open already; otherwise opened() follows, if it opens at all. */
    virtual bool openAt(const QString &address, int number) = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    /** Writes one frame. False when the link refuses it. */
    virtual bool send(const QByteArray &frame) = 0;

signals:
    void opened();
    /** Bytes as they arrived, in chunks of any size. */
    void received(const QByteArray &chunk);
    /** The peer has closed the connection, or the line has hung up. */
    void lost();
};

} // namespace links
