// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "engine/device/ReplyRules.h"
#include "engine/steps/StepTable.h"
#include "links/LinkState.h"
#include "support/TestCase.h"

#include <QSet>
#include <QtTest>

#include <set>

namespace tst_table {

namespace mcu = protocol::mcu;
using engine::allOf;
using engine::Event;
using engine::findTransition;
using engine::nameOf;
using engine::Step;
using engine::stepTable;
using engine::Transition;

namespace {

/** What a step can meet whatever it does. */
const std::set<Event> anywhere{Event::StartNewer,   Event::StartForced,    Event::StartImages,
                               Event::StartFile,    Event::StartInfoRead,  Event::StartInfoWrites,
                               Event::NoSignOfLife, Event::PackageUnusable};

/** Steps after which a run has ended. */
const std::set<Step> ends{Step::Idle,         Step::MainMcuIsLost, Step::RebootFailed,
                          Step::SystemIsLost, Step::Done,          Step::VirtualVersionRefused};

/** The steps that wait for the reply to a command. */
QList<Step> awaitingSteps()
{
    QList<Step> steps;
    for (const Step step : allOf<Step>()) {
        if (findTransition(step, Event::Silence, 0) != nullptr)
            steps.append(step);
    }
    return steps;
}

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

/** Whether unanswered commands alone lead from one step to the other. */
bool silenceLeads(Step from, Step to)
{
    for (const Transition &line : stepTable()) {
        if (line.step == from && line.event == Event::Silence && line.next != from &&
            (line.next == to || silenceLeads(line.next, to)))
            return true;
    }
    return false;
}

enum class Blow { Answer, Refusal, ShortAnswer, Silence, SendFailure };

const char *blowName(Blow blow)
{
    static const char *const names[] = {"answer", "refusal", "short answer", "silence",
                                        "failed send"};
    return names[int(blow)];
}

/** One wait that is to be met by one blow, in the chain of commands that has it. */
class Walk
{
public:
    Walk(Step step, int silences, Blow blow)
        : m_step(step),
          m_silences(silences),
          m_blow(blow),
          m_scenario({testChip("MAIN", 0, 0, "1.0.0"), testChip("AUX", 1, 0, "1.0.0", 2)},
                     {testImage("MAIN", 0, {2, 0, 0}), testImage("AUX", 1, {2, 0, 0}, 2)})
    {
        m_scenario.link->answerInstead = [this](const QByteArray &frame) { return answer(frame); };
        m_scenario.link->failWrite = [this](const QByteArray &) { return failNow(); };
    }

    bool reached() const { return m_struck; }

    bool ends()
    {
        m_scenario.engine->slotConnect(QStringLiteral("ttyS2"));
        if (m_step <= Step::WriteInfoGivenUp)
            m_scenario.engine->setProductInfo({description, "AUX,1,0,2,1,65", "AUX,1,0,2,1,65"});
        else if (m_step <= Step::VirtualVersionMalformed)
            m_scenario.engine->getProductInfo();
        else
            m_scenario.engine->uploadByMergeFW(m_scenario.packagePath(), rows, 2);
        return m_scenario.waitForEnd() && !canRead && currentCommandKey == 0;
    }

    bool nextUpgradeSucceeds()
    {
        m_struck = true;
        m_scenario.link->answerInstead = nullptr;
        m_scenario.link->failWrite = nullptr;
        return m_scenario.run(rows, 2) && m_scenario.succeeded();
    }

    const QStringList &lines() const { return m_scenario.lines; }

private:
    static const QString description;
    static const QStringList rows;

    Step now() const { return Step(m_scenario.engine->currentStep()); }

    /** A step before the one that is aimed at, on the way of its retries. */
    bool isOnTheWay() const { return silenceLeads(now(), m_step); }

    bool strikes()
    {
        if (m_struck || now() != m_step)
            return false;
        if (m_silences > 0)
            return false;
        return true;
    }

    bool failNow()
    {
        if (m_blow != Blow::SendFailure || !strikes())
            return false;
        m_struck = true;
        m_scenario.link->unplug();
        m_scenario.link->plugIn();
        return true;
    }

