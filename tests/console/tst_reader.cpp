// SPDX-License-Identifier: Apache-2.0
// From what is fetched to requests and pieces of NET packages.
#include "console/ConsoleEvents.h"
#include "console/ConsoleReplies.h"
#include "console/ConsoleRequest.h"
#include "console/FakeClients.h"
#include "console/RequestReader.h"
#include "support/TestCase.h"

namespace console::tst_reader {

namespace {

const char unknown[] = "UPGRADELOG||Unknow command.\r\n";

/** Each request is answered with its line; a request that reads the package takes its turn. */
struct Console
{
    explicit Console(int count)
    {
        platform.limits.consoleLine = 50'000;
        platform.limits.allConsoleLines = 100'000;
        for (int i = 0; i < count; ++i)
            fakes.addTo(clients);
    }

    void read(int index, const QByteArray &bytes)
    {
        fakes.connection(index).incoming.append(bytes);
        reader.read(fakes.all.at(index));
    }

    void handle(const ConsoleRequest &request)
    {
        log.append(QString("%1 ").arg(replies.target().port) + request.parts.join('|'));
        replies.send(request.parts.join('|') + ';');
        if (request.readsPackage())
            reader.turns().take();
        if (onRequest)
            onRequest();
    }

    void handlePiece(const ConsolePeer &peer, const QByteArray &payload)
    {
        log.append(QString("%1 [%2]").arg(peer.port).arg(QString(payload)));
        replies.send(QString("got it;"));
        replies.send(QString("thanks;"));
    }

    void drop(int index)
    {
        fakes.connection(index).drop();
        clients.removeClosed();
    }

    platform::Platform platform;
    ConsoleEvents events;
    FakeClients fakes{0};
    /** Requests and pieces, each after its client's port. */
    QStringList log;
    std::function<void()> onRequest;
    ConsoleClients clients{platform, events, [](bool) {}, [] {}};
    ConsoleReplies replies{clients.all(), platform.limits};
    RequestReader reader{platform.limits,
                         clients,
                         replies,
                         {[this](const ConsoleRequest &request) { handle(request); },
                          [this](const ConsolePeer &peer, const QByteArray &payload) {
                              handlePiece(peer, payload);
                          }}};
};

} // namespace

class TestReader : public QObject
{
    Q_OBJECT

private slots:
    void reads_data()
    {
        const tests::DataTable<QByteArrayList, QStringList> rows("reads", "log");
        rows("requests", {"VERSION\r\nUPGRADE||A,1,2\r\n\r\nwhat\r\n"},
             {"1 VERSION", "1 UPGRADE|A,1,2", "1 what"});
        rows("a line in two reads", {"VER", "SION\r\n"}, {"1 VERSION"});
        rows("nothing", {""}, {});
        rows("zero bytes", {QByteArray("x\0y\r\nVERSION\r\n", 14)},
             {"1 x" + QString(QChar(0)) + "y", "1 VERSION"});
        rows("a character", {"M\xc3\xa4\r\n"}, {QString::fromUtf8("1 M\xc3\xa4")});
        // It becomes two marks and never harms what is around it.
        rows("a character in two reads", {"M\xc3", "\xa4,0,1\r\n"},
             {"1 M" + QString(2, QChar::ReplacementCharacter) + ",0,1"});
        rows("a piece", {"UpgradeDatas||abc\r\n"}, {"1 [abc]"});
        rows("an empty piece", {"UpgradeDatas||\r\n"}, {"1 []"});
        rows("line ends in a piece", {"UpgradeDatas||a\r\nVERSION\r\nb\r\n"},
             {"1 [a\r\nVERSION\r\nb]"});
        rows("a piece in two reads", {"UpgradeDatas||a", "bc\r\n"}, {"1 UpgradeDatas|abc"});
        rows("a piece without an end", {"UpgradeDatas||abc\r"}, {"1 UpgradeDatas|abc"});
        rows("something before a piece", {"xUpgradeDatas||abc\r\n"}, {"1 xUpgradeDatas|abc"});
        rows("another key", {"UpgradeData||abc\r\n"}, {"1 UpgradeData|abc"});
    }

    void reads()
    {
        QFETCH(QByteArrayList, reads);
        Console console(1);
        for (const QByteArray &read : reads)
            console.read(0, read);
        QTEST(console.log, "log");
    }

    void twoClients()
    {
        Console console(2);
        console.read(0, "VER");
        console.read(1, "HEARTBEAT\r\n");
        QCOMPARE(console.replies.target().port, quint16(2));
        console.read(0, "SI");
        QCOMPARE(console.replies.target().port, quint16(2));
        console.read(0, "ON\r\nwhat\r\n");
        QCOMPARE(console.log, (QStringList{"2 HEARTBEAT", "1 VERSION", "1 what"}));
        QCOMPARE(console.fakes.sent(), (QStringList{"VERSION;what;", "HEARTBEAT;"}));
    }

