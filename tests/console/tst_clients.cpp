// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "support/FewDescriptors.h"
#include "support/TestCase.h"

#include <netinet/in.h>
#include <netinet/tcp.h>

namespace tst_clients {

using namespace std::chrono_literals;

namespace {

const QByteArray versionReply = "VERSION||1.15\r\n";

/** A client with lines that it leaves unread, which has closed its side. */
struct HalfClosed : ConsoleSession
{
    explicit HalfClosed(std::chrono::milliseconds limit)
        : ConsoleSession(
              [&](ConsoleBench &bench) { bench.platform.timeOuts.halfClosedClient = limit; })
    {
        client->socket.setReadBufferSize(1024);
        for (int i = 0; i < lines; ++i)
            report({line});
        QVERIFY(accepted(*client)->bytesToWrite() > 0);
        client->closeItsSide();
        QTRY_COMPARE(accepted(*client)->state(), QAbstractSocket::ClosingState);
    }

    QByteArray expected() const
    {
        return ("UPGRADELOG||" + line.toLatin1() + "\r\n").repeated(lines);
    }

    static constexpr int lines = 150;
    const QString line = QString(64 * 1024, 'x');
};

} // namespace

class TestClients : public QObject
{
    Q_OBJECT

private slots:
    void options()
    {
        ConsoleSession session;
        const int handle = int(session.accepted(*session.client)->socketDescriptor());
        const auto option = [handle](int level, int name) {
            int value = -1;
            socklen_t size = sizeof value;
            getsockopt(handle, level, name, &value, &size);
            return value;
        };
        QCOMPARE(option(IPPROTO_TCP, TCP_NODELAY), 1);
        QCOMPARE(option(SOL_SOCKET, SO_KEEPALIVE), 1);
        QCOMPARE(option(IPPROTO_TCP, TCP_KEEPIDLE), 60);
        QCOMPARE(option(IPPROTO_TCP, TCP_KEEPINTVL), 10);
        QCOMPARE(option(IPPROTO_TCP, TCP_KEEPCNT), 3);
    }

    /** Its end of the connection is gone, and no packet has said so. */
    void clientThatVanishes()
    {
        ConsoleSession session([](ConsoleBench &bench) { bench.platform.keepAlive = {1s, 1s, 2}; });
        const auto vanishing = session.connectClient();
        QCOMPARE(session.connections(), 2);
        // A socket in this mode is closed without a word to its peer.
        const int on = 1;
        if (setsockopt(int(vanishing->socket.socketDescriptor()), IPPROTO_TCP, TCP_REPAIR, &on,
                       sizeof on) != 0)
            QSKIP("needs the right to administer the network");
        vanishing->socket.abort();
        QTRY_COMPARE(session.connections(), 1);
        QVERIFY(session.client->becomeTarget());
    }

    /** A client that has sent its last request still gets every reply. */
    void halfClosedClient()
    {
        HalfClosed session(1h);
        session.client->socket.setReadBufferSize(0);
        QTRY_COMPARE(session.client->received().size(), session.expected().size());
        QCOMPARE(session.client->received(), session.expected());
        QTRY_COMPARE(session.connections(), 0);
        QTRY_COMPARE(session.client->socket.state(), QAbstractSocket::UnconnectedState);
    }

    void halfClosedClientThatReadsNothing()
    {
        HalfClosed session(200ms);
        QElapsedTimer time;
        time.start();
        QTRY_COMPARE(session.connections(), 0);
        QVERIFY(time.elapsed() >= 150);
        QVERIFY(session.connectClient());
    }

    /** The limit is for a client that takes nothing, however long all of it takes. */
    void halfClosedClientThatReadsSlowly()
    {
        HalfClosed session(1s);
        QTcpSocket &socket = session.client->socket;
        QElapsedTimer time;
        time.start();
        socket.setReadBufferSize(256 * 1024);
        while (session.client->received().size() < session.expected().size() &&
               socket.state() != QAbstractSocket::UnconnectedState)
            QTest::qWait(50);
        QCOMPARE(session.client->received(), session.expected());
        QVERIFY(time.elapsed() > 1000);
        QTRY_COMPARE(session.connections(), 0);
    }

    void manyRepliesOfOneRead()
    {
        ConsoleSession session;
        session.client->send(QByteArray("VERSION\r\n").repeated(20'000));
        const QByteArray replies = versionReply.repeated(20'000);
        QTRY_COMPARE(session.client->received().size(), replies.size());
        QCOMPARE(session.client->received(), replies);
    }

    void outOfDescriptors()
    {
        // 128 are kept for other uses.
        const FewDescriptors few(128 + 3);
        ConsoleSession session;
        const auto second = session.connectClient();
        QTest::ignoreMessage(QtWarningMsg, "no more clients are accepted for now: 3");
        const auto last = session.connectClient();
        QVERIFY(last->becomeTarget());

        ConsoleTestClient waiting(session.server->port());
        waiting.send("VERSION\r\n");
        QVERIFY(last->becomeTarget());
        QCOMPARE(session.connections(), 3);
        QCOMPARE(waiting.received(), QByteArray());
        second->socket.abort();
        QTRY_COMPARE(waiting.received(), versionReply);
    }

    void destroyedWithClients()
    {
        ConsoleSession session(
            [](ConsoleBench &bench) { bench.platform.timeOuts.clientDisconnect = 50ms; });
        const auto second = session.connectClient();
        const auto third = session.connectClient();
        // The first one leaves replies unread, so closing its connection has to wait.
        QVERIFY(session.client->becomeTarget());
        session.client->socket.setReadBufferSize(1024);
        session.report({QString(10'000'000, 'x')});
        QVERIFY(session.accepted(*session.client)->bytesToWrite() > 0);
        session.server.reset();
        session.client->socket.setReadBufferSize(0);
        for (const ConsoleTestClient *client : {session.client.get(), second.get(), third.get()})
            QTRY_COMPARE(client->socket.state(), QAbstractSocket::UnconnectedState);
    }
};

AGENT_TEST(TestClients)

} // namespace tst_clients

#include "tst_clients.moc"
