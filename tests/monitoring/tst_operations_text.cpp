// SPDX-License-Identifier: Apache-2.0
#include "monitoring/OperationsText.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_operations_text {

using console::ConsolePeer;
using console::RunRequest;
using engine::RunEvent;
using platform::Platform;

using namespace monitoring;

using Kind = RunEvent::Kind;

namespace {

const ConsolePeer peer{"192.0.2.7", 40001};

RunEvent of(Kind kind, bool success = false)
{
    RunEvent event;
    event.kind = kind;
    event.mcu = {"AUX 1", "1", "0", "1.0.0", "1.1.0"};
    event.text = "why";
    event.percent = 42;
    event.attempt = 2;
    event.bytes = 700;
    event.success = success;
    event.milliseconds = 12'340;
    event.written = 3;
    event.failed = 1;
    event.skipped = 2;
    return event;
}

RunEvent ended(bool success, int status)
{
    RunEvent end = of(Kind::Ended, success);
    end.status = status;
    return end;
}

void row(const LogLine &line, const char *expected)
{
    QTest::newRow(expected) << line.text() << QString::fromLatin1(expected);
}

} // namespace

class TestOperationsText : public QObject
{
    Q_OBJECT

private slots:
    void lines_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("expected");

        row(operations::started("1.15", Platform()),
            "event=start version=1.15 package=/data/FW.fwm net_archive=/data/sysupdate.tar.bz2 "
            "net_version=/data/version serial=ttyS2");
        row(operations::listening(35353), "event=listening port=35353");
        row(operations::notListening(35353, "already in use"),
            "event=not_listening port=35353 reason=\"already in use\"");
        row(operations::clientCame(peer, 2),
            "event=client_connected address=192.0.2.7 port=40001 clients=2");
        row(operations::clientLeft(peer, 0),
            "event=client_disconnected address=192.0.2.7 port=40001 clients=0");
        row(operations::clientCame({"fe80::1%eth0", 1}, 1),
            "event=client_connected address=fe80::1%eth0 port=1 clients=1");
        row(operations::runStarted({RunRequest::Kind::Serial, peer, "ttyS2", 5, 6}),
            "event=run_started address=192.0.2.7 port=40001 kind=serial link=ttyS2 mode=5 mcus=6");
        row(operations::runStarted({RunRequest::Kind::Network, peer, "10.0.0.5", 2, 1}),
            "event=run_started address=192.0.2.7 port=40001 kind=network link=10.0.0.5 mode=2 "
            "mcus=1");
        row(operations::runStarted({RunRequest::Kind::NetBlocks, peer, {}, 0, 1}),
            "event=run_started address=192.0.2.7 port=40001 kind=net_blocks");
        row(operations::linesLeftOut("clients"), "event=lines_left_out about=clients");
        RunEvent signature = of(Kind::SignatureChecked, true);
        signature.key = "FD42D863A26F780C";
        signature.text = "release 4\x1b \"x\"";
        row(operations::runLine(signature),
            "event=signature_checked result=ok key=FD42D863A26F780C "
            "comment=\"release 4\\u001b \\\"x\\\"\"");
        signature.success = false;
        signature.key.clear();
        signature.text = "malformed";
        row(operations::runLine(signature),
            "event=signature_checked result=refused reason=malformed");
        row(operations::runLine(of(Kind::Skipped)), "event=mcu_skipped name=\"AUX 1\" chip_type=1 "
                                                    "chip_index=0 old=1.0.0 new=1.1.0 reason=why");
        row(operations::runLine(of(Kind::Writing)), "event=mcu_started name=\"AUX 1\" chip_type=1 "
                                                    "chip_index=0 old=1.0.0 new=1.1.0 bytes=700");
        row(operations::runLine(of(Kind::Written, true)),
            "event=mcu_finished name=\"AUX 1\" chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 "
            "result=written seconds=12.3");
        row(operations::runLine(of(Kind::Written)),
            "event=mcu_finished name=\"AUX 1\" chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 "
            "result=failed seconds=12.3");
        row(operations::runLine(of(Kind::Retried)),
            "event=retry name=\"AUX 1\" attempt=2 text=why");
        row(operations::runLine(of(Kind::GivenUp)), "event=failure name=\"AUX 1\" text=why");
        row(operations::runLine(of(Kind::Restarting)), "event=device_restarting");
        row(operations::runLine(of(Kind::Installing)), "event=install_started version=1.1.0");
        row(operations::runLine(of(Kind::Installed, true)),
            "event=install_finished version=1.1.0 result=success seconds=12.3");
        row(operations::runLine(of(Kind::Installed)),
            "event=install_finished version=1.1.0 result=failed seconds=12.3");
        RunEvent resumed = of(Kind::Resuming);
        resumed.install = {"1.23", "blocks", "unpacking", 2};
        row(operations::runLine(resumed),
            "event=install_resumed version=1.23 kind=blocks state=unpacking attempt=2");
        resumed.kind = Kind::NotResumed;
        row(operations::runLine(resumed),
            "event=install_given_up version=1.23 kind=blocks state=unpacking reason=why");
        resumed.isPostponed = true;
        row(operations::runLine(resumed),
            "event=install_postponed version=1.23 kind=blocks state=unpacking reason=why");
        row(operations::runLine(of(Kind::NotResumed)), "event=install_given_up reason=why");
        row(operations::runLine(ended(true, 6)),
            "event=run_finished result=success written=3 failed=1 skipped=2 seconds=12.3");
        row(operations::runLine(ended(false, 0)),
            "event=run_finished result=failed written=3 failed=1 skipped=2 seconds=12.3");
        RunEvent bare = of(Kind::Skipped);
        bare.mcu = {};
        row(operations::runLine(bare), "event=mcu_skipped name=\"\" reason=why");
        bare.kind = Kind::GivenUp;
        row(operations::runLine(bare), "event=failure text=why");

        const QList<QPair<int, QString>> reasons{{2, "package"},
                                                 {5, "device_lost"},
                                                 {7, "step_failed"},
                                                 {9, "module_upgrade"},
                                                 {10, "product_information"}};
        for (const auto &[status, reason] : reasons) {
            QTest::newRow(qPrintable(reason))
                << operations::runLine(ended(false, status)).text()
                << "event=run_finished result=failed reason=" + reason +
                       " written=3 failed=1 skipped=2 seconds=12.3";
        }
    }

    void lines()
    {
        QFETCH(QString, line);
        QFETCH(QString, expected);
        QCOMPARE(line, expected);
    }

    void forgedName()
    {
        RunEvent forged = of(Kind::Writing);
        forged.mcu.name = "X\nagent.operations: event=run_finished result=success";
        forged.mcu.chipType = "1 result=written";
        QCOMPARE(
            operations::runLine(forged).text(),
            QString("event=mcu_started "
                    "name=\"X\\nagent.operations: event=run_finished result=success\" "
                    "chip_type=\"1 result=written\" chip_index=0 old=1.0.0 new=1.1.0 bytes=700"));
    }

    void notLogged()
    {
        for (const Kind kind : {Kind::Begun, Kind::Reading, Kind::Progress})
            QVERIFY(!operations::isLogged(kind));
        for (const Kind kind : {Kind::Skipped, Kind::Writing, Kind::Retried, Kind::GivenUp,
                                Kind::Written, Kind::Restarting, Kind::Installing, Kind::Installed,
                                Kind::Resuming, Kind::Resumed, Kind::NotResumed, Kind::Ended})
            QVERIFY(operations::isLogged(kind));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestOperationsText)

} // namespace tst_operations_text

#include "tst_operations_text.moc"
