// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleReports.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_reports {

namespace consolereport = console::consolereport;

class TestReports : public QObject
{
    Q_OBJECT

private slots:
    void messages_data()
    {
        QTest::addColumn<QStringList>("message");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("isStatus");
        const auto row = [](const char *name, const QStringList &message, const QString &text,
                            bool isStatus = false) {
            QTest::newRow(name) << message << text << isStatus;
        };
        row("nothing", {}, "");
        row("success", {"APPSTATUS", "6"}, "\r\nDISCONNECTCOM\r\n\r\nUPGRADESUCCESS\r\n", true);
        row("failure", {"APPSTATUS", "7"}, "\r\nDISCONNECTCOM\r\n\r\nUPGRADEFAIL\r\n", true);
        row("no status", {"APPSTATUS"}, "\r\nDISCONNECTCOM\r\n\r\nUPGRADEFAIL\r\n", true);
        row("success is exactly 6", {"APPSTATUS", "06"}, "\r\nDISCONNECTCOM\r\n\r\nUPGRADEFAIL\r\n",
            true);
        row("success with more", {"APPSTATUS", "6", "x"},
            "\r\nDISCONNECTCOM\r\n\r\nUPGRADESUCCESS\r\n", true);
        row("connected", {"ConnectSuccess", "ttyS2"}, "Connect success.\r\n");
        row("version", {"NETVERSION", "1.23"}, "NETVERSION||1.23\r\n");
        row("version without a value", {"NETVERSION"}, "NETVERSION||\r\n");
        row("result of a row", {"UPGRADERESULT", "MAIN,0,1", "1"}, "");
        row("line", {"Erase", "MAIN"}, "UPGRADELOG||Erase||MAIN\r\n");
        row("key in second place", {"x", "APPSTATUS"}, "UPGRADELOG||x||APPSTATUS\r\n");
        row("empty line", {""}, "UPGRADELOG||\r\n");
    }

    void messages()
    {
        QFETCH(QStringList, message);
        QTEST(consolereport::ofMessage(message), "text");
        QTEST(consolereport::isStatus(message), "isStatus");
    }

    void others()
    {
        QCOMPARE(consolereport::ofProgress(0.0), QByteArray("PROGRESSVALUE||0.00\r\n"));
        QCOMPARE(consolereport::ofProgress(100.0 / 3), QByteArray("PROGRESSVALUE||33.33\r\n"));
        QCOMPARE(consolereport::ofProgress(99.999), QByteArray("PROGRESSVALUE||100.00\r\n"));
        QCOMPARE(consolereport::ofEdid("a,b"), QString("PARSEEDIDRESULT||a,b\r\n"));
        QCOMPARE(consolereport::ofNetReply(QByteArray("\0\xab", 2)),
                 "UpgradeDatas||" + QByteArray("\0\xab", 2));
    }
};

AGENT_TEST(TestReports)

} // namespace tst_reports

#include "tst_reports.moc"
