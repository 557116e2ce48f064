// SPDX-License-Identifier: Apache-2.0
// What each request does, with an engine that only writes down what it is asked for.
#include "console/ConsoleCommands.h"
#include "console/ConsoleEvents.h"
#include "console/ConsoleReplies.h"
#include "console/ConsoleRequest.h"
#include "console/FakeClients.h"
#include "console/PackageTurns.h"
#include "edid/ParseEDID.h"
#include "links/EngineRequests.h"
#include "support/TestCase.h"

#include <QTemporaryDir>

namespace console::tst_commands {

namespace {

const QByteArray busy = "UPGRADELOG||The device is busy upgrading.\r\n";
const QByteArray unknown = "UPGRADELOG||Unknow command.\r\n";
const QByteArray modeError = "UPGRADELOG||ERROR:UPGRADEMODE parameter error\r\n";
const QByteArray edidError = "PARSEEDID||ERROR:PARSEEDID parameter command.\r\n";

class FakeEngine : public links::EngineRequests
{
public:
    bool onConnect(QString port) override
    {
        calls.append("connect " + port);
        return false;
    }
    void connectNet(const QString &address, int port) override
    {
        calls.append(QString("net %1 %2").arg(address).arg(port));
    }
    void disconnected() override { calls.append("disconnect"); }
    QString getMergeFWJSON(QString) override
    {
        calls.append("read");
        return list;
    }
    QString getMergeFWJSONForUpgrade(const QString &file) override { return getMergeFWJSON(file); }
    void uploadByMergeFW(QString, QStringList rows, int mode) override
    {
        calls.append(QString("upload %1 %2").arg(rows.join('|')).arg(mode));
        active = true;
    }
    bool runActive() const override { return active; }

    QStringList calls;
    QString list = QStringLiteral("the list");
    bool active = false;
};

QString textOf(const RunRequest &request)
{
    static const char *const kinds[] = {"serial", "network", "blocks"};
    return QString("%1 by %2 over %3 mode %4 rows %5")
        .arg(kinds[int(request.kind)])
        .arg(request.by.port)
        .arg(request.link)
        .arg(request.mode)
        .arg(request.rows);
}

struct Console
{
    Console()
    {
        platform.ports.serial = "ttyX";
        platform.ports.device = 9;
        platform.paths.package = folder.filePath("FW.fwm");
        replies.setTarget(clients.all.first());
        QObject::connect(&events, &ConsoleEvents::runRequested, [this](const RunRequest &request) {
            engine.calls.append(textOf(request));
        });
    }

    void storePackage() const { QVERIFY(QFile(platform.paths.package).open(QIODevice::WriteOnly)); }
    void ask(const QString &line) { commands.handle(ConsoleRequest::fromLine(line)); }
    QByteArray replied() { return clients.connections.front().sent.join(); }
    /** The engine's calls, and the announced runs, since the last call. */
    QStringList calls() { return std::exchange(engine.calls, {}); }

    QTemporaryDir folder;
    platform::Platform platform;
    FakeClients clients{1};
    ConsoleReplies replies{clients.all, platform.limits};
    ConsoleEvents events;
    FakeEngine engine;
    PackageTurns turns{[](const ClientPointer &) {}};
    ParseEDID edid;
    bool isInstalling = false;
    ConsoleCommands commands{
        {platform, engine, replies, events, turns, edid, [this] { return isInstalling; }}};
};

} // namespace

class TestCommands : public QObject
{
    Q_OBJECT

private slots:
    void requests_data()
    {
        const tests::DataTable<QString, QByteArray, QStringList> row("line", "replied", "calls");
        row("HEARTBEAT", "HEARTBEAT\r\n", {});
        row("VERSION", "VERSION||1.15\r\n", {});
        row("what", unknown, {});
        row("GETFIRMWARELIST", "FIRMWARELIST||the list\r\n", {"read"});
        row("UPGRADEMODE||5", "UPGRADELOG||Set UPGRADEMODE to 5\r\n", {});
        row("UPGRADEMODE||4", modeError, {});
        row("UPGRADE||A,1,2||B,3,4", "",
            {"disconnect", "serial by 1 over ttyX mode 2 rows 2", "connect ttyX",
             "upload A,1,2|B,3,4 2"});
        row("UPGRADE||A", "", {"disconnect"});
        row("UPGRADEALL", "", {"read"});
        row("UPGRADEORVALE1G||1.2.3", unknown, {});
        row("UPGRADEORVALE1G||1.2.3.4", "UPGRADELOG||Firmware file does not exist.\r\n", {});
        row("PARSEEDID||00", edidError, {});
    }

