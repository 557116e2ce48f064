// SPDX-License-Identifier: Apache-2.0
// The table of clients: who is in it, how many may be, and when their memory is given back.
#include "console/ConsoleClients.h"
#include "console/ConsoleEvents.h"
#include "console/FakeClients.h"
#include "support/FewDescriptors.h"
#include "support/TestCase.h"
#include "support/VirtualTime.h"

#include <QtTest>

namespace tst_client_table {

using console::ClientPointer;
using console::ConsoleClients;
using console::ConsoleEvents;
using console::ConsolePeer;
using platform::Platform;

using namespace std::chrono_literals;

namespace {

/** What clients must leave to other uses. */
constexpr int reserved = 128;

struct Table
{
    Table()
    {
        platform.limits.consoleLine = 50'000;
        platform.limits.allConsoleLines = 100'000;
        const auto note = [this](const char *what) {
            return [this, what](const ConsolePeer &peer, int count) {
                events.append(QString("%1 %2 of %3").arg(what).arg(peer.port).arg(count));
            };
        };
        QObject::connect(&log, &ConsoleEvents::clientCame, note("came"));
        QObject::connect(&log, &ConsoleEvents::clientLeft, note("left"));
    }

    ClientPointer add()
    {
        connections.emplace_back();
        return clients.add(connections.back(),
                           {QStringLiteral("10.0.0.1"), quint16(connections.size())});
    }

    void close(int index) { connections.at(size_t(index)).state = FakeConnection::State::Closed; }

    QList<quint16> ports() const
    {
        QList<quint16> ports;
        for (const ClientPointer &client : clients.all())
            ports.append(client->peer.port);
        return ports;
    }

    int givenBackAfter(std::chrono::milliseconds time) const
    {
        VirtualTime::instance().advance(time);
        return givenBack;
    }

    Platform platform;
    ConsoleEvents log;
    QStringList events;
    QList<bool> accepting;
    int givenBack = 0;
    std::deque<FakeConnection> connections;
    ConsoleClients clients{platform, log, [this](bool on) { accepting.append(on); },
                           [this] { ++givenBack; }};
};

} // namespace

class TestClientTable : public QObject
{
    Q_OBJECT

public:
    TestClientTable() { VirtualTime::instance(); }

private slots:
    void comingAndLeaving()
    {
        Table table;
        const ClientPointer first = table.add();
        const ClientPointer second = table.add();
        QCOMPARE(second->peer.port, quint16(2));
        QVERIFY(second->isConnected());
        first->framer.feed("half a line");
        QVERIFY(!first->framer.next());
        table.close(0);
        table.clients.removeClosed();
        QCOMPARE(table.ports(), QList<quint16>{2});
        QCOMPARE(table.connections.at(0).discards, 1);
        QCOMPARE(table.connections.at(1).discards, 0);
        QVERIFY(first->connection == nullptr);
        QVERIFY(!first->isConnected());
        QCOMPARE(first->framer.size(), 0);
        QCOMPARE(table.events, (QStringList{"came 1 of 1", "came 2 of 2", "left 1 of 1"}));
    }

    /** The second one is found by the call that its own disconnect makes. */
    void neighboursLeaveTogether()
    {
        Table table;
        for (int i = 0; i < 4; ++i)
            table.add();
        for (const int index : {0, 1, 3})
            table.close(index);
        table.clients.removeClosed();
        QCOMPARE(table.ports(), (QList<quint16>{2, 3}));
        table.clients.removeClosed();
        QCOMPARE(table.ports(), QList<quint16>{3});
        table.clients.removeClosed();
        QCOMPARE(table.ports(), QList<quint16>{3});
    }

    void closingIsNotClosed()
    {
        Table table;
        table.add();
        table.connections.at(0).state = FakeConnection::State::Closing;
        table.clients.removeClosed();
        QCOMPARE(table.ports(), QList<quint16>{1});
    }

    /** Every second one is left to the end of the listening socket. */
    void hangUp()
    {
        Table table;
        const std::chrono::milliseconds limit(77);
        table.platform.timeOuts.clientDisconnect = limit;
        for (int i = 0; i < 3; ++i)
            table.add();
        table.clients.hangUp();
        QCOMPARE(table.connections.at(0).hangUpLimit, limit);
        QVERIFY(table.connections.at(1).isConnected());
        QCOMPARE(table.connections.at(2).hangUpLimit, limit);
    }

    void lineLimitOfAClient()
    {
        Table table;
        const ClientPointer client = table.add();
        client->framer.feed(QString(50'001, 'x'));
        QVERIFY(!client->framer.next());
        QVERIFY(client->framer.takeOverflow());
    }

    void places()
    {
        Table table;
        const FewDescriptors few(reserved + 2);
        table.add();
        QVERIFY(table.accepting.isEmpty());
        QTest::ignoreMessage(QtWarningMsg, "no more clients are accepted for now: 2");
        table.add();
        QCOMPARE(table.accepting, QList<bool>{false});
        table.close(0);
        table.clients.removeClosed();
        QCOMPARE(table.accepting, (QList<bool>{false, true}));
    }

    void givesBack_data()
    {
        const tests::DataTable<bool, int, int> rows("isSlow", "text", "givenBack");
        rows("an ordinary client", false, 0, 0);
        rows("a client with a short line", false, 8'192, 0);
        rows("a client with a long line", false, 8'193, 1);
        rows("a client that had unread replies", true, 0, 1);
    }

    void givesBack()
    {
        QFETCH(bool, isSlow);
        QFETCH(int, text);
        Table table;
        const ClientPointer client = table.add();
        client->isSlow = isSlow;
        client->framer.feed(QString(text, 'x'));
        QVERIFY(!client->framer.next());
        QCOMPARE(table.givenBackAfter(1s), 0);
        table.close(0);
        table.clients.removeClosed();
        QCOMPARE(table.givenBackAfter(999ms), 0);
        QTEST(table.givenBackAfter(1ms), "givenBack");
    }

    void givesBackAfterACrowd()
    {
        constexpr int crowd = 256;
        Table table;
        for (int i = 0; i < crowd + 10; ++i)
            table.add();
        const auto leave = [&](int count) {
            for (int i = 0; i < count; ++i) {
                table.clients.all().first()->connection->drop();
                table.clients.removeClosed();
            }
        };
        leave(crowd - 1);
        QCOMPARE(table.givenBackAfter(1s), 0);
        leave(1);
        QCOMPARE(table.givenBackAfter(1s), 1);
        leave(10);
        QCOMPARE(table.givenBackAfter(1s), 1);
    }

    void linesTogether()
    {
        Table table;
        QList<ClientPointer> clients;
        for (const int size : {30'000, 40'000, 30'000}) {
            clients.append(table.add());
            clients.last()->framer.feed(QString(size, 'x'));
            QVERIFY(!clients.last()->framer.next());
        }
        QVERIFY(!table.clients.beyondLineLimit());
        clients.at(0)->framer.feed("y");
        QVERIFY(!clients.at(0)->framer.next());
        QCOMPARE(table.clients.beyondLineLimit(), clients.at(1));
        clients.at(1)->framer.drop();
        QVERIFY(!table.clients.beyondLineLimit());
        QCOMPARE(table.givenBackAfter(1s), 1);
    }

    void clientsWithoutText()
    {
        Table table;
        table.platform.limits.allConsoleLines = 0;
        table.add();
        QVERIFY(!table.clients.beyondLineLimit());
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestClientTable)

} // namespace tst_client_table

#include "tst_client_table.moc"