    void pieceAsksForNothing()
    {
        Console console(2);
        console.read(0, "VERSION\r\n");
        console.read(1, "UpgradeDatas||abc\r\n");
        QCOMPARE(console.log, (QStringList{"1 VERSION", "2 [abc]"}));
        QCOMPARE(console.fakes.sent(), (QStringList{"VERSION; + got it;thanks;", ""}));
    }

    void clientThatHasLeft()
    {
        Console console(1);
        console.drop(0);
        console.read(0, "VERSION\r\n");
        QCOMPARE(console.log, QStringList());
    }

    void clientThatIsDroppedByItsRequest()
    {
        Console console(1);
        console.onRequest = [&] { console.drop(0); };
        console.read(0, "VERSION\r\nHEARTBEAT\r\n");
        QCOMPARE(console.log, QStringList{"1 VERSION"});
        QCOMPARE(console.fakes.all.at(0)->framer.size(), 0);
    }

    void lineWithoutEnd()
    {
        Console console(2);
        console.read(0, "VERSION\r\n");
        console.read(1, QByteArray(50'000, 'x'));
        QCOMPARE(console.fakes.sent().at(1), QString());
        console.read(1, "x");
        QCOMPARE(console.fakes.sent().at(1), QString(unknown));
        QCOMPARE(console.replies.target().port, quint16(1));
        console.read(1, "HEARTBEAT\r\n");
        QCOMPARE(console.log, (QStringList{"1 VERSION", "2 HEARTBEAT"}));
    }

    void linesOfAllTogether()
    {
        Console console(3);
        console.read(0, QByteArray(40'000, 'x'));
        console.read(1, QByteArray(45'000, 'x'));
        console.read(2, QByteArray(8'192, 'x'));
        console.read(2, QByteArray(6'807, 'x'));
        QCOMPARE(console.fakes.sent(), (QStringList{"", "", ""}));
        console.read(2, QByteArray(2, 'x'));
        QCOMPARE(console.fakes.sent(), (QStringList{"", unknown, ""}));
        QCOMPARE(console.fakes.all.at(0)->framer.size(), 40'000);
        QCOMPARE(console.fakes.all.at(1)->framer.size(), 0);
    }

    /** They count as unfinished lines do; the client with most of them loses them. */
    void waitingRequestsTogether()
    {
        const QByteArray list = "GETFIRMWARELIST\r\n";
        Console console(2);
        console.read(0, list.repeated(2000) + "VERSION\r\n");
        console.read(1, list.repeated(4000));
        QTRY_COMPARE(console.log.last(), QString("1 VERSION"));
        QCOMPARE(console.log.size(), 2001);
        QCOMPARE(console.fakes.sent().at(1), QString(unknown));
    }

    void oneReadingOfThePackageInATurn()
    {
        Console console(2);
        console.read(0, "GETFIRMWARELIST\r\nVERSION\r\nGETFIRMWARELIST\r\nHEARTBEAT\r\n");
        QCOMPARE(console.log, QStringList{"1 GETFIRMWARELIST"});
        console.read(1, "HEARTBEAT\r\nUPGRADEALL\r\n");
        QCOMPARE(console.log, (QStringList{"1 GETFIRMWARELIST", "2 HEARTBEAT"}));
        QTRY_COMPARE(console.log,
                     (QStringList{"1 GETFIRMWARELIST", "2 HEARTBEAT", "1 VERSION",
                                  "1 GETFIRMWARELIST", "2 UPGRADEALL", "1 HEARTBEAT"}));
        QCOMPARE(console.fakes.sent(),
                 (QStringList{"GETFIRMWARELIST; + VERSION;GETFIRMWARELIST; + HEARTBEAT;",
                              "HEARTBEAT; + UPGRADEALL;"}));
    }

    /** A piece of a NET package that comes after lists is still one. */
    void waitingClientIsNotRead()
    {
        Console console(1);
        console.read(0, "GETFIRMWARELIST\r\nGETFIRMWARELIST\r\nVERSION\r\n");
        QVERIFY(!console.fakes.connection(0).isRead);
        console.read(0, "UpgradeDatas||abc\r\n");
        QCOMPARE(console.fakes.connection(0).incoming.size(), 1);
        QTRY_COMPARE(console.log,
                     (QStringList{"1 GETFIRMWARELIST", "1 GETFIRMWARELIST", "1 VERSION"}));
        QVERIFY(console.fakes.connection(0).isRead);
        console.reader.read(console.fakes.all.at(0));
        QCOMPARE(console.log.last(), QString("1 [abc]"));
    }
};

AGENT_TEST(TestReader)

} // namespace console::tst_reader

#include "tst_reader.moc"
