// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "engine/steps/StepTable.h"
#include "support/TestCase.h"

#include <QSet>

#include <set>

namespace engine::tst_table {

namespace {

/** What a step can meet whatever it does. */
const std::set<Event> anywhere{Event::StartNewer,   Event::StartForced,    Event::StartImages,
                               Event::StartFile,    Event::StartInfoRead,  Event::StartInfoWrites,
                               Event::NoSignOfLife, Event::PackageUnusable};

/** Steps after which a run has ended. */
const std::set<Step> ends{Step::Idle,         Step::MainMcuIsLost, Step::RebootFailed,
                          Step::SystemIsLost, Step::Done,          Step::VirtualVersionRefused};

/** The tries at which a step can be waiting: those that its own lines lead to. */
QList<int> attemptsOf(Step step)
{
    QList<int> attempts{0};
    for (const Transition &line : stepTable()) {
        if (line.step == step && line.attempt > attempts.last())
            attempts.append(line.attempt);
    }
    return attempts;
}

int linesFor(Step step, Event event, int attempt)
{
    int count = 0;
    for (const Transition &line : stepTable())
        count += line.step == step && line.event == event &&
                 (line.attempt == Transition::anyTry || line.attempt == attempt);
    return count;
}

} // namespace

/** The step table as a whole: every pair of step and event is decided. */
class TestTable : public QObject
{
    Q_OBJECT

private slots:
    void everyPairIsDecided_data()
    {
        const tests::DataTable<int, QString> rows("step", "events");
        const struct
        {
            Step step;
            const char *events;
        } table[] = {
            {Step::Idle, ""},
            {Step::WriteInfo, "Answer Refusal ShortAnswer Silence InfoWritesDone"},
            {Step::WriteInfoRetry1, "Answer Refusal ShortAnswer Silence"},
            {Step::WriteInfoRetry2, "Answer Refusal ShortAnswer Silence"},
            {Step::WriteInfoGivenUp, "RowGivenUp"},
            {Step::VirtualVersion, "Answer Refusal ShortAnswer Silence"},
            {Step::VirtualVersionGivenUp, "Answer Refusal ShortAnswer Silence"},
            {Step::VirtualVersionMalformed, "VersionGivenUp"},
            {Step::ModelName, "Answer Refusal ShortAnswer Silence ModelMatches ModelDiffers"},
            {Step::Bootcode,
             "Answer Refusal ShortAnswer Silence RecordValid RecordInvalid RowsRead "
             "MainImageDue OtherImageDue ItemDone NoMoreItems"},
            {Step::BootcodeRetry1, "Answer Refusal ShortAnswer Silence"},
            {Step::BootcodeRetry2, "Answer Refusal ShortAnswer Silence"},
            {Step::BootcodeGivenUp, "RowGivenUp MainGivenUp"},
            {Step::ProductInfo, "Answer Refusal ShortAnswer Silence MainInBootcode RowRead"},
            {Step::ProductInfoRetry1, "Answer Refusal ShortAnswer Silence"},
            {Step::ProductInfoRetry2, "Answer Refusal ShortAnswer Silence"},
            {Step::ProductInfoGivenUp, "RowGivenUp MainGivenUp"},
            {Step::Version, "Answer Refusal ShortAnswer Silence RowsRead InfoComplete"},
            {Step::VersionRetry1, "Answer Refusal ShortAnswer Silence"},
            {Step::VersionRetry2, "Answer Refusal ShortAnswer Silence"},
            {Step::VersionGivenUp, "RowGivenUp"},
            {Step::MainMcuFirst, "MainImageDue MainFirstDone"},
            {Step::NextItem, "MainImageDue OtherImageDue ItemDone NoMoreItems"},
            {Step::MainImage, "ItemDone MainFirstDone ImageWritten"},
            {Step::OtherImage, "ItemDone ImageWritten"},
            {Step::MainMcuRestarts, "Answer Refusal ShortAnswer Silence"},
            {Step::MainMcuIsBack, "ItemDone MainFirstDone"},
            {Step::MainMcuIsLost, ""},
            {Step::SetVirtualVersion,
             "Answer Refusal ShortAnswer Silence VersionSet VersionRefused"},
            {Step::Reboot, "Answer Refusal ShortAnswer Silence"},
            {Step::RebootRetry1, "Answer Refusal ShortAnswer Silence"},
            {Step::RebootRetry2, "Answer Refusal ShortAnswer Silence"},
            {Step::RebootFailed, ""},
            {Step::SystemRestarts, "Answer Refusal ShortAnswer Silence InfoWriteDue "
                                   "VirtualVersionDue NothingToSet"},
            {Step::Done, ""},
            {Step::VirtualVersionRefused, ""},
            {Step::SystemIsLost, ""},
        };
        QCOMPARE(std::size(table), allOf<Step>().size());
        for (const auto &row : table)
            rows(nameOf(row.step), int(row.step), QString::fromLatin1(row.events));
    }

    /** At every try that a wait can have, an event that is expected has one line, and no other has.
     */
    void everyPairIsDecided()
    {
        QFETCH(int, step);
        QFETCH(QString, events);
        const QStringList expected = events.split(' ');
        const QList<int> attempts = attemptsOf(Step(step));
        for (const Event event : allOf<Event>()) {
            const QString name = QString::fromLatin1(nameOf(event));
            const bool isExpected = expected.contains(name) || anywhere.count(event) > 0;
            for (const int attempt : attempts) {
                const int lines = linesFor(Step(step), event, attempt);
                QVERIFY2(lines == (isExpected ? 1 : 0),
                         qPrintable(QString("%1, try %2: %3").arg(name).arg(attempt).arg(lines)));
            }
        }
    }

