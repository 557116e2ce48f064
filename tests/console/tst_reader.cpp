// SPDX-License-Identifier: Apache-2.0
// From what is fetched to requests and pieces of NET packages.
#include "console/ConsoleClients.h"
#include "console/ConsoleEvents.h"
#include "console/ConsoleReplies.h"
#include "console/ConsoleRequest.h"
#include "console/FakeClients.h"
#include "console/RequestReader.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_reader {

using console::ClientPointer;
using console::ConsoleClients;
using console::ConsoleEvents;
using console::ConsolePeer;
using console::ConsoleReplies;
using console::ConsoleRequest;
using console::RequestReader;
using platform::Platform;

namespace {

const QByteArray unknown = "UPGRADELOG||Unknow command.\r\n";

/** Each request is answered with its line; a request that reads the package takes its turn. */
struct Console
{
    Console()
    {
        platform.limits.consoleLine = 50'000;
        platform.limits.allConsoleLines = 100'000;
    }

    int add()
    {
        connections.emplace_back();
        added.append(clients.add(connections.back(),
                                 {QStringLiteral("10.0.0.1"), quint16(connections.size())}));
        return added.size() - 1;
    }

    void read(int index, const QByteArray &bytes)
    {
        connections.at(size_t(index)).incoming.append(bytes);
        reader.read(added.at(index));
    }

    void handle(const ConsoleRequest &request)
    {
        requests.append(request.parts.join('|'));
        replies.send(request.parts.join('|') + ';');
        if (request.readsPackage())
            reader.turns().take();
        if (onRequest)
            onRequest();
    }

    QByteArrayList sent(int index) const { return connections.at(size_t(index)).sent; }

    Platform platform;
    ConsoleEvents events;
    std::deque<FakeConnection> connections;
    QList<ClientPointer> added;
    QStringList requests;
    QStringList fragments;
    std::function<void()> onRequest;
    ConsoleClients clients{platform, events, [](bool) {}, [] {}};
    ConsoleReplies replies{clients.all(), platform.limits};
    RequestReader reader{platform.limits,
                         clients,
                         replies,
                         {[this](const ConsoleRequest &request) { handle(request); },
                          [this](const ConsolePeer &peer, const QByteArray &payload) {
                              fragments.append(QString("%1 ").arg(peer.port) + payload);
                              replies.send(QString("got it;"));
                              replies.send(QString("thanks;"));
                          }}};
};

} // namespace

class TestReader : public QObject
{
    Q_OBJECT

private slots:
    void requests()
    {
        Console console;
        console.add();
        console.read(0, "VERSION\r\nUPGRADE||A,1,2\r\n\r\nwhat\r\n");
        QCOMPARE(console.requests, (QStringList{"VERSION", "UPGRADE|A,1,2", "what"}));
        QCOMPARE(console.sent(0), QByteArrayList{"VERSION;UPGRADE|A,1,2;what;"});
    }

    void lineInTwoReads()
    {
        Console console;
        console.add();
        console.add();
        console.read(0, "VER");
        console.read(1, "HEARTBEAT\r\n");
        console.read(0, "SION\r\n");
        QCOMPARE(console.requests, (QStringList{"HEARTBEAT", "VERSION"}));
        QCOMPARE(console.sent(0), QByteArrayList{"VERSION;"});
        QCOMPARE(console.sent(1), QByteArrayList{"HEARTBEAT;"});
    }

    void targetOfReplies()
    {
        Console console;
        console.add();
        console.add();
        console.read(0, "VERSION\r\n");
        console.read(1, "VERS");
        QCOMPARE(console.replies.target().port, quint16(1));
        console.read(1, "ION\r\n");
        QCOMPARE(console.replies.target().port, quint16(2));
    }

    void fragments_data()
    {
        const tests::DataTable<QByteArray, QStringList, int> rows("bytes", "fragments", "requests");
        rows("a piece", "UpgradeDatas||abc\r\n", {"1 abc"}, 0);
        rows("an empty piece", "UpgradeDatas||\r\n", {"1 "}, 0);
        rows("line ends in it", "UpgradeDatas||a\r\nVERSION\r\nb\r\n", {"1 a\r\nVERSION\r\nb"}, 0);
        rows("without an end", "UpgradeDatas||abc\r", {}, 1);
        rows("something before it", "xUpgradeDatas||abc\r\n", {}, 1);
        rows("another key", "UpgradeData||abc\r\n", {}, 1);
    }

    void fragments()
    {
        QFETCH(QByteArray, bytes);
        Console console;
        console.add();
        console.read(0, bytes);
        QTEST(console.fragments, "fragments");
        QTEST(int(console.requests.size()), "requests");
    }

