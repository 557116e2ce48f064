// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "engine/device/ImageWriter.h"
#include "engine/package/RunPackage.h"
#include "engine/runs/RunEnd.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"

Q_DECLARE_METATYPE(engine::RunOutcome)

namespace engine::tst_run_end {

namespace appStatus = protocol::appStatus;
namespace command = protocol::command;
namespace field = package::field;

namespace {

struct EndBench : PartBench
{
    EndBench()
        : writer(channel, rows, output, report, platform, &parent),
          package(QString()),
          end({guard, channel, writer, package, rows, output, report, progress})
    {
        rows.reset({"MAIN,0,0,,,,,,,,,0,0", "AUX,1,0,,,,,,,,,0,0"});
    }

    void begin()
    {
        guard.begin();
        report.begin();
        channel.request(command::readModelName);
        writer.write(1, 0, QByteArray(600, 'x'));
        lines.clear();
        events.clear();
    }
    bool isIdle() const
    {
        return !guard.isActive() && !guard.isWatching() && !channel.isWaiting() &&
               !writer.isWaiting() && !canRead && currentCommandKey == 0;
    }
    QString results() const { return rows.value(0, field::result) + rows.value(1, field::result); }

    ImageWriter writer;
    RunPackage package;
    RunEnd end;
};

} // namespace

class TestRunEnd : public QObject
{
    Q_OBJECT

private slots:
    void outcomes_data()
    {
        const tests::DataTable<RunOutcome, QStringList, QList<double>, QString> rows(
            "outcome", "lines", "percents", "results");
        const QString row = "MAIN,0,0,,,,,,,,,0,";
        rows("silent", RunOutcome::silent(), {}, QList<double>(), "00");
        rows("succeeded", RunOutcome::succeeded(false), QStringList{"APPSTATUS|6"}, QList<double>(),
             "00");
        rows("progress reset", RunOutcome::succeeded(true), QStringList{"APPSTATUS|6"},
             QList<double>{0.0}, "00");
        rows("step failed", RunOutcome::failed(appStatus::stepFailed, 0.0),
             QStringList{"APPSTATUS|7", "Erasing...", "UPGRADERESULT|" + row + "2|2"},
             QList<double>{0.0}, "22");
        rows("package failed", RunOutcome::failed(appStatus::packageFailed, 100.0),
             QStringList{"APPSTATUS|2", "UPGRADERESULT|" + row + "2|2"}, QList<double>{50.0}, "22");
        rows("module installed", RunOutcome::deviceSentImage(true, 100.0),
             QStringList{"APPSTATUS|9", "UPGRADERESULT|" + row + "1|1"}, QList<double>{50.0}, "10");
        rows("module not installed", RunOutcome::deviceSentImage(false, 0.0),
             QStringList{"APPSTATUS|9", "Erasing...", "UPGRADERESULT|" + row + "2|2"},
             QList<double>{0.0}, "20");
    }

    void outcomes()
    {
        QFETCH(RunOutcome, outcome);
        EndBench bench;
        bench.begin();
        bench.end.finish(outcome);
        QVERIFY(bench.isIdle());
        QTEST(bench.lines, "lines");
        QTEST(bench.percents, "percents");
        QTEST(bench.results(), "results");
        QCOMPARE(bench.events.first().kind, RunEvent::Kind::Ended);
        QCOMPARE(bench.events.first().success, outcome.success);
        QCOMPARE(bench.events.first().status, outcome.status.toInt());
    }

    void readKeepsItsKeyToTheEnd()
    {
        EndBench bench;
        bench.output.setReading(true);
        bench.end.finish(RunOutcome::failed(appStatus::stepFailed, 0.0));
        QCOMPARE(bench.lines.first(), QString("READPI|APPSTATUS|7"));
        QVERIFY(!bench.output.isReading());
    }

    /** The run has ended before its status goes out. */
    void listenerMayStartTheNextRun()
    {
        EndBench bench;
        bench.begin();
        bool wasIdle = false;
        EngineOutput listening([&](const QStringList &) { wasIdle = bench.isIdle(); });
        RunEnd end({bench.guard, bench.channel, bench.writer, bench.package, bench.rows, listening,
                    bench.report, bench.progress});
        end.finish(RunOutcome::succeeded(false));
        QVERIFY(wasIdle);
    }

    void withoutRowsThereIsNoResult()
    {
        EndBench bench;
        bench.rows.reset({});
        bench.end.finish(RunOutcome::failed(appStatus::deviceLost, 100.0));
        QCOMPARE(bench.lines, QStringList{"APPSTATUS|5"});
    }
};

AGENT_TEST(TestRunEnd)

} // namespace engine::tst_run_end

#include "tst_run_end.moc"
