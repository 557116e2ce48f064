// SPDX-License-Identifier: Apache-2.0
// The limit of a stop-and-wait sender with Qt: QSerialPort, one time-out, and nothing else.
#include "reference/BlockStream.h"

#include <QCoreApplication>
#include <QSerialPort>
#include <QTimer>

#include <chrono>
#include <cstdio>

namespace {

constexpr std::chrono::seconds replyTimeOut{15};

class QtSender
{
public:
    QtSender(const QString &device, quint8 chipType, quint8 chipIndex, int blocks)
        : m_stream(chipType, chipIndex, blocks)
    {
        m_port.setPortName(device);
        m_timeOut.setSingleShot(true);
        m_timeOut.setInterval(replyTimeOut);
        QObject::connect(&m_port, &QSerialPort::readyRead, &m_port, [this] { takeReply(); });
        QObject::connect(&m_timeOut, &QTimer::timeout, [] { QCoreApplication::exit(1); });
    }

    bool start()
    {
        if (!m_port.open(QIODevice::ReadWrite))
            return false;
        m_port.setBaudRate(QSerialPort::Baud57600);
        sendNext();
        return true;
    }

private:
    void takeReply()
    {
        const QByteArray bytes = m_port.readAll();
        switch (m_stream.take(bytes.constData(), size_t(bytes.size()))) {
        case BlockStream::Reply::Incomplete:
            break;
        case BlockStream::Reply::Accepted:
            sendNext();
            break;
        case BlockStream::Reply::Refused:
            QCoreApplication::exit(1);
            break;
        }
    }

    void sendNext()
    {
        m_timeOut.stop();
        if (!m_stream.next()) {
            QCoreApplication::exit(0);
            return;
        }
        m_port.write(m_stream.frame(), qint64(m_stream.frameSize()));
        m_port.flush();
        m_timeOut.start();
    }

    BlockStream m_stream;
    QSerialPort m_port;
    QTimer m_timeOut;
};

} // namespace

int main(int argc, char **argv)
{
    // Both sides of every comparison use Qt's faster event loop.
    qputenv("QT_NO_GLIB", "1");
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 5) {
        std::fputs("usage: qt-sender DEVICE CHIP-TYPE CHIP-INDEX BLOCKS\n", stderr);
        return 2;
    }
    QtSender sender(arguments[1], quint8(arguments[2].toUInt()), quint8(arguments[3].toUInt()),
                    arguments[4].toInt());
    if (!sender.start()) {
        std::fputs("qt-sender: cannot open the device\n", stderr);
        return 1;
    }
    return QCoreApplication::exec();
}
