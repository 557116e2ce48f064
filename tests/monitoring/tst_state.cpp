// SPDX-License-Identifier: Apache-2.0
#include "monitoring/ServiceState.h"
#include "support/TestCase.h"

namespace monitoring::tst_state {

using engine::RunEvent;
using Kind = RunEvent::Kind;

using namespace std::chrono_literals;

namespace {

RunEvent of(Kind kind, int percent = 0, const QString &name = {})
{
    RunEvent event;
    event.kind = kind;
    event.percent = percent;
    event.mcu.name = name;
    return event;
}

/** Takes the pending message and marks it as delivered. */
QByteArray deliver(ServiceState &state)
{
    QByteArray message = state.pending();
    state.delivered();
    return message;
}

QByteArray deliver(ServiceState &state, const RunEvent &event)
{
    state.take(event);
    return deliver(state);
}

} // namespace

class TestState : public QObject
{
    Q_OBJECT

private slots:
    void readyOnce()
    {
        ServiceState state(0us);
        QCOMPARE(deliver(state), QByteArray());
        state.listening(35353);
        QCOMPARE(deliver(state), QByteArray("READY=1\nSTATUS=Idle, listening on port 35353."));
        QCOMPARE(deliver(state), QByteArray());
        state.alive();
        QCOMPARE(deliver(state), QByteArray("WATCHDOG=1"));
        QCOMPARE(deliver(state), QByteArray());
    }

    void notListening()
    {
        ServiceState state(0us);
        state.notListening(35353, "The bound address is already in use");
        QCOMPARE(deliver(state), QByteArray("STATUS=Not listening on port 35353: "
                                            "The bound address is already in use."));
    }

    void wholeRun()
    {
        ServiceState state(10s);
        state.listening(1);
        deliver(state);
        RunEvent success = of(Kind::Ended, 99);
        success.success = true;
        const QList<QPair<RunEvent, QByteArray>> run{
            {of(Kind::Begun), "STATUS=Upgrading: reading the device, 0 %"},
            {of(Kind::Reading, 0, "A"), "STATUS=Upgrading: reading A, 0 %"},
            {of(Kind::Retried, 0, "A"), ""},
            {of(Kind::Skipped, 0, "A"), ""},
            {of(Kind::Writing, 0, "B"), "STATUS=Upgrading: writing B, 0 %"},
            {of(Kind::Progress, 7), "STATUS=Upgrading: writing B, 7 %"},
            {of(Kind::Progress, 7), ""},
            {of(Kind::GivenUp, 7, "B"), ""},
            {of(Kind::Written, 7, "B"), ""},
            {of(Kind::Restarting, 99), "STATUS=Upgrading: restarting the device, 99 %"},
            {of(Kind::Ended, 99), "STATUS=Idle, listening on port 1. The last upgrade failed."},
            {of(Kind::Begun), "STATUS=Upgrading: reading the device, 0 %"},
            {success, "STATUS=Idle, listening on port 1. The last upgrade succeeded."}};
        for (const auto &[event, message] : run)
            QCOMPARE(deliver(state, event), message);
    }

    void names_data()
    {
        const tests::DataTable<QString, QByteArray> rows("name", "shown");
        rows("plain", "AUX 1", "AUX 1");
        rows("lines", "A\nMAINPID=1\rB", "A?MAINPID=1?B");
        rows("controls", QString("A\x1b[2J") + QChar(0), "A?[2J?");
        rows("half a character", QChar(0xd83d), "?");
        rows("beyond ASCII", QString(QChar(0xe9)) + QChar(0x85), "\xc3\xa9?");
        rows("long", QString(100'000, 'x'), QByteArray(64, 'x'));
    }

    void names()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, shown);
        ServiceState state(0us);
        QCOMPARE(deliver(state, of(Kind::Writing, 0, name)),
                 QByteArray("STATUS=Upgrading: writing " + shown + ", 0 %"));
    }

    void installExtendsTheLimit()
    {
        const QByteArray installing =
            "STATUS=Upgrading: installing the network module's firmware, 0 %";
        ServiceState state(10s);
        deliver(state, of(Kind::Begun));
        QCOMPARE(deliver(state, of(Kind::Installing)), installing + "\nWATCHDOG_USEC=1800000000");
        QCOMPARE(deliver(state, of(Kind::Installed)), QByteArray("WATCHDOG_USEC=10000000"));

        ServiceState unwatched(0us);
        QCOMPARE(deliver(unwatched, of(Kind::Installing)), installing);
        QCOMPARE(deliver(unwatched, of(Kind::Installed)), QByteArray());

        ServiceState longLimit(1h);
        QCOMPARE(deliver(longLimit, of(Kind::Installing)),
                 installing + "\nWATCHDOG_USEC=3600000000");
    }

    /** It runs on its own thread, so the limit does not change. */
    void interruptedInstall()
    {
        const QByteArray completing =
            "STATUS=Completing an interrupted installation of the network module's firmware.";
        ServiceState state(10s);
        state.listening(1);
        deliver(state);
        QCOMPARE(deliver(state, of(Kind::NotResumed)), QByteArray());
        QCOMPARE(deliver(state, of(Kind::Resuming)), completing);
        QCOMPARE(deliver(state, of(Kind::Resumed)),
                 QByteArray("STATUS=Idle, listening on port 1."));

        ServiceState unreachable(0us);
        unreachable.notListening(1, "taken");
        deliver(unreachable);
        QCOMPARE(deliver(unreachable, of(Kind::Resuming)), completing);
        QCOMPARE(deliver(unreachable, of(Kind::Resumed)), QByteArray());
    }

    void undeliveredNewsAreKept()
    {
        ServiceState state(0us);
        state.listening(1);
        state.take(of(Kind::Begun));
        state.alive();
        state.alive();
        const QByteArray all = "READY=1\nSTATUS=Upgrading: reading the device, 0 %\nWATCHDOG=1";
        QCOMPARE(state.pending(), all);
        QCOMPARE(deliver(state), all);
        QCOMPARE(state.pending(), QByteArray());
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestState)

} // namespace monitoring::tst_state

#include "tst_state.moc"