    QList<QByteArray> answer(const QByteArray &frame)
    {
        const QByteArray usual = m_scenario.link->deviceAnswer(frame);
        if (!m_struck && isOnTheWay())
            return {};
        if (!strikes()) {
            if (!m_struck && now() == m_step) {
                --m_silences;
                return {};
            }
            return {usual};
        }
        m_struck = true;
        const quint16 word = mcu::wordAt(frame, mcu::wordOffset);
        switch (m_blow) {
        case Blow::Refusal:
            return {mcu::buildStatusFrame(mcu::replyStart, {}, word, 3)};
        case Blow::ShortAnswer:
            return {mcu::buildFrame(mcu::replyStart, {}, word)};
        case Blow::Silence:
            return {};
        case Blow::Answer:
        case Blow::SendFailure:
            break;
        }
        return {usual};
    }

    Step m_step;
    int m_silences;
    Blow m_blow;
    bool m_struck = false;
    Scenario m_scenario;
};

const QString Walk::description = QStringLiteral(
    R"({"chips": [{"chip_type": "2", "mcus": [{"mcu_type": "2",
        "pcbs": [{"pcb_version": "1", "speciality": "A"}]}]}]})");
const QStringList Walk::rows{"MAIN,0,0", "AUX,1,0"};

} // namespace

/** The step table as a whole: every pair of step and event is decided, and every wait ends. */
class TestTable : public QObject
{
    Q_OBJECT

private slots:
    void everyPairIsDecided_data();
    void everyPairIsDecided();
    void everyStepIsInTheTable();
    void unexpectedEventIsLogged();
    void nextStepsAreTrue();
    void everyStepIsReached();
    void silenceGivesUp();
    void textsNameTheirRow();
    void retriesAreCounted();
    void everyWaitEnds_data();
    void everyWaitEnds();
    void countersAreFreshEverywhere_data();
    void countersAreFreshEverywhere();
};

void TestTable::everyPairIsDecided_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<QString>("events");
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
        {Step::Bootcode, "Answer Refusal ShortAnswer Silence RecordValid RecordInvalid RowsRead "
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
        {Step::SetVirtualVersion, "Answer Refusal ShortAnswer Silence VersionSet VersionRefused"},
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
        QTest::newRow(nameOf(row.step)) << int(row.step) << QString::fromLatin1(row.events);
}

/** At every try that a wait can have, an event that is expected has one line, and no other has. */
void TestTable::everyPairIsDecided()
{
    QFETCH(int, step);
    QFETCH(QString, events);
    const QStringList expected = events.split(QLatin1Char(' '));
    const QList<int> attempts = attemptsOf(Step(step));
    for (const Event event : allOf<Event>()) {
        const QString name = QString::fromLatin1(nameOf(event));
        const bool isExpected = expected.contains(name) || anywhere.count(event) > 0;
        for (const int attempt : attempts) {
            const int lines = linesFor(Step(step), event, attempt);
            QVERIFY2(
                lines == (isExpected ? 1 : 0),
                qPrintable(QStringLiteral("%1, try %2: %3").arg(name).arg(attempt).arg(lines)));
        }
    }
}

void TestTable::everyStepIsInTheTable()
{
    for (const Transition &line : stepTable()) {
        QVERIFY(line.action != nullptr);
        QVERIFY(line.text != nullptr);
        QVERIFY(*nameOf(line.step) != '\0');
        QVERIFY(*nameOf(line.next) != '\0');
    }
}

void TestTable::unexpectedEventIsLogged()
{
    EngineHarness harness(EngineHarness::twoMcus());
    QTest::ignoreMessage(QtWarningMsg, "unexpected event: Silence in step 0 Idle");
    QVERIFY(QMetaObject::invokeMethod(harness.engine.get(), "onTimeOutSendOtherCommand"));
    QCOMPARE(harness.lines, QStringList());
    QVERIFY(harness.link->sent.isEmpty());
    QVERIFY(harness.engine->timersIdle());
}

/** Every line leads to a step that waits, that its own action takes on, or in which runs end. */
void TestTable::nextStepsAreTrue()
{
    for (const Transition &line : stepTable()) {
        bool goesOn = ends.count(line.next) > 0;
        for (const Event event : allOf<Event>())
            goesOn |= anywhere.count(event) == 0 && linesFor(line.next, event, 0) > 0;
        QVERIFY2(goesOn, nameOf(line.next));
    }
}

void TestTable::everyStepIsReached()
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
void TestTable::silenceGivesUp()
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

void TestTable::textsNameTheirRow()
{
    const QSet<int> ofARow{int(Step::WriteInfo), int(Step::Bootcode), int(Step::ProductInfo),
                           int(Step::Version)};
    for (const Transition &line : stepTable()) {
        const QLatin1String text(line.text);
        if (!text.contains(QLatin1String("'%1'")))
            continue;
        const bool byRow =
            ofARow.contains(int(line.step) / 100 * 100) || line.step == Step::VirtualVersionGivenUp;
        QVERIFY2(byRow, line.text);
    }
}