    void fragmentAsksForNothing()
    {
        Console console;
        console.add();
        console.add();
        console.read(0, "VERSION\r\n");
        console.read(1, "UpgradeDatas||abc\r\n");
        QCOMPARE(console.fragments, QStringList{"2 abc"});
        QCOMPARE(console.sent(0), (QByteArrayList{"VERSION;", "got it;thanks;"}));
        QVERIFY(console.sent(1).isEmpty());
    }

    void nothingToRead()
    {
        Console console;
        console.add();
        console.reader.read(console.added.at(0));
        QVERIFY(console.requests.isEmpty());
        QVERIFY(console.sent(0).isEmpty());
    }

    void clientThatHasLeft()
    {
        Console console;
        console.add();
        console.connections.at(0).drop();
        console.clients.removeClosed();
        console.read(0, "VERSION\r\n");
        QVERIFY(console.requests.isEmpty());
    }

    void clientThatIsDroppedByItsRequest()
    {
        Console console;
        console.add();
        console.onRequest = [&] {
            console.connections.at(0).drop();
            console.clients.removeClosed();
        };
        console.read(0, "VERSION\r\nHEARTBEAT\r\n");
        QCOMPARE(console.requests, QStringList{"VERSION"});
        QCOMPARE(console.added.at(0)->framer.size(), 0);
    }

    void lineWithoutEnd()
    {
        Console console;
        console.add();
        console.add();
        console.read(0, "VERSION\r\n");
        console.read(1, QByteArray(50'000, 'x'));
        QVERIFY(console.sent(1).isEmpty());
        console.read(1, "x");
        QCOMPARE(console.sent(1), QByteArrayList{unknown});
        QCOMPARE(console.replies.target().port, quint16(1));
        console.read(1, "HEARTBEAT\r\n");
        QCOMPARE(console.requests.last(), QString("HEARTBEAT"));
    }

    void linesOfAllTogether()
    {
        Console console;
        for (int i = 0; i < 3; ++i)
            console.add();
        console.read(0, QByteArray(40'000, 'x'));
        console.read(1, QByteArray(45'000, 'x'));
        console.read(2, QByteArray(8'192, 'x'));
        console.read(2, QByteArray(6'807, 'x'));
        QVERIFY(console.sent(1).isEmpty());
        console.read(2, QByteArray(2, 'x'));
        QVERIFY(console.sent(0).isEmpty());
        QCOMPARE(console.sent(1), QByteArrayList{unknown});
        QVERIFY(console.sent(2).isEmpty());
        QCOMPARE(console.added.at(0)->framer.size(), 40'000);
        QCOMPARE(console.added.at(1)->framer.size(), 0);
    }

    void oneReadingOfThePackageInATurn()
    {
        Console console;
        console.add();
        console.add();
        console.read(0, "GETFIRMWARELIST\r\nVERSION\r\nGETFIRMWARELIST\r\nHEARTBEAT\r\n");
        QCOMPARE(console.requests, QStringList{"GETFIRMWARELIST"});
        console.read(1, "HEARTBEAT\r\nUPGRADEALL\r\n");
        QCOMPARE(console.requests, (QStringList{"GETFIRMWARELIST", "HEARTBEAT"}));
        QTRY_COMPARE(console.requests, (QStringList{"GETFIRMWARELIST", "HEARTBEAT", "VERSION",
                                                    "GETFIRMWARELIST", "UPGRADEALL", "HEARTBEAT"}));
        QCOMPARE(console.sent(0),
                 (QByteArrayList{"GETFIRMWARELIST;", "VERSION;GETFIRMWARELIST;", "HEARTBEAT;"}));
        QCOMPARE(console.sent(1), (QByteArrayList{"HEARTBEAT;", "UPGRADEALL;"}));
    }

    void waitingClientIsNotRead()
    {
        Console console;
        console.add();
        console.read(0, "GETFIRMWARELIST\r\nGETFIRMWARELIST\r\nVERSION\r\n");
        QVERIFY(!console.connections.at(0).isRead);
        console.read(0, "HEARTBEAT\r\n");
        QCOMPARE(console.connections.at(0).incoming.size(), 1);
        QTRY_COMPARE(console.requests,
                     (QStringList{"GETFIRMWARELIST", "GETFIRMWARELIST", "VERSION"}));
        QVERIFY(console.connections.at(0).isRead);
        console.reader.read(console.added.at(0));
        QCOMPARE(console.requests.last(), QString("HEARTBEAT"));
    }
};

AGENT_TEST(TestReader)

} // namespace tst_reader

#include "tst_reader.moc"
