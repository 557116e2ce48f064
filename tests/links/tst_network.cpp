// SPDX-License-Identifier: Apache-2.0
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

namespace tst_network {

using links::DeviceLink;

namespace {

/** A device's end of network links: keeps every connection it was ever asked for. */
struct Device
{
    QTcpServer server;
    QList<QTcpSocket *> sockets;

    Device()
    {
        QObject::connect(&server, &QTcpServer::newConnection, &server,
                         [this] { sockets.append(server.nextPendingConnection()); });
        if (!server.listen(QHostAddress::LocalHost))
            qFatal("cannot listen");
    }

    bool take(CoreTelnet &link)
    {
        const int before = sockets.size();
        link.connectTo(QStringLiteral("127.0.0.1"), server.serverPort());
        return waitFor([&] { return link.isOpen() && sockets.size() > before; });
    }

    QByteArray read(int socket, int count)
    {
        QByteArray all;
        waitFor([&] { return (all += sockets.at(socket)->readAll()).size() >= count; }, 5'000);
        return all;
    }
};

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    void metaObject()
    {
        QStringList methods;
        const QMetaObject &meta = CoreTelnet::staticMetaObject;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            methods.append(QString::fromLatin1(meta.method(i).methodSignature()));
        methods.replaceInStrings("QStringList", "QList<QString>"); // Qt 6 records the other name
        QCOMPARE(methods, QStringList({"read(QByteArray)", "message(QList<QString>)", "connected()",
                                       "disconnected()", "readTcpData()", "socketConnected()",
                                       "socketConnectionClosed()"}));
    }

    void connectsWritesReads()
    {
        Device device;
        CoreTelnet link;
        QByteArray received;
        connect(&link, &CoreTelnet::read, &link, [&](const QByteArray &data) { received += data; });
        QSignalSpy connected(&link, &CoreTelnet::connected);
        QVERIFY(device.take(link));
        QCOMPARE(connected.count(), 1);

        QVERIFY(link.write(QByteArray("frame")));
        const unsigned char bytes[] = {0x00, 0x5A, 0xFF};
        QVERIFY(link.write(bytes, 3));
        QCOMPARE(device.read(0, 8), QByteArray("frame\x00\x5a\xff", 8));

        device.sockets.first()->write(QByteArray("\x5b\x00", 2));
        QVERIFY(waitFor([&] { return received.size() == 2; }));
        QCOMPARE(received, QByteArray("\x5b\x00", 2));
    }

    void writeBeforeConnected()
    {
        Device device;
        CoreTelnet link;
        link.connectTo(QStringLiteral("127.0.0.1"), device.server.serverPort());
        QVERIFY(!link.write(QByteArray("too early")));
        QVERIFY(waitFor([&] { return link.isOpen() && !device.sockets.isEmpty(); }));
        QVERIFY(link.write(QByteArray("|")));
        QCOMPARE(device.read(0, 1), QByteArray("|"));
    }

    void writeWithoutSocket()
    {
        CoreTelnet link;
        QVERIFY(!link.write(QByteArray("lost")));
        // The link is marked as connected, but has no socket: the write succeeds and has no effect.
        link.socketConnected();
        QVERIFY(link.write(QByteArray("lost")));
        link.readTcpData();
        link.close();
        QVERIFY(!link.write(QByteArray("lost")));
    }

    void secondConnectDropsTheFirst()
    {
        Device device;
        CoreTelnet link;
        QByteArray received;
        connect(&link, &CoreTelnet::read, &link, [&](const QByteArray &data) { received += data; });
        QVERIFY(device.take(link));
        device.sockets.first()->write("late words of the first");
        device.sockets.first()->flush();
        link.connectTo(QStringLiteral("127.0.0.1"), device.server.serverPort());
        QVERIFY(!link.isOpen());
        QVERIFY(waitFor([&] { return link.isOpen() && device.sockets.size() == 2; }));
        QVERIFY(waitFor(
            [&] { return device.sockets.first()->state() == QAbstractSocket::UnconnectedState; }));
        // The first one's end and its bytes are nothing to the second.
        settle();
        QVERIFY(link.isOpen());
        QVERIFY(received.isEmpty());
        QVERIFY(link.write(QByteArray("second")));
        QCOMPARE(device.read(1, 6), QByteArray("second"));
    }

    void connectWhileConnecting()
    {
        Device device;
        CoreTelnet link;
        QSignalSpy connected(&link, &CoreTelnet::connected);
        QSignalSpy disconnected(&link, &CoreTelnet::disconnected);
        link.connectTo(QStringLiteral("127.0.0.1"), device.server.serverPort());
        link.connectTo(QStringLiteral("127.0.0.1"), device.server.serverPort());
        QVERIFY(waitFor([&] { return link.isOpen(); }));
        settle();
        QCOMPARE(connected.count(), 1);
        QCOMPARE(disconnected.count(), 0);
    }

