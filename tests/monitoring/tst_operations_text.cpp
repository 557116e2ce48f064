// SPDX-License-Identifier: Apache-2.0
#include "monitoring/OperationsText.h"
#include "support/TestCase.h"

namespace monitoring::tst_operations_text {

using console::ConsolePeer;
using console::RunRequest;
using engine::RunEvent;
using platform::Platform;
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

LogLine ended(bool success, int status)
{
    RunEvent end = of(Kind::Ended, success);
    end.status = status;
    return operations::runLine(end);
}

} // namespace

class TestOperationsText : public QObject
{
    Q_OBJECT

private slots:
    void lines_data()
    {
        const tests::DataTable<QString, QString> rows("expected", "line");
        const auto row = [&](const LogLine &line, const char *expected) {
            rows(expected, line.text());
        };
        const auto ofRun = [&](const RunEvent &event, const char *expected) {
            row(operations::runLine(event), expected);
        };
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
        ofRun(signature, "event=signature_checked result=ok key=FD42D863A26F780C "
                         "comment=\"release 4\\u001b \\\"x\\\"\"");
        signature.success = false;
        signature.key.clear();
        signature.text = "malformed";
        ofRun(signature, "event=signature_checked result=refused reason=malformed");
        ofRun(of(Kind::Skipped), "event=mcu_skipped name=\"AUX 1\" chip_type=1 "
                                 "chip_index=0 old=1.0.0 new=1.1.0 reason=why");
        ofRun(of(Kind::Writing), "event=mcu_started name=\"AUX 1\" chip_type=1 "
                                 "chip_index=0 old=1.0.0 new=1.1.0 bytes=700");
        ofRun(of(Kind::Written, true),
              "event=mcu_finished name=\"AUX 1\" chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 "
              "result=written seconds=12.3");
        ofRun(of(Kind::Written),
              "event=mcu_finished name=\"AUX 1\" chip_type=1 chip_index=0 old=1.0.0 new=1.1.0 "
              "result=failed seconds=12.3");
        ofRun(of(Kind::Retried), "event=retry name=\"AUX 1\" attempt=2 text=why");
        ofRun(of(Kind::GivenUp), "event=failure name=\"AUX 1\" text=why");
        ofRun(of(Kind::Restarting), "event=device_restarting");
        ofRun(of(Kind::Installing), "event=install_started version=1.1.0");
        ofRun(of(Kind::Installed, true),
              "event=install_finished version=1.1.0 result=success seconds=12.3");
        ofRun(of(Kind::Installed),
              "event=install_finished version=1.1.0 result=failed seconds=12.3");
        RunEvent resumed = of(Kind::Resuming);
        resumed.install = {"1.23", "blocks", "unpacking", 2};
        ofRun(resumed, "event=install_resumed version=1.23 kind=blocks state=unpacking attempt=2");
        resumed.kind = Kind::NotResumed;
        ofRun(resumed,
              "event=install_given_up version=1.23 kind=blocks state=unpacking reason=why");
        resumed.isPostponed = true;
        ofRun(resumed,
              "event=install_postponed version=1.23 kind=blocks state=unpacking reason=why");
        ofRun(of(Kind::NotResumed), "event=install_given_up reason=why");
        row(ended(true, 6),
            "event=run_finished result=success written=3 failed=1 skipped=2 seconds=12.3");
        row(ended(false, 0),
            "event=run_finished result=failed written=3 failed=1 skipped=2 seconds=12.3");
        RunEvent bare = of(Kind::Skipped);
        bare.mcu = {};
        ofRun(bare, "event=mcu_skipped name=\"\" reason=why");
        bare.kind = Kind::GivenUp;
        ofRun(bare, "event=failure text=why");

        row(ended(false, 2), "event=run_finished result=failed reason=package written=3 failed=1 "
                             "skipped=2 seconds=12.3");
        row(ended(false, 5), "event=run_finished result=failed reason=device_lost written=3 "
                             "failed=1 skipped=2 seconds=12.3");
        row(ended(false, 7), "event=run_finished result=failed reason=step_failed written=3 "
                             "failed=1 skipped=2 seconds=12.3");
        row(ended(false, 9), "event=run_finished result=failed reason=module_upgrade written=3 "
                             "failed=1 skipped=2 seconds=12.3");
        row(ended(false, 10), "event=run_finished result=failed reason=product_information "
                              "written=3 failed=1 skipped=2 seconds=12.3");
        RunEvent forged = of(Kind::Writing);
        forged.mcu.name = "X\nagent.operations: event=run_finished result=success";
        forged.mcu.chipType = "1 result=written";
        ofRun(forged, "event=mcu_started "
                      "name=\"X\\nagent.operations: event=run_finished result=success\" "
                      "chip_type=\"1 result=written\" chip_index=0 old=1.0.0 new=1.1.0 bytes=700");
    }

    void lines()
    {
        QFETCH(QString, line);
        QTEST(line, "expected");
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

} // namespace monitoring::tst_operations_text

#include "tst_operations_text.moc"
