// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QList>
#include <QObject>
#include <QSerialPort>

/**
 * The serial link to the device's MCUs: opens one port, writes frames at once and hands on every
 * chunk that arrives. Does no framing.
 */
class CoreCOMQ : public QObject
{
    Q_OBJECT

public:
    explicit CoreCOMQ(QObject *parent = nullptr);

    /**
     * Opens `portName` (a name such as "ttyS2" or a path), closing what was open before, and then
     * applies the settings. Data bits other than 5 to 8, stop bits other than 1 and 2 and unknown
     * parity names leave that setting as it is. Returns whether the port opened.
     */
    virtual bool open(const QString &portName, int baudRate, int dataBits, int stopBits,
                      const QString &parity);
    virtual void close();
    virtual bool isOpen() const;

    /** Writes one frame and expects a reply from now on. False when the write failed. */
    bool sendMsg(const unsigned char *bytes, int length);

    /** Writes a text command. Its length counts in 8 bits and at most 99 bytes of it go out. */
    bool sendText(const QString &command);

    static QList<QString> listPorts();

signals:
    void signalReceiveDatas(QByteArray datas);

public slots:
    void recvMsg();

protected:
    /** Hands bytes to the port; -1 on an error. */
    virtual qint64 writeBytes(const char *bytes, qint64 length);

private:
    void closeBrokenPort(QSerialPort::SerialPortError error);

    QSerialPort *m_port;
};
