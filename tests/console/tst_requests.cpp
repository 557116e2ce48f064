// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleRequest.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_requests {

using console::ConsoleRequest;

using Command = ConsoleRequest::Command;

class TestRequests : public QObject
{
    Q_OBJECT

private slots:
    void commands_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("command");
        const auto row = [](const char *line, Command command) {
            QTest::newRow(line) << QString(line) << int(command);
        };
        row("HEARTBEAT", Command::Heartbeat);
        row("xxHEARTBEATyy", Command::Heartbeat);
        row("HEART BEAT", Command::Heartbeat);
        row("heartbeat", Command::Unknown);
        row("HEART\tBEAT", Command::Unknown);
        row("GETFIRMWARELIST", Command::FirmwareList);
        row("UPGRADEMODE||5", Command::UpgradeMode);
        row("UP GRADE MODE||5", Command::UpgradeMode);
        row("UPGRADEMODE", Command::Unknown);
        row("UPGRADEMODE|5", Command::Unknown);
        row("UPGRADE||MAIN,0,1", Command::Upgrade);
        row("UPGRADE||", Command::Upgrade);
        row("UPGRADE", Command::Unknown);
        row("UPGRADEALL", Command::UpgradeAll);
        row("UPGRADEALL||", Command::UpgradeAll);
        row("GETVERINF", Command::UpgradeAll);
        row("VERSION", Command::Version);
        row("VERSION||", Command::Version);
        row("UPGRADEORVALE1G||1.2.3.4", Command::NetUpgrade);
        row("UPGRADEORVALE1G", Command::NetUpgrade);
        row("PARSEEDID||00", Command::ParseEdid);
        row("PARSEEDID", Command::ParseEdid);
        row("PARSE EDID||00", Command::Unknown);
        row("", Command::Unknown);
        row("||", Command::Unknown);
        row("nonsense", Command::Unknown);

        // The first word of the order decides.
        row("PARSEEDID HEARTBEAT", Command::ParseEdid);
        row("HEARTBEAT\nVERSION", Command::Heartbeat);
        row("VERSION HEARTBEAT", Command::Heartbeat);
        row("UPGRADE||HEARTBEAT,0,1", Command::Heartbeat);
        row("UPGRADE||GETFIRMWARELIST,0,1", Command::FirmwareList);
        row("UPGRADE||UPGRADEMODE||5", Command::UpgradeMode);
        row("UPGRADEALL UPGRADE||", Command::Upgrade);
        row("VERSION UPGRADEALL", Command::UpgradeAll);
        row("VERSION GETVERINF", Command::UpgradeAll);
        row("UPGRADEORVALE1G VERSION", Command::Version);
    }

    void commands()
    {
        QFETCH(QString, line);
        QFETCH(int, command);
        QCOMPARE(int(ConsoleRequest::fromLine(line).command), command);
    }

    void blanksAreRemoved()
    {
        QCOMPARE(ConsoleRequest::fromLine("UPGRADE||MAIN MCU, 0,1| |B\t,0,1").parts,
                 (QStringList{"UPGRADE", "MAINMCU,0,1", "B\t,0,1"}));
        QCOMPARE(ConsoleRequest::fromLine("PARSEEDID||00 FF").parts,
                 (QStringList{"PARSEEDID", "00 FF"}));
    }

    void modes_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<int>("mode");
        const auto row = [](const char *line, int mode) {
            QTest::newRow(line) << QString(line) << mode;
        };
        row("UPGRADEMODE||2", 2);
        row("UPGRADEMODE||5", 5);
        row("UPGRADEMODE||05", 5);
        row("UPGRADEMODE||+5", 5);
        row("UPGRADEMODE|| 5 ", 5);
        row("xUPGRADEMODE||5", 5);
        row("UPGRADEMODE||0", 0);
        row("UPGRADEMODE||1", 0);
        row("UPGRADEMODE||3", 0);
        row("UPGRADEMODE||-5", 0);
        row("UPGRADEMODE||25", 0);
        row("UPGRADEMODE||0x5", 0);
        row("UPGRADEMODE||5x", 0);
        row("UPGRADEMODE||5.0", 0);
        row("UPGRADEMODE||", 0);
        row("UPGRADEMODE||5||1", 0);
        row("UPGRADEMODE||5||", 0);
        row("||UPGRADEMODE||5", 0);
        row("UPGRADEMODE||4294967298", 0);
    }

    void modes()
    {
        QFETCH(QString, line);
        QFETCH(int, mode);
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::UpgradeMode);
        QCOMPARE(request.mode().value_or(0), mode);
    }

    void rows_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QStringList>("rows");
        const auto row = [](const char *line, const QStringList &rows) {
            QTest::newRow(line) << QString(line) << rows;
        };
        row("UPGRADE||", {});
        row("UPGRADE||MAIN", {});
        row("UPGRADE||MAIN,0", {});
        row("UPGRADE||MAIN,0,1", {"MAIN,0,1"});
        row("UPGRADE||,,", {",,"});
        row("UPGRADE||A,0,1||B,1", {"A,0,1"});
        row("UPGRADE||A,0||B,1,2,3,4||C,5,6||", {"B,1,2,3,4", "C,5,6"});
        row("UPGRADE||A,0,1||A,0,1", {"A,0,1", "A,0,1"});
        row("X,0,1||UPGRADE||A,0,1", {"A,0,1"});
        row("UPGRADE||MAIN,0,1|B,0,1", {"MAIN,0,1|B,0,1"});
    }

    void rows()
    {
        QFETCH(QString, line);
        QFETCH(QStringList, rows);
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::Upgrade);
        QCOMPARE(request.rows(), rows);
    }

    void addresses_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("address");
        const auto row = [](const char *line, const char *address) {
            QTest::newRow(line) << QString(line) << QString(address);
        };
        row("UPGRADEORVALE1G||127.0.0.1", "127.0.0.1");
        row("UPGRADEORVALE1G||127. 0.0 .1", "127.0.0.1");
        row("UPGRADEORVALE1G||a.b.c.d||rest", "a.b.c.d");
        row("UPGRADEORVALE1G||...", "...");
        row("UPGRADEORVALE1G", "");
        row("UPGRADEORVALE1G||", "");
        row("UPGRADEORVALE1G||1.2.3", "");
        row("UPGRADEORVALE1G||1.2.3.4.5", "");
        row("UPGRADEORVALE1G|1.2.3.4", "");
    }

    void addresses()
    {
        QFETCH(QString, line);
        QFETCH(QString, address);
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::NetUpgrade);
        QCOMPARE(request.address().value_or(QString()), address);
    }

    void edidTexts_data()
    {
        const tests::DataTable<QString, bool, QString> rows("line", "valid", "text");
        rows("one argument", "PARSEEDID||00 FF ", true, "00 FF ");
        rows("empty", "PARSEEDID||", true, "");
        rows("none", "PARSEEDID", false, "");
        rows("two", "PARSEEDID||00||FF", false, "");
        rows("word last", "00||PARSEEDID", true, "PARSEEDID");
    }

    void edidTexts()
    {
        QFETCH(QString, line);
        QFETCH(bool, valid);
        QFETCH(QString, text);
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::ParseEdid);
        QCOMPARE(request.edidText().has_value(), valid);
        QCOMPARE(request.edidText().value_or(QString()), text);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestRequests)

} // namespace tst_requests

#include "tst_requests.moc"
