// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "links/DeviceLink.h"

#include <QList>
#include <QSerialPort>

namespace links {
class SerialPort;
} // namespace links

/**
 * The serial link to the device's MCUs: opens one port, writes frames at once and emits every chunk
 * that arrives. Does no framing.
 */
class CoreCOMQ : public links::DeviceLink
{
    Q_OBJECT

public:
    explicit CoreCOMQ(QObject *parent = nullptr);

    const char *label() const override { return "com"; }

    /**
     * Closes the previous port, opens `portName` (a name such as "ttyS2" or a path) and applies the
     * settings. Data bits other than 5 to 8, stop bits other than 1 and 2 and unknown parity names
     * do not change that setting. Returns whether the port opened.
     */
    virtual bool open(const QString &portName, int baudRate, int dataBits, int stopBits,
                      const QString &parity);
    /** The same with 8 data bits, 1 stop bit and no parity. */
    bool openAt(const QString &portName, int baudRate) override;
    void close() override;
    bool isOpen() const override;

    /** Writes one frame and expects a reply from now on. False when the write failed. */
    bool sendMsg(const unsigned char *bytes, int length);
    bool send(const QByteArray &frame) override;

    /** Writes a text command. Its length is taken modulo 256 and at most 99 bytes are sent. */
    bool sendText(const QString &command);

    static QList<QString> listPorts();

signals:
    void signalReceiveDatas(QByteArray datas);

public slots:
    void recvMsg();

protected:
    /** Writes bytes to the port; -1 on an error. */
    virtual qint64 writeBytes(const char *bytes, qint64 length);

private:
    void closeBrokenPort(QSerialPort::SerialPortError error);

    links::SerialPort *m_port;
};