    void requests()
    {
        QFETCH(QString, line);
        Console console;
        console.ask(line);
        QTEST(console.replied(), "replied");
        QTEST(console.engine.calls, "calls");
        QCOMPARE(console.turns.isTaken(), console.engine.calls.contains("read"));
    }

    void busyRequests_data()
    {
        const tests::DataTable<QString, QByteArray> rows("line", "replied");
        rows("upgrade", "UPGRADE||A,1,2", busy);
        rows("upgrade of everything", "UPGRADEALL", {});
        rows("upgrade over the network", "UPGRADEORVALE1G||1.2.3.4", busy);
        rows("wrong address", "UPGRADEORVALE1G||1.2.3", unknown);
        rows("mode", "UPGRADEMODE||2", "UPGRADELOG||Set UPGRADEMODE to 2\r\n");
    }

    /** A run of the engine and the module's own install have the same effect. */
    void busyRequests()
    {
        QFETCH(QString, line);
        for (const bool isInstalling : {false, true}) {
            Console console;
            console.storePackage();
            console.isInstalling = isInstalling;
            console.engine.active = !isInstalling;
            console.ask(line);
            QTEST(console.replied(), "replied");
            QVERIFY(console.engine.calls.isEmpty());
        }
    }

    void modeIsKept()
    {
        Console console;
        console.ask("UPGRADEMODE||5");
        console.ask("UPGRADEMODE||7");
        console.ask("UPGRADE||A,1,2");
        QCOMPARE(console.engine.calls.last(), QString("upload A,1,2 5"));
    }

    void earlierRepliesLeaveBeforeThePackageIsRead()
    {
        Console console;
        console.replies.collect([&] {
            console.ask("VERSION");
            console.ask("GETFIRMWARELIST");
            QCOMPARE(console.replied(), QByteArray("VERSION||1.15\r\n"));
        });
        QCOMPARE(console.replied(), QByteArray("VERSION||1.15\r\nFIRMWARELIST||the list\r\n"));
    }

    void networkUpgrade()
    {
        Console console;
        console.storePackage();
        console.ask("UPGRADEORVALE1G||1.2.3.4");
        QCOMPARE(console.calls(), QStringList{"net 1.2.3.4 9"});
        console.ask("UPGRADEMODE||5");
        console.commands.networkConnected();
        QCOMPARE(console.calls(), (QStringList{"network by 1 over 1.2.3.4 mode 5 rows 1", "read",
                                               "upload MAIN,0,1 5"}));
        QVERIFY(console.replied().endsWith("UPGRADELOG||Device connected.\r\n"));
    }

    void networkConnectedWhileBusy()
    {
        Console console;
        console.isInstalling = true;
        console.commands.networkConnected();
        QCOMPARE(console.replied(), QByteArray("UPGRADELOG||Device connected.\r\n"));
        QVERIFY(console.engine.calls.isEmpty());
    }

    void edid()
    {
        Console console;
        QSignalSpy reports(&console.edid, &ParseEDID::signalEDID);
        console.ask("PARSEEDID||" + QStringList(QVector<QString>(256, "00").toList()).join(' '));
        QCOMPARE(reports.size(), 1);
        QCOMPARE(reports.first().first().value<QList<QString>>().first(),
                 QString("EDID data header error !"));
        QCOMPARE(console.replied(), QByteArray());
    }
};

AGENT_TEST(TestCommands)

} // namespace console::tst_commands

#include "tst_commands.moc"
