// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "support/FewDescriptors.h"
#include "support/TestCase.h"

#include <QSignalSpy>
#include <QTcpServer>
#include <QtTest>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

namespace tst_clients {

namespace {

const QByteArray versionReply = "VERSION||1.15\r\n";

int clientsOf(const ConsoleBench &bench)
{
    const QList<QTcpSocket *> sockets = bench.server->findChildren<QTcpSocket *>();
    return int(std::count_if(sockets.begin(), sockets.end(), [](const QTcpSocket *socket) {
        return socket->state() == QAbstractSocket::ConnectedState;
    }));
}

/** Ends the connection with a reset instead of an orderly close. */
void reset(QTcpSocket &socket)
{
    const linger none = {1, 0};
    setsockopt(int(socket.socketDescriptor()), SOL_SOCKET, SO_LINGER, &none, sizeof none);
    socket.abort();
}

/** A client with replies that it leaves unread, which has closed its side. */
struct HalfClosed
{
    explicit HalfClosed(std::chrono::milliseconds limit)
    {
        bench.platform.timeOuts.halfClosedClient = limit;
        bench.start();
        client = std::make_unique<ConsoleTestClient>(bench.server->port());
        client->socket.setReadBufferSize(1024);
        client->send("HEARTBEAT\r\n");
        if (!waitFor([&] { return client->socket.bytesAvailable() == 11; }))
            qFatal("no answer");
        accepted = bench.accepted(*client);
        const QString line(64 * 1024, 'x');
        for (int i = 0; i < lines; ++i)
            bench.report({line});
        shutdown(int(client->socket.socketDescriptor()), SHUT_WR);
    }

    static constexpr int lines = 150;
    ConsoleBench bench;
    std::unique_ptr<ConsoleTestClient> client;
    QTcpSocket *accepted = nullptr;
};

} // namespace

class TestClients : public QObject
{
    Q_OBJECT

private slots:
    /** A character cut by a read becomes two marks and never harms the words around it. */
    void splitCharacter()
    {
        ConsoleBench bench;
        bench.recordRequests();
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send("UPGRADE||M\xc3");
        QVERIFY(bench.settle());
        client.send("\xa4,0,1\r\n");
        QTRY_COMPARE(bench.requests.size(), 3);
        QVERIFY(bench.requests.last().startsWith("upload FW.fwm M"));
        QVERIFY(bench.requests.last().endsWith(",0,1 2"));

        ConsoleBench whole;
        whole.recordRequests();
        whole.start();
        ConsoleTestClient other(whole.server->port());
        other.send("UPGRADE||M\xc3\xa4,0,1\r\n");
        QTRY_COMPARE(whole.requests.size(), 3);
        QCOMPARE(whole.requests.last(), QString::fromUtf8("upload FW.fwm M\xc3\xa4,0,1 2"));
    }

    void zeroBytes()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.send(QByteArray("x\0y\r\nVERSION\r\n", 14));
        QTRY_COMPARE(client.received(), "UPGRADELOG||Unknow command.\r\n" + versionReply);
    }

    void addressWithoutPrefix()
    {
        ConsoleBench bench;
        bench.start();
        QTcpSocket six;
        six.connectToHost("::1", bench.server->port());
        if (!six.waitForConnected(1000))
            QSKIP("no IPv6 here");
        six.write("VERSION\r\n");
        QTRY_COMPARE(six.bytesAvailable(), qint64(versionReply.size()));
        ConsoleTestClient four(bench.server->port());
        four.send("VERSION\r\n");
        QTRY_COMPARE(four.received(), versionReply);
    }