    void closes()
    {
        Device device;
        CoreTelnet link;
        QVERIFY(device.take(link));
        QVERIFY(link.write(QByteArray("last words")));
        link.close();
        QVERIFY(!link.isOpen());
        QVERIFY(!link.write(QByteArray("too late")));
        // What was written before still arrives, and then the connection ends.
        QCOMPARE(device.read(0, 10), QByteArray("last words"));
        QVERIFY(waitFor(
            [&] { return device.sockets.first()->state() == QAbstractSocket::UnconnectedState; }));
        link.close();
    }

    /** The old socket's end comes late and is nothing to the new one. */
    void closedWithMuchPending()
    {
        Device device;
        CoreTelnet link;
        QSignalSpy disconnected(&link, &CoreTelnet::disconnected);
        QVERIFY(device.take(link));
        QVERIFY(link.write(QByteArray(20 * 1024 * 1024, 'x')));
        link.close();
        QVERIFY(device.take(link));
        QVERIFY(waitFor(
            [&] { return device.sockets.first()->state() == QAbstractSocket::UnconnectedState; }));
        settle();
        QVERIFY(link.isOpen());
        QCOMPARE(disconnected.count(), 0);
        QVERIFY(link.write(QByteArray("second")));
        QCOMPARE(device.read(1, 6), QByteArray("second"));
    }

    void peerCloses()
    {
        Device device;
        CoreTelnet link;
        QSignalSpy disconnected(&link, &CoreTelnet::disconnected);
        QVERIFY(device.take(link));
        device.sockets.first()->close();
        QVERIFY(waitFor([&] { return disconnected.count() == 1; }));
        QVERIFY(!link.isOpen());
        QVERIFY(!link.write(QByteArray("lost")));
    }

    void peerIsAbsent()
    {
        quint16 port = 0;
        {
            QTcpServer server;
            QVERIFY(server.listen(QHostAddress::LocalHost));
            port = server.serverPort();
        }
        CoreTelnet link;
        QSignalSpy connected(&link, &CoreTelnet::connected);
        QSignalSpy disconnected(&link, &CoreTelnet::disconnected);
        link.connectTo(QStringLiteral("127.0.0.1"), port);
        QTimer some;
        some.setSingleShot(true);
        some.start(100);
        QVERIFY(waitFor([&] { return !some.isActive(); }));
        QCOMPARE(connected.count() + disconnected.count(), 0);
        QVERIFY(!link.isOpen());
    }

    void connectsAgainAfterTheEnd()
    {
        Device device;
        CoreTelnet link;
        for (int turn = 0; turn < 3; ++turn) {
            QVERIFY(device.take(link));
            device.sockets.last()->abort();
            QVERIFY(waitFor([&] { return !link.isOpen(); }));
        }
    }

    void deletedWhileOpen()
    {
        Device device;
        {
            CoreTelnet link;
            QVERIFY(device.take(link));
        }
        settle();
        QVERIFY(waitFor(
            [&] { return device.sockets.first()->state() == QAbstractSocket::UnconnectedState; }));
    }

    /** The link itself leaves key and flag alone; its owner may hook in. */
    void hookSeesEveryFrame()
    {
        Device device;
        CoreTelnet link;
        canRead = false;
        currentCommandKey = 0;
        QVERIFY(device.take(link));
        QVERIFY(link.write(QByteArray(9, 'x')));
        QVERIFY(!canRead);
        QCOMPARE(currentCommandKey, quint16(0));

        QList<QByteArray> seen;
        link.setFrameHook([&](const QByteArray &frame) { seen.append(frame); });
        QVERIFY(link.write(QByteArray("one")));
        QVERIFY(link.write(QByteArray("two")));
        QCOMPARE(seen, QList<QByteArray>({"one", "two"}));
        link.close();
        QVERIFY(!link.write(QByteArray("three")));
        QCOMPARE(seen.size(), 2);
    }

    void asADeviceLink()
    {
        Device device;
        CoreTelnet network;
        DeviceLink &link = network;
        QSignalSpy opened(&link, &DeviceLink::opened);
        QSignalSpy received(&link, &DeviceLink::received);
        QSignalSpy lost(&link, &DeviceLink::lost);
        QCOMPARE(QByteArray(link.label()), QByteArray("net"));
        QVERIFY(!link.openAt(QStringLiteral("127.0.0.1"), device.server.serverPort()));
        QVERIFY(!link.send("too early"));
        QVERIFY(waitFor([&] { return opened.count() == 1 && device.sockets.size() == 1; }));
        QVERIFY(link.isOpen());
        QVERIFY(link.send("frame"));
        QCOMPARE(device.read(0, 5), QByteArray("frame"));
        device.sockets.first()->write("reply");
        QVERIFY(waitFor([&] { return received.count() == 1; }));
        QCOMPARE(received.first().first().toByteArray(), QByteArray("reply"));
        device.sockets.first()->close();
        QVERIFY(waitFor([&] { return lost.count() == 1; }));
        QVERIFY(!link.isOpen());
    }
};

AGENT_TEST(TestNetwork)

} // namespace tst_network

#include "tst_network.moc"
