// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleRequest.h"
#include "support/TestCase.h"

namespace console::tst_requests {

using Command = ConsoleRequest::Command;

class TestRequests : public QObject
{
    Q_OBJECT

private slots:
    void commands_data()
    {
        const tests::DataTable<QString, Command> row("line", "command");
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
        QTEST(ConsoleRequest::fromLine(line).command, "command");
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
        const tests::DataTable<QString, int> row("line", "mode");
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
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::UpgradeMode);
        QTEST(request.mode().value_or(0), "mode");
    }

    void rows_data()
    {
        const tests::DataTable<QString, QStringList> row("line", "rows");
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
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::Upgrade);
        QTEST(request.rows(), "rows");
    }

    void addresses_data()
    {
        const tests::DataTable<QString, QString> row("line", "address");
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
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::NetUpgrade);
        QTEST(request.address().value_or(QString()), "address");
    }

    void edidTexts_data()
    {
        const tests::DataTable<QString, QString> row("line", "text");
        row("PARSEEDID||00 FF ", "00 FF ");
        row("PARSEEDID||", "");
        row("PARSEEDID", "none");
        row("PARSEEDID||00||FF", "none");
        row("00||PARSEEDID", "PARSEEDID");
    }

    void edidTexts()
    {
        QFETCH(QString, line);
        const ConsoleRequest request = ConsoleRequest::fromLine(line);
        QCOMPARE(request.command, Command::ParseEdid);
        QTEST(request.edidText().value_or("none"), "text");
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestRequests)

} // namespace console::tst_requests

Q_DECLARE_METATYPE(console::ConsoleRequest::Command)

#include "tst_requests.moc"
