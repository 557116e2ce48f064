// SPDX-License-Identifier: Apache-2.0
// The table of clients: who is in it, how many may be, and when their memory is given back.
#include "console/ConsoleEvents.h"
#include "console/FakeClients.h"
#include "support/FewDescriptors.h"
#include "support/TestCase.h"
#include "support/VirtualTime.h"

namespace console::tst_client_table {

using namespace std::chrono_literals;

namespace {

struct Table
{
    explicit Table(int count)
    {
        platform.limits.consoleLine = 50'000;
        platform.limits.allConsoleLines = 100'000;
        platform.timeOuts.clientDisconnect = 77ms;
        const auto note = [this](const char *what) {
            return [this, what](const ConsolePeer &peer, int clients) {
                events.append(QString("%1 %2 of %3").arg(what).arg(peer.port).arg(clients));
            };
        };
        QObject::connect(&log, &ConsoleEvents::clientCame, note("came"));
        QObject::connect(&log, &ConsoleEvents::clientLeft, note("left"));
        for (int i = 0; i < count; ++i)
            fakes.addTo(clients);
    }

    void close(int index)
    {
        fakes.connection(index).drop();
        clients.removeClosed();
    }

    /** The client has so much text without an end. */
    void feed(int index, int size)
    {
        fakes.all.at(index)->framer.feed(QString(size, 'x'));
        QVERIFY(!fakes.all.at(index)->framer.next());
    }

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

    platform::Platform platform;
    ConsoleEvents log;
    QStringList events;
    QList<bool> accepting;
    int givenBack = 0;
    FakeClients fakes{0};
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
        Table table(2);
        const ClientPointer first = table.fakes.all.first();
        QVERIFY(first->isConnected());
        table.feed(0, 11);
        table.close(0);
        QCOMPARE(table.ports(), QList<quint16>{2});
        QCOMPARE(table.fakes.connection(0).discards, 1);
        QCOMPARE(table.fakes.connection(1).discards, 0);
        QVERIFY(first->connection == nullptr);
        QVERIFY(!first->isConnected());
        QCOMPARE(first->framer.size(), 0);
        QCOMPARE(table.events, (QStringList{"came 1 of 1", "came 2 of 2", "left 1 of 1"}));
    }

    /** The second one is found by the call that its own disconnect makes. */
    void neighboursLeaveTogether()
    {
        Table table(4);
        for (const int index : {0, 1, 3})
            table.fakes.connection(index).drop();
        for (const auto &ports : {QList<quint16>{2, 3}, QList<quint16>{3}, QList<quint16>{3}}) {
            table.clients.removeClosed();
            QCOMPARE(table.ports(), ports);
        }
    }

    void closingIsNotClosed()
    {
        Table table(1);
        table.fakes.connection(0).state = FakeConnection::State::Closing;
        table.clients.removeClosed();
        QCOMPARE(table.ports(), QList<quint16>{1});
    }

    /** Every second one is left to the end of the listening socket. */
    void hangUp()
    {
        Table table(3);
        table.clients.hangUp();
        QCOMPARE(table.fakes.connection(0).hangUpLimit, 77ms);
        QVERIFY(table.fakes.connection(1).isConnected());
        QCOMPARE(table.fakes.connection(2).hangUpLimit, 77ms);
    }

    void lineLimitOfAClient()
    {
        Table table(1);
        table.feed(0, 50'001);
        QVERIFY(table.fakes.all.first()->framer.takeOverflow());
    }

    /** 128 descriptors are kept for other uses. */
    void places()
    {
        const FewDescriptors few(128 + 2);
        Table table(1);
        QVERIFY(table.accepting.isEmpty());
        QTest::ignoreMessage(QtWarningMsg, "no more clients are accepted for now: 2");
        table.fakes.addTo(table.clients);
        QCOMPARE(table.accepting, QList<bool>{false});
        table.close(0);
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
        Table table(1);
        table.fakes.all.first()->isSlow = isSlow;
        table.feed(0, text);
        QCOMPARE(table.givenBackAfter(1s), 0);
        table.close(0);
        QCOMPARE(table.givenBackAfter(999ms), 0);
        QTEST(table.givenBackAfter(1ms), "givenBack");
    }

    void givesBackAfterACrowd()
    {
        constexpr int crowd = 256;
        Table table(crowd + 10);
        int next = 0;
        const auto leave = [&](int count) {
            for (int i = 0; i < count; ++i)
                table.close(next++);
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
        Table table(3);
        table.feed(0, 30'000);
        table.feed(1, 40'000);
        table.feed(2, 30'000);
        QVERIFY(!table.clients.beyondLineLimit());
        table.feed(0, 1);
        QCOMPARE(table.clients.beyondLineLimit(), table.fakes.all.at(1));
        table.fakes.all.at(1)->framer.drop();
        QVERIFY(!table.clients.beyondLineLimit());
        QCOMPARE(table.givenBackAfter(1s), 1);
    }

    void clientsWithoutText()
    {
        Table table(1);
        table.platform.limits.allConsoleLines = 0;
        QVERIFY(!table.clients.beyondLineLimit());
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestClientTable)

} // namespace console::tst_client_table

#include "tst_client_table.moc"
