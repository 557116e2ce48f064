// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "engine/SequencerTable.h"
#include "engine/Steps.h"
#include "links/LinkState.h"

#include <QSet>
#include <QtTest>

namespace {

const Event allEvents[] = {Event::Answer, Event::Refusal, Event::ShortAnswer, Event::Silence};

/** Steps that await nothing: the engine goes on from them at once, or the run is over. */
const QSet<int> passed{step::writeInfoGivenUp, step::virtualVersionMalformed,
                       step::bootcodeGivenUp,  step::productInfoGivenUp,
                       step::versionGivenUp,   step::mainMcuIsBack};
const QSet<int> ends{step::mainMcuIsLost, step::rebootFailed, step::systemIsLost};

/** Where a wait begins when no line of the table leads there: by a start, or by an action. */
const QSet<int> begins{step::writeInfo, step::virtualVersion,  step::modelName,
                       step::bootcode,  step::productInfo,     step::version,
                       step::reboot,    step::mainMcuRestarts, step::setVirtualVersion};

QList<int> awaitingSteps()
{
    QList<int> steps;
    for (const Transition &line : sequencerTable()) {
        if (!steps.contains(line.step))
            steps.append(line.step);
    }
    return steps;
}

bool countsRetries(int step)
{
    for (const Transition &line : sequencerTable()) {
        if (line.step == step && line.count != Transition::anyCount)
            return true;
    }
    return false;
}

/** The counts at which a step can be waiting: those that its own lines lead to. */
QList<int> countsOf(int step)
{
    QList<int> counts{0};
    for (int count = 0; countsRetries(step) && count < 10; ++count) {
        const Transition *line = findTransition(step, Event::Silence, count);
        if (line == nullptr || line->next != step || line->action == nullptr)
            break;
        // The last line of all gives up; it leads here again only by name.
        const bool goesOn = findTransition(step, Event::Silence, count + 1) != nullptr;
        if (!goesOn)
            break;
        counts.append(count + 1);
    }
    return counts;
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
    Walk(int step, int silences, Blow blow)
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
        if (m_step <= step::writeInfoGivenUp)
            m_scenario.engine->setProductInfo({description, "AUX,1,0,2,1,65", "AUX,1,0,2,1,65"});
        else if (m_step <= step::virtualVersionMalformed)
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

    int now() const { return m_scenario.engine->currentStep(); }

    /** A step before the one that is aimed at, on the way of its retries. */
    bool isOnTheWay() const
    {
        const bool sameFamily = now() / 100 == m_step / 100 && now() < m_step;
        return sameFamily &&
               (awaitedWord(now()) == awaitedWord(m_step) || now() == step::virtualVersion);
    }

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

    int m_step;
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

/** The sequencer's table as a whole: nothing awaited without a way out. */
class TestTable : public QObject
{
    Q_OBJECT

private slots:
    void awaitedWordsAndLinesAgree();
    void everyEventHasOneLine();
    void whatHasNoLineChangesNothing();
    void noLineLeadsNowhere();
    void everyStepIsReached();
    void silenceGivesUp();
    void textsNameTheirRow();
    void everyWaitEnds_data();
    void everyWaitEnds();
    void countersAreFreshEverywhere_data();
    void countersAreFreshEverywhere();
};

void TestTable::awaitedWordsAndLinesAgree()
{
    const QList<int> steps = awaitingSteps();
    QVERIFY(steps.size() >= 21);
    for (const int step : steps)
        QVERIFY2(awaitedWord(step) > 0, qPrintable(QString::number(step)));
    for (int step = 0; step < 10'000; ++step)
        QCOMPARE(awaitedWord(step) > 0, steps.contains(step));
}

/** At every count that a wait can have, each event meets one line and only one. */
void TestTable::everyEventHasOneLine()
{
    const QList<int> steps = awaitingSteps();
    for (const int step : steps) {
        const QList<int> counts = countsOf(step);
        for (const int count : counts) {
            for (const Event event : allEvents) {
                // A reboot is accepted by any reply, and any reply is one to it.
                int matching = 0;
                for (const Transition &line : sequencerTable())
                    matching += line.step == step && line.events.testFlag(event) &&
                                (line.count == Transition::anyCount || line.count == count);
                QVERIFY2(matching == 1, qPrintable(QStringLiteral("step %1, count %2, event %3: %4")
                                                       .arg(step)
                                                       .arg(count)
                                                       .arg(int(event))
                                                       .arg(matching)));
            }
        }
    }
}

void TestTable::whatHasNoLineChangesNothing()
{
    EngineHarness harness(EngineHarness::twoMcus());
    QVERIFY(QMetaObject::invokeMethod(harness.engine.get(), "onTimeOutSendOtherCommand"));
    QCOMPARE(harness.lines, QStringList());
    QVERIFY(harness.link->sent.isEmpty());
    QVERIFY(harness.engine->timersIdle());
}

void TestTable::noLineLeadsNowhere()
{
    for (const Transition &line : sequencerTable()) {
        QVERIFY(line.action != nullptr);
        QVERIFY(line.text != nullptr);
        const bool known =
            awaitedWord(line.next) > 0 || passed.contains(line.next) || ends.contains(line.next);
        QVERIFY2(known, qPrintable(QString::number(line.next)));
    }
}

void TestTable::everyStepIsReached()
{
    QSet<int> reached = begins;
    for (const Transition &line : sequencerTable()) {
        if (line.next != line.step)
            reached.insert(line.next);
    }
    const QList<int> steps = awaitingSteps();
    for (const int step : steps)
        QVERIFY2(reached.contains(step), qPrintable(QString::number(step)));
}

/** However a wait goes wrong, its command goes out three times and not once more. */
void TestTable::silenceGivesUp()
{
    const QSet<int> polled{step::mainMcuRestarts, step::systemRestarts};
    for (const int start : begins + QSet<int>{step::virtualVersionGivenUp, step::systemRestarts}) {
        int current = start;
        int count = 0;
        int sends = polled.contains(start) ? 0 : 1;
        const Transition *line = nullptr;
        for (int turn = 0; turn < 20; ++turn) {
            line = findTransition(current, Event::Silence, count);
            QVERIFY(line != nullptr);
            const bool retries =
                line->next / 100 == start / 100 && awaitedWord(line->next) > 0 &&
                QLatin1String(line->text).contains(QLatin1String("Read product")) +
                        QLatin1String(line->text).contains(QLatin1String("retry")) >
                    0;
            if (!retries)
                break;
            ++sends;
            count += line->count == Transition::anyCount ? 0 : 1;
            current = line->next;
        }
        QVERIFY2(sends == 3, qPrintable(QStringLiteral("step %1: %2").arg(start).arg(sends)));
    }
}

void TestTable::textsNameTheirRow()
{
    const QSet<int> ofARow{step::writeInfo, step::bootcode, step::productInfo, step::version};
    for (const Transition &line : sequencerTable()) {
        const QLatin1String text(line.text);
        if (text.isEmpty())
            continue;
        const bool byRow =
            ofARow.contains(line.step / 100 * 100) || line.step == step::virtualVersionGivenUp;
        QVERIFY2(text.contains(QLatin1String("'%1'")) == byRow, line.text);
    }
}

void TestTable::everyWaitEnds_data()
{
    QTest::addColumn<int>("step");
    QTest::addColumn<int>("silences");
    QTest::addColumn<int>("blow");
    const QList<int> steps = awaitingSteps();
    for (const int step : steps) {
        const QList<int> counts = countsOf(step);
        for (const int count : counts) {
            for (const Blow blow : {Blow::Answer, Blow::Refusal, Blow::ShortAnswer, Blow::Silence,
                                    Blow::SendFailure}) {
                // The polls of a restart are sent by the first silence.
                const bool polled = step == step::mainMcuRestarts || step == step::systemRestarts;
                if (polled && count == 0)
                    continue;
                QTest::newRow(qPrintable(QStringLiteral("%1, count %2, %3")
                                             .arg(step)
                                             .arg(count)
                                             .arg(QLatin1String(blowName(blow)))))
                    << step << (polled ? count - 1 : count) << int(blow);
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
    Walk walk(step, silences, Blow(blow));
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
    // One main MCU restart and one reboot are polled, each twice in vain.
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

QTEST_GUILESS_MAIN(TestTable)
#include "tst_table.moc"
