// SPDX-License-Identifier: Apache-2.0
// The limit of a line server with Qt: QTcpServer, a reply for each line, and nothing else.
#include <QCoreApplication>
#include <QTcpServer>
#include <QTcpSocket>

#include <cstdio>

namespace {

const QByteArray request = QByteArrayLiteral("HEARTBEAT\r\n");

void answerLines(QTcpSocket &socket)
{
    bool answered = false;
    while (socket.canReadLine()) {
        if (socket.readLine() == request) {
            socket.write(request);
            answered = true;
        }
    }
    if (answered)
        socket.flush();
}

void acceptClients(QTcpServer &server)
{
    while (QTcpSocket *socket = server.nextPendingConnection()) {
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        QObject::connect(socket, &QTcpSocket::readyRead, socket,
                         [socket] { answerLines(*socket); });
        QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    }
}

} // namespace

int main(int argc, char **argv)
{
    // Both sides of every comparison use Qt's faster event loop.
    qputenv("QT_NO_GLIB", "1");
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() != 2) {
        std::fputs("usage: qt-server PORT\n", stderr);
        return 2;
    }
    QTcpServer server;
    QObject::connect(&server, &QTcpServer::newConnection, [&server] { acceptClients(server); });
    if (!server.listen(QHostAddress::Any, quint16(arguments[1].toUInt()))) {
        std::fputs("qt-server: cannot listen\n", stderr);
        return 1;
    }
    return QCoreApplication::exec();
}
