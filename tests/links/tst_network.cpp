// SPDX-License-Identifier: Apache-2.0
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "support/DeclaredMethods.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

namespace tst_network {

using links::DeviceLink;

namespace {

/** A link, all that it reports, and the device's end, which keeps every connection. */
struct Network
{
    QTcpServer server;
    QList<QTcpSocket *> sockets;
    CoreTelnet link;
    QByteArray received;
    QSignalSpy connected{&link, &CoreTelnet::connected};
    QSignalSpy disconnected{&link, &CoreTelnet::disconnected};

    Network()
    {
        QObject::connect(&server, &QTcpServer::newConnection, &server,
                         [this] { sockets.append(server.nextPendingConnection()); });
        QObject::connect(&link, &CoreTelnet::read, &link,
                         [this](const QByteArray &data) { received += data; });
        if (!server.listen(QHostAddress::LocalHost))
            qFatal("cannot listen");
    }

    void connectLink() { link.connectTo(QStringLiteral("127.0.0.1"), server.serverPort()); }

    bool isConnected(int count)
    {
        return waitFor([&] { return link.isOpen() && sockets.size() == count; });
    }

    bool open()
    {
        connectLink();
        return isConnected(sockets.size() + 1);
    }

    QByteArray read(int socket, int count)
    {
        QByteArray all;
        waitFor([&] { return (all += sockets.at(socket)->readAll()).size() >= count; }, 5'000);
        return all;
    }

    bool firstEnds()
    {
        return waitFor([this] { return sockets[0]->state() == QAbstractSocket::UnconnectedState; });
    }
};

} // namespace

class TestNetwork : public QObject
{
    Q_OBJECT

private slots:
    void metaObject()
    {
        QCOMPARE(declaredMethods(CoreTelnet::staticMetaObject),
                 (QStringList{"signal read(QByteArray) data", "signal message(QStringList) message",
                              "signal connected()", "signal disconnected()", "slot readTcpData()",
                              "slot socketConnected()", "slot socketConnectionClosed()"}));
    }

    void asADeviceLink()
    {
        Network network;
        DeviceLink &link = network.link;
        QSignalSpy opened(&link, &DeviceLink::opened);
        QByteArray received;
        connect(&link, &DeviceLink::received, [&](const QByteArray &chunk) { received += chunk; });
        QSignalSpy lost(&link, &DeviceLink::lost);
        QCOMPARE(QByteArray(link.label()), QByteArray("net"));
        QVERIFY(!link.openAt(QStringLiteral("127.0.0.1"), network.server.serverPort()));
        QVERIFY(!link.send("too early"));
        QVERIFY(network.isConnected(1));
        QCOMPARE(opened.count(), 1);
        QVERIFY(link.send("frame"));
        const unsigned char bytes[] = {0x00, 0x5A, 0xFF};
        QVERIFY(network.link.write(bytes, 3));
        QCOMPARE(network.read(0, 8), QByteArray("frame\x00\x5a\xff", 8));
        network.sockets[0]->write(QByteArray("\x5b\x00", 2));
        QVERIFY(waitFor([&] { return received.size() == 2; }));
        QCOMPARE(received, QByteArray("\x5b\x00", 2));
        QCOMPARE(network.received, received);
        network.sockets[0]->close();
        QVERIFY(waitFor([&] { return lost.count() == 1; }));
        QVERIFY(!link.isOpen());
        QVERIFY(!link.send("lost"));
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
        Network network;
        QVERIFY(network.open());
        network.sockets[0]->write("late words of the first");
        network.sockets[0]->flush();
        network.connectLink();
        QVERIFY(!network.link.isOpen());
        QVERIFY(network.isConnected(2));
        QVERIFY(network.firstEnds());
        // The first one's end and its bytes are nothing to the second.
        settle();
        QVERIFY(network.link.isOpen());
        QVERIFY(network.received.isEmpty());
        QVERIFY(network.link.write(QByteArray("second")));
        QCOMPARE(network.read(1, 6), QByteArray("second"));
    }

    void connectWhileConnecting()
    {
        Network network;
        network.connectLink();
        network.connectLink();
        QVERIFY(waitFor([&] { return network.link.isOpen(); }));
        settle();
        QCOMPARE(network.connected.count(), 1);
        QCOMPARE(network.disconnected.count(), 0);
    }

    void closes()
    {
        Network network;
        QVERIFY(network.open());
        QVERIFY(network.link.write(QByteArray("last words")));
        network.link.close();
        QVERIFY(!network.link.isOpen());
        QVERIFY(!network.link.write(QByteArray("too late")));
        // What was written before still arrives, and then the connection ends.
        QCOMPARE(network.read(0, 10), QByteArray("last words"));
        QVERIFY(network.firstEnds());
        network.link.close();
    }

    /** The old socket's end comes late and is nothing to the new one. */
    void closedWithMuchPending()
    {
        Network network;
        QVERIFY(network.open());
        QVERIFY(network.link.write(QByteArray(20 * 1024 * 1024, 'x')));
        network.link.close();
        QVERIFY(network.open());
        QVERIFY(network.firstEnds());
        settle();
        QVERIFY(network.link.isOpen());
        QCOMPARE(network.disconnected.count(), 0);
        QVERIFY(network.link.write(QByteArray("second")));
        QCOMPARE(network.read(1, 6), QByteArray("second"));
    }

    void peerIsAbsent()
    {
        Network network;
        const quint16 port = network.server.serverPort();
        network.server.close();
        network.link.connectTo(QStringLiteral("127.0.0.1"), port);
        QTimer some;
        some.setSingleShot(true);
        some.start(100);
        QVERIFY(waitFor([&] { return !some.isActive(); }));
        QCOMPARE(network.connected.count() + network.disconnected.count(), 0);
        QVERIFY(!network.link.isOpen());
    }

    void connectsAgainAfterTheEnd()
    {
        Network network;
        for (int turn = 0; turn < 3; ++turn) {
            QVERIFY(network.open());
            network.sockets.last()->abort();
            QVERIFY(waitFor([&] { return !network.link.isOpen(); }));
        }
    }

    void deletedWhileOpen()
    {
        Network network;
        {
            CoreTelnet link;
            link.connectTo(QStringLiteral("127.0.0.1"), network.server.serverPort());
            QVERIFY(waitFor([&] { return link.isOpen() && network.sockets.size() == 1; }));
        }
        settle();
        QVERIFY(network.firstEnds());
    }

    /** The link itself leaves key and flag alone; its owner may hook in. */
    void hookSeesEveryFrame()
    {
        Network network;
        canRead = false;
        currentCommandKey = 0;
        QVERIFY(network.open());
        QVERIFY(network.link.write(QByteArray(9, 'x')));
        QVERIFY(!canRead);
        QCOMPARE(currentCommandKey, quint16(0));

        QList<QByteArray> seen;
        network.link.setFrameHook([&](const QByteArray &frame) { seen.append(frame); });
        QVERIFY(network.link.write(QByteArray("one")));
        QVERIFY(network.link.write(QByteArray("two")));
        network.link.close();
        QVERIFY(!network.link.write(QByteArray("three")));
        QCOMPARE(seen, QList<QByteArray>({"one", "two"}));
    }
};

AGENT_TEST(TestNetwork)

} // namespace tst_network

#include "tst_network.moc"