/** Only the texts of retries have a number, and it is the number of the retry. */
void TestTable::retriesAreCounted()
{
    for (const Transition &line : stepTable()) {
        const QString text = QString::fromLatin1(line.text);
        const bool isRetry = line.kind == Transition::Kind::Retry;
        QCOMPARE(text.contains(QLatin1String("retry ")), isRetry);
        if (isRetry)
            QVERIFY2(text.contains(QStringLiteral("retry %1.").arg(line.retry)), line.text);
    }
}

void TestTable::everyWaitEnds_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("silences");
    QTest::addColumn<int>("blow");
    const QList<Step> steps = awaitingSteps();
    for (const Step step : steps) {
        const QList<int> attempts = attemptsOf(step);
        for (const int count : attempts) {
            for (const Blow blow : {Blow::Answer, Blow::Refusal, Blow::ShortAnswer, Blow::Silence,
                                    Blow::SendFailure}) {
                // The polls of a restart are sent by the first silence.
                const bool polled = step == Step::MainMcuRestarts || step == Step::SystemRestarts;
                if (polled && count == 0)
                    continue;
                QTest::newRow(qPrintable(QStringLiteral("%1, count %2, %3")
                                             .arg(int(step))
                                             .arg(count)
                                             .arg(QLatin1String(blowName(blow)))))
                    << int(step) << (polled ? count - 1 : count) << int(blow);
            }
        }
    }
}

/** The engine itself, brought to each wait and struck there. */
void TestTable::everyWaitEnds()
{
    QFETCH(int, step);
    QFETCH(int, silences);
    QFETCH(int, blow);
    Walk walk(Step(step), silences, Blow(blow));
    QVERIFY2(walk.ends(), qPrintable(walk.lines().join('\n')));
    QVERIFY2(walk.reached(), qPrintable(walk.lines().join('\n')));
    QVERIFY2(walk.nextUpgradeSucceeds(), qPrintable(walk.lines().join('\n')));
}

void TestTable::countersAreFreshEverywhere_data()
{
    QTest::addColumn<QString>("fault");
    QTest::newRow("silent") << "silent";
    QTest::newRow("refused") << "refuse";
    QTest::newRow("bad checksum") << "bad-checksum";
}

/** Every command fails twice, and still every one of them is heard at its third try. */
void TestTable::countersAreFreshEverywhere()
{
    QFETCH(QString, fault);
    Scenario scenario({testChip("MAIN", 0, 0, "1.0.0"), testChip("AUX", 1, 0, "1.0.0", 2)},
                      {testImage("MAIN", 0, {2, 0, 0}), testImage("AUX", 1, {2, 0, 0}, 2)});
    const QString twice = fault + QStringLiteral(":count=twice,word=");
    for (const char *word : {"model-name", "block,type=0", "block,type=1"})
        scenario.addFault(twice + QLatin1String(word));
    for (const char *word : {"bootcode", "product-info", "version", "enter"}) {
        for (const char *chip : {",type=0", ",type=1"})
            scenario.addFault(twice + QLatin1String(word) + QLatin1String(chip));
    }
    // One main MCU restart and one reboot are polled, each twice without success.
    scenario.addFault(twice + QStringLiteral("product-id"));
    scenario.addFault(twice + QStringLiteral("product-id,skip=3"));
    const bool refusesByStatus = fault == QLatin1String("refuse");
    if (!refusesByStatus) { // these two take a refusal for an answer
        scenario.addFault(twice + QStringLiteral("reboot"));
        scenario.addFault(twice + QStringLiteral("set-virtual-version"));
    }
    QVERIFY(scenario.run({"MAIN,0,0", "AUX,1,0"}, 2));
    QVERIFY(scenario.succeeded());
    QCOMPARE(scenario.results(2), QString("11"));
    // Model name, 2 x (bootcode, information, version, Enter, block), 2 x product ID, the two last.
    const int commands = 1 + 2 * 5 + 2 + (refusesByStatus ? 0 : 2);
    QCOMPARE(scenario.with("retry 1").size(), commands);
    QCOMPARE(scenario.with("retry 2").size(), commands);
}

AGENT_TEST(TestTable)

} // namespace tst_table

#include "tst_table.moc"
