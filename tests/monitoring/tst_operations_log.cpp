// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleBench.h"
#include "monitoring/OperationsLog.h"
#include "support/MessageRecorder.h"
#include "support/TestCase.h"

namespace monitoring::tst_operations_log {

namespace {

/** Ports of clients differ from run to run, and so do times. */
QStringList masked(QStringList lines)
{
    static const QRegularExpression client("address=127.0.0.1 port=[0-9]+");
    static const QRegularExpression seconds("seconds=[0-9]+\\.[0-9]");
    return lines.replaceInStrings(client, "CLIENT").replaceInStrings(seconds, "SECONDS");
}

} // namespace

class TestOperationsLog : public QObject
{
    Q_OBJECT

private slots:
    void startAndListening()
    {
        const MessageRecorder recorder("agent.operations");
        ConsoleBench bench;
        bench.start();
        const OperationsLog log(*bench.server);
        const QString folder = bench.folder.path();
        const QStringList expected{
            "I event=start version=1.15 package=" + folder + "/FW.fwm net_archive=" + folder +
                "/sysupdate.tar.bz2 net_version=" + folder + "/version serial=ttyNoSuchPort",
            QString("I event=listening port=%1").arg(bench.server->port())};
        QCOMPARE(MessageRecorder::take(), expected);
    }

    void notListening()
    {
        ConsoleBench bench;
        bench.start();
        ConsoleBench second;
        second.platform.ports.console = bench.server->port();
        second.start();
        const MessageRecorder recorder("agent.operations");
        const OperationsLog log(*second.server);
        QCOMPARE(
            MessageRecorder::take().last(),
            QString("W event=not_listening port=%1 reason=\"The bound address is already in use\"")
                .arg(bench.server->port()));
    }

    void clientsComeAndGo()
    {
        ConsoleBench bench;
        bench.start();
        const OperationsLog log(*bench.server);
        const MessageRecorder recorder("agent.operations");
        QStringList lines;
        const auto have = [&](int count) {
            lines += MessageRecorder::take();
            return lines.size() >= count;
        };
        ConsoleTestClient first(bench.server->port());
        QTRY_VERIFY(have(1));
        const QString own = QString("address=127.0.0.1 port=%1").arg(first.socket.localPort());
        {
            ConsoleTestClient second(bench.server->port());
            QTRY_VERIFY(have(2));
        }
        QTRY_VERIFY(have(3));
        first.socket.abort();
        QTRY_VERIFY(have(4));
        QVERIFY(lines.first().contains(own));
        QVERIFY(lines.last().contains(own));
        const QStringList expected{"I event=client_connected CLIENT clients=1",
                                   "I event=client_connected CLIENT clients=2",
                                   "I event=client_disconnected CLIENT clients=1",
                                   "I event=client_disconnected CLIENT clients=0"};
        QCOMPARE(masked(lines), expected);
    }

    void requestsAreNotLogged()
    {
        ConsoleSession bench;
        const OperationsLog log(*bench.server);
        const MessageRecorder recorder("agent.operations");
        bench.client->send(
            "VERSION\r\nHEARTBEAT\r\nUPGRADEMODE||5\r\nUPGRADE||\r\nNONSENSE\r\nPARSEEDID\r\n"
            "GETFIRMWARELIST\r\nVERSION\r\n");
        QTRY_COMPARE(bench.client->received().count("VERSION||1.15"), 2);
        QCOMPARE(MessageRecorder::take(), QStringList());
    }

    void failedRun()
    {
        ConsoleSession bench([](ConsoleBench &bench) { bench.usePackage("checksum-wrong.fwm"); });
        const OperationsLog log(*bench.server);
        const MessageRecorder recorder("agent.operations");
        bench.client->send("UPGRADEMODE||5\r\nUPGRADE||MAIN,0,0||AUX,1,0\r\n");
        QTRY_VERIFY(bench.client->received().contains("UPGRADEFAIL"));
        const QStringList expected{
            "I event=run_started CLIENT kind=serial link=ttyNoSuchPort mode=5 mcus=2",
            "I event=failure text=\"ERROR:Firmware file checksum error.\"",
            "I event=run_finished result=failed reason=package written=0 failed=0 skipped=0 "
            "SECONDS"};
        QCOMPARE(masked(MessageRecorder::take()), expected);
    }

    void floodIsBounded()
    {
        using std::chrono::hours;
        using std::chrono::milliseconds;

        constexpr int runs = 20;
        ConsoleBench bench;
        bench.start();
        LogBudgets budgets;
        budgets.clients = LineBudget(4, milliseconds(hours(1)));
        budgets.runs = LineBudget(3, milliseconds(hours(1)));
        const OperationsLog log(*bench.server, nullptr, budgets);
        const MessageRecorder recorder("agent.operations");
        int gone = 0;
        connect(&bench.server->events(), &console::ConsoleEvents::clientLeft, this,
                [&gone] { ++gone; });
        for (int i = 0; i < 5; ++i)
            ConsoleTestClient(bench.server->port()).send("VERSION\r\n");
        QTRY_COMPARE(gone, 5);
        ConsoleTestClient client(bench.server->port());
        for (int i = 1; i <= runs; ++i) {
            client.send("UPGRADE||MAIN,0,0\r\n");
            QTRY_COMPARE(client.received().count("\r\nUPGRADEFAIL\r\n"), 2 * i);
        }
        const QStringList lines = MessageRecorder::take();
        QCOMPARE(lines.filter("event=client_").size(), 4);
        QCOMPARE(lines.filter("event=lines_left_out about=clients").size(), 1);
        QCOMPARE(lines.filter("event=run_").size(), 3);
        QCOMPARE(lines.filter("event=lines_left_out about=runs").size(), 1);
        QCOMPARE(lines.filter("event=failure").size(), runs);
        QCOMPARE(lines.size(), 4 + 1 + 3 + 1 + runs);
    }
};

AGENT_TEST(TestOperationsLog)

} // namespace monitoring::tst_operations_log

#include "tst_operations_log.moc"