    void lowDelay()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QTRY_COMPARE(clientsOf(bench), 1);
        QTcpSocket *accepted = bench.server->findChildren<QTcpSocket *>().first();
        QCOMPARE(accepted->socketOption(QAbstractSocket::LowDelayOption).toInt(), 1);
    }

    void manyClients()
    {
        ConsoleBench bench;
        bench.start();
        std::vector<std::unique_ptr<ConsoleTestClient>> clients;
        for (int i = 0; i < 200; ++i) {
            clients.push_back(std::make_unique<ConsoleTestClient>(bench.server->port()));
            QCoreApplication::processEvents();
        }
        for (const auto &client : clients)
            client->send("HEARTBEAT\r\nVERSION\r\n");
        for (const auto &client : clients)
            QTRY_COMPARE(client->received(), "HEARTBEAT\r\n" + versionReply);
        clients.clear();
        QTRY_COMPARE(clientsOf(bench), 0);
    }

    void resets()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient steady(bench.server->port());
        for (int i = 0; i < 200; ++i) {
            QTcpSocket socket;
            socket.connectToHost("127.0.0.1", bench.server->port());
            QVERIFY(socket.waitForConnected());
            socket.write(i % 2 == 0 ? "GETFIRMWARELIST\r\n" : "GETFIRMWARELIST\r\nHEARTB");
            socket.flush();
            if (i % 3 == 0)
                QCoreApplication::processEvents();
            reset(socket);
            if (i % 20 == 0) {
                steady.forget();
                steady.send("VERSION\r\n");
                QTRY_VERIFY(steady.received().contains(versionReply));
            }
        }
        QTRY_COMPARE(clientsOf(bench), 1);
        steady.forget();
        steady.send("VERSION\r\n");
        QTRY_VERIFY(steady.received().contains(versionReply));
    }

    void unreadRepliesOfOneClient()
    {
        ConsoleBench bench;
        bench.platform.limits.unreadReplies = qint64(1024) * 1024;
        bench.start();
        ConsoleTestClient steady(bench.server->port());
        ConsoleTestClient idle(bench.server->port());
        idle.socket.setReadBufferSize(1024);
        idle.send("HEARTBEAT\r\n");
        QTRY_COMPARE(clientsOf(bench), 2);
        QTRY_COMPARE(idle.socket.bytesAvailable(), qint64(11));

        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("a client does not read.*"));
        const QString line(64 * 1024, 'x');
        int lines = 0;
        for (; lines < 1000 && clientsOf(bench) == 2; ++lines) {
            bench.report({line});
            QCoreApplication::processEvents();
        }
        QVERIFY(lines < 1000);
        steady.send("VERSION\r\n");
        QTRY_COMPARE(steady.received(), versionReply);
    }

    void keepAlive()
    {
        ConsoleBench bench;
        bench.start();
        const ConsoleTestClient client(bench.server->port());
        QTRY_COMPARE(clientsOf(bench), 1);
        const int handle = int(bench.accepted(client)->socketDescriptor());
        const auto option = [handle](int level, int name) {
            int value = -1;
            socklen_t size = sizeof value;
            getsockopt(handle, level, name, &value, &size);
            return value;
        };
        QCOMPARE(option(SOL_SOCKET, SO_KEEPALIVE), 1);
        QCOMPARE(option(IPPROTO_TCP, TCP_KEEPIDLE), 60);
        QCOMPARE(option(IPPROTO_TCP, TCP_KEEPINTVL), 10);
        QCOMPARE(option(IPPROTO_TCP, TCP_KEEPCNT), 3);
    }

    /** Its end of the connection is gone, and no packet has said so. */
    void clientThatVanishes()
    {
        ConsoleBench bench;
        bench.platform.keepAlive = {std::chrono::seconds(1), std::chrono::seconds(1), 2};
        bench.start();
        ConsoleTestClient steady(bench.server->port());
        auto vanishing = std::make_unique<ConsoleTestClient>(bench.server->port());
        vanishing->send("VERSION\r\n");
        QTRY_COMPARE(vanishing->received(), versionReply);
        QCOMPARE(clientsOf(bench), 2);
        // A socket in this mode is closed without a word to its peer.
        const int on = 1;
        if (setsockopt(int(vanishing->socket.socketDescriptor()), IPPROTO_TCP, TCP_REPAIR, &on,
                       sizeof on) != 0)
            QSKIP("needs the right to administer the network");
        vanishing->socket.abort();
        QTRY_COMPARE(clientsOf(bench), 1);
        steady.send("VERSION\r\n");
        QTRY_COMPARE(steady.received(), versionReply);
    }

    /** Who has asked all there is to ask still gets every reply. */
    void halfClosedClient()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        client.socket.setReadBufferSize(1024);
        client.send("HEARTBEAT\r\n");
        QTRY_COMPARE(client.socket.bytesAvailable(), qint64(11));
        const QString line(64 * 1024, 'x');
        constexpr int lines = 150;
        for (int i = 0; i < lines; ++i)
            bench.report({line});
        const auto *const accepted = bench.server->findChild<QTcpSocket *>();
        QVERIFY(accepted->bytesToWrite() > 0);
        shutdown(int(client.socket.socketDescriptor()), SHUT_WR);
        QTRY_COMPARE(accepted->state(), QAbstractSocket::ClosingState);

        QByteArray expected = "HEARTBEAT\r\n";
        for (int i = 0; i < lines; ++i)
            expected += "UPGRADELOG||" + line.toLatin1() + "\r\n";
        client.socket.setReadBufferSize(0);
        QTRY_COMPARE(client.received().size(), expected.size());
        QCOMPARE(client.received(), expected);
        QTRY_COMPARE(clientsOf(bench), 0);
        QTRY_COMPARE(client.socket.state(), QAbstractSocket::UnconnectedState);
    }

    void halfClosedClientThatReadsNothing()
    {
        HalfClosed fixture(std::chrono::milliseconds(200));
        QTRY_COMPARE(fixture.accepted->state(), QAbstractSocket::ClosingState);
        QElapsedTimer time;
        time.start();
        QTRY_COMPARE(fixture.bench.server->findChildren<QTcpSocket *>().size(), 0);
        QVERIFY(time.elapsed() >= 150);
        ConsoleTestClient other(fixture.bench.server->port());
        other.send("VERSION\r\n");
        QTRY_COMPARE(other.received(), versionReply);
    }

    /** The limit is for a client that takes nothing, however long all of it takes. */
    void halfClosedClientThatReadsSlowly()
    {
        HalfClosed fixture(std::chrono::milliseconds(1000));
        QTRY_COMPARE(fixture.accepted->state(), QAbstractSocket::ClosingState);
        const qint64 all = qint64(HalfClosed::lines) * (64 * 1024 + 14) + 11;
        QElapsedTimer time;
        time.start();
        qint64 got = 0;
        fixture.client->socket.setReadBufferSize(256 * 1024);
        while (got < all && fixture.client->socket.state() != QAbstractSocket::UnconnectedState) {
            got += fixture.client->socket.readAll().size();
            QTest::qWait(50);
        }
        got += fixture.client->socket.readAll().size();
        QCOMPARE(got, all);
        QVERIFY(time.elapsed() > 1000);
        QTRY_COMPARE(fixture.bench.server->findChildren<QTcpSocket *>().size(), 0);
    }

    void manyRepliesOfOneRead()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleTestClient client(bench.server->port());
        QByteArray requests;
        QByteArray replies;
        for (int i = 0; i < 20'000; ++i) {
            requests += "VERSION\r\n";
            replies += versionReply;
        }
        client.send(requests);
        QTRY_COMPARE(client.received().size(), replies.size());
        QCOMPARE(client.received(), replies);
    }

    void outOfDescriptors()
    {
        constexpr int places = 40;
        ConsoleBench bench;
        bench.start();
        // 128 are kept for other uses.
        const FewDescriptors few(128 + places);
        std::vector<std::unique_ptr<ConsoleTestClient>> clients;
        for (int i = 0; i < places - 1; ++i)
            clients.push_back(std::make_unique<ConsoleTestClient>(bench.server->port()));
        QTRY_COMPARE(clientsOf(bench), places - 1);
        QTest::ignoreMessage(QtWarningMsg, "no more clients are accepted for now: 40");
        ConsoleTestClient last(bench.server->port());
        last.send("VERSION\r\n");
        QTRY_COMPARE(last.received(), versionReply);

        ConsoleTestClient waiting(bench.server->port());
        waiting.send("VERSION\r\n");
        last.send("VERSION\r\n");
        QTRY_COMPARE(last.received(), versionReply + versionReply);
        QCOMPARE(clientsOf(bench), places);
        QCOMPARE(waiting.received(), QByteArray());
        clients.clear();
        QTRY_COMPARE(waiting.received(), versionReply);
    }

    void secondServerOnThePort()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleBench other;
        other.platform.ports.console = bench.server->port();
        other.start();
        QCOMPARE(other.server->port(), quint16(0));
        QCOMPARE(other.server->listenError(), QString("The bound address is already in use"));
        QCOMPARE(bench.server->listenError(), QString());
        ConsoleTestClient client(bench.server->port());
        client.send("VERSION\r\n");
        QTRY_COMPARE(client.received(), versionReply);
    }

    void destroyedWithClients()
    {
        ConsoleBench bench;
        bench.platform.timeOuts.clientDisconnect = std::chrono::milliseconds(50);
        bench.start();
        ConsoleTestClient first(bench.server->port());
        ConsoleTestClient second(bench.server->port());
        ConsoleTestClient third(bench.server->port());
        QTRY_COMPARE(clientsOf(bench), 3);
        // The first one leaves replies unread, so closing its connection has to wait.
        QVERIFY(first.becomeTarget());
        first.socket.setReadBufferSize(1024);
        bench.report({QString(10'000'000, 'x')});
        QVERIFY(bench.accepted(first)->bytesToWrite() > 0);
        bench.server.reset();
        first.socket.setReadBufferSize(0);
        QTRY_COMPARE(first.socket.state(), QAbstractSocket::UnconnectedState);
        QTRY_COMPARE(second.socket.state(), QAbstractSocket::UnconnectedState);
        QTRY_COMPARE(third.socket.state(), QAbstractSocket::UnconnectedState);
    }

    void restarts()
    {
        for (int i = 0; i < 5; ++i) {
            ConsoleBench bench;
            bench.start();
            ConsoleTestClient client(bench.server->port());
            client.send("UPGRADE||MAIN,0,1\r\n");
            QTRY_VERIFY(client.received().contains("UPGRADEFAIL"));
        }
    }
};

AGENT_TEST(TestClients)

} // namespace tst_clients

#include "tst_clients.moc"
