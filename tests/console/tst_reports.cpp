// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleReports.h"
#include "support/TestCase.h"

namespace console::tst_reports {

class TestReports : public QObject
{
    Q_OBJECT

private slots:
    void messages_data()
    {
        const tests::DataTable<QStringList, QString, bool> row("message", "text", "isStatus");
        const QString end = "\r\nDISCONNECTCOM\r\n\r\n%1\r\n";
        row("nothing", {}, "", false);
        row("success", {"APPSTATUS", "6"}, end.arg("UPGRADESUCCESS"), true);
        row("failure", {"APPSTATUS", "7"}, end.arg("UPGRADEFAIL"), true);
        row("no status", {"APPSTATUS"}, end.arg("UPGRADEFAIL"), true);
        row("success is exactly 6", {"APPSTATUS", "06"}, end.arg("UPGRADEFAIL"), true);
        row("success with more", {"APPSTATUS", "6", "x"}, end.arg("UPGRADESUCCESS"), true);
        row("connected", {"ConnectSuccess", "ttyS2"}, "Connect success.\r\n", false);
        row("version", {"NETVERSION", "1.23"}, "NETVERSION||1.23\r\n", false);
        row("version without a value", {"NETVERSION"}, "NETVERSION||\r\n", false);
        row("result of a row", {"UPGRADERESULT", "MAIN,0,1", "1"}, "", false);
        row("line", {"Erase", "MAIN"}, "UPGRADELOG||Erase||MAIN\r\n", false);
        row("key in second place", {"x", "APPSTATUS"}, "UPGRADELOG||x||APPSTATUS\r\n", false);
        row("empty line", {""}, "UPGRADELOG||\r\n", false);
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

} // namespace console::tst_reports

#include "tst_reports.moc"