    void everyStepIsInTheTable()
    {
        for (const Transition &line : stepTable()) {
            QVERIFY(line.action != nullptr);
            QVERIFY(line.text != nullptr);
            QVERIFY(*nameOf(line.step) != '\0');
            QVERIFY(*nameOf(line.next) != '\0');
        }
    }

    void unexpectedEventIsLogged()
    {
        EngineHarness harness(EngineHarness::twoMcus());
        QTest::ignoreMessage(QtWarningMsg, "unexpected event: Silence in step 0 Idle");
        QVERIFY(QMetaObject::invokeMethod(harness.engine.get(), "onTimeOutSendOtherCommand"));
        QCOMPARE(harness.lines, QStringList());
        QVERIFY(harness.link->sent.isEmpty());
        QVERIFY(harness.engine->timersIdle());
    }

    /** Every line leads to a step that waits, that its own action takes on, or in which runs end.
     */
    void nextStepsAreTrue()
    {
        for (const Transition &line : stepTable()) {
            bool goesOn = ends.count(line.next) > 0;
            for (const Event event : allOf<Event>())
                goesOn |= anywhere.count(event) == 0 && linesFor(line.next, event, 0) > 0;
            QVERIFY2(goesOn, nameOf(line.next));
        }
    }

    void everyStepIsReached()
    {
        std::set<Step> reached;
        for (const Transition &line : stepTable()) {
            if (line.next != line.step)
                reached.insert(line.next);
        }
        for (const Step step : allOf<Step>())
            QVERIFY2(reached.count(step) > 0, nameOf(step));
    }

    /** However a wait goes wrong, its command goes out three times and not once more. */
    void silenceGivesUp()
    {
        const std::set<Step> polled{Step::MainMcuRestarts, Step::SystemRestarts};
        for (const Step start :
             {Step::WriteInfo, Step::VirtualVersion, Step::VirtualVersionGivenUp, Step::ModelName,
              Step::Bootcode, Step::ProductInfo, Step::Version, Step::MainMcuRestarts, Step::Reboot,
              Step::SystemRestarts, Step::SetVirtualVersion}) {
            int sends = polled.count(start) > 0 ? 0 : 1;
            Step current = start;
            int attempt = 0;
            const Transition *line = findTransition(current, Event::Silence, attempt);
            while (line != nullptr && line->kind != Transition::Kind::GivenUp) {
                QVERIFY(++sends <= 3);
                attempt += line->attempt == Transition::anyTry ? 0 : 1;
                current = line->next;
                line = findTransition(current, Event::Silence, attempt);
            }
            QVERIFY2(line != nullptr, nameOf(start));
            QVERIFY2(sends == 3, nameOf(start));
        }
    }

    void textsNameTheirRow()
    {
        const QSet<int> ofARow{int(Step::WriteInfo), int(Step::Bootcode), int(Step::ProductInfo),
                               int(Step::Version)};
        for (const Transition &line : stepTable()) {
            const QLatin1String text(line.text);
            if (!text.contains(QLatin1String("'%1'")))
                continue;
            const bool byRow = ofARow.contains(int(line.step) / 100 * 100) ||
                               line.step == Step::VirtualVersionGivenUp;
            QVERIFY2(byRow, line.text);
        }
    }

    /** Only the texts of retries have a number, and it is the number of the retry. */
    void retriesAreCounted()
    {
        for (const Transition &line : stepTable()) {
            const QString text = QString::fromLatin1(line.text);
            const bool isRetry = line.kind == Transition::Kind::Retry;
            QCOMPARE(text.contains("retry "), isRetry);
            if (isRetry)
                QVERIFY2(text.contains(QString("retry %1.").arg(line.retry)), line.text);
        }
    }

    void countersAreFreshEverywhere_data()
    {
        const tests::DataTable<QString> rows("fault");
        rows("silent", "silent");
        rows("refused", "refuse");
        rows("bad checksum", "bad-checksum");
    }

    /** Every command fails twice, and still every one of them is heard at its third try. */
    void countersAreFreshEverywhere()
    {
        QFETCH(QString, fault);
        Scenario scenario({testChip("MAIN", 0, 0, "1.0.0"), testChip("AUX", 1, 0, "1.0.0", 2)},
                          {testImage("MAIN", 0, {2, 0, 0}), testImage("AUX", 1, {2, 0, 0}, 2)});
        const QString twice = fault + QString(":count=twice,word=");
        for (const char *word : {"model-name", "block,type=0", "block,type=1"})
            scenario.addFault(twice + QLatin1String(word));
        for (const char *word : {"bootcode", "product-info", "version", "enter"}) {
            for (const char *chip : {",type=0", ",type=1"})
                scenario.addFault(twice + QLatin1String(word) + QLatin1String(chip));
        }
        // One main MCU restart and one reboot are polled, each twice without success.
        scenario.addFault(twice + QString("product-id"));
        scenario.addFault(twice + QString("product-id,skip=3"));
        const bool refusesByStatus = fault == "refuse";
        if (!refusesByStatus) { // these two take a refusal for an answer
            scenario.addFault(twice + QString("reboot"));
            scenario.addFault(twice + QString("set-virtual-version"));
        }
        QVERIFY(scenario.run({"MAIN,0,0", "AUX,1,0"}, 2));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.results(2), QString("11"));
        // Model name, 2 x (bootcode, information, version, Enter, block), 2 x product ID, the two
        // last.
        const int commands = 1 + 2 * 5 + 2 + (refusesByStatus ? 0 : 2);
        QCOMPARE(scenario.with("retry 1").size(), commands);
        QCOMPARE(scenario.with("retry 2").size(), commands);
    }
};

AGENT_TEST(TestTable)

} // namespace engine::tst_table

#include "tst_table.moc"
