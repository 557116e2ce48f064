// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "engine/steps/StepActions.h"
#include "engine/steps/StepMachine.h"
#include "support/TestCase.h"

#include <map>
#include <vector>

namespace engine::tst_step_machine {

using protocol::Reply;

using Events = QList<Event>;
using Actions = std::vector<Action>;

} // namespace engine::tst_step_machine

Q_DECLARE_METATYPE(engine::tst_step_machine::Actions)

namespace engine::tst_step_machine {

namespace {

/** A machine over the real table, whose actions do nothing but what a test sets. */
struct MachineBench : ReportBench
{
    MachineBench()
        : machine({output, report, [](Step) { return QString("AUX"); },
                   [this](Action action, const Reply &reply) { return run(action, reply); }})
    {
        report.begin();
        events.clear();
    }

    void handle(const Events &list)
    {
        for (const Event event : list)
            machine.handle(event);
    }

    /** What an action finds out, each time. */
    std::map<Action, Event> found;
    Actions performed;
    QList<Step> stepsDuring;
    QList<QByteArray> payloads;
    StepMachine machine;

private:
    std::optional<Event> run(Action action, const Reply &reply)
    {
        performed.push_back(action);
        stepsDuring += machine.step();
        payloads += reply.payload();
        const auto entry = found.find(action);
        return entry == found.end() ? std::nullopt : std::optional<Event>(entry->second);
    }
};

} // namespace

/** What the machine does with the lines of the table, whatever their actions do. */
class TestStepMachine : public QObject
{
    Q_OBJECT

private slots:
    void eventsOfAStep_data()
    {
        const tests::DataTable<Events, QStringList, Actions, Step> rows("given", "lines", "actions",
                                                                        "step");

        const Event silence = Event::Silence;
        const QString readName = QString("Read model name.");
        const QStringList retries{"Read model name fail, retry 1.",
                                  "Read model name fail, retry 2."};
        const Action again = &action::readModelName;
        rows("start", Events{Event::StartNewer}, QStringList{readName}, Actions{again},
             Step::ModelName);
        rows("counted retries", Events{Event::StartNewer, silence, silence, silence},
             QStringList{readName, retries[0], retries[1],
                         "Read model name fail, upgrade fail, exit."},
             Actions{again, again, again, &action::failStep}, Step::ModelName);
        rows("retries of several kinds",
             Events{Event::StartNewer, silence, Event::ShortAnswer, Event::Refusal},
             QStringList{readName, retries[0], retries[1],
                         "Read model name error, upgrade fail. ForcedUpgrade mode is required."},
             Actions{again, again, again, &action::failStep}, Step::ModelName);
        rows("a start counts from 0",
             Events{Event::StartNewer, silence, silence, Event::StartNewer, silence},
             QStringList{readName, retries[0], retries[1], readName, retries[0]},
             Actions{again, again, again, again, again}, Step::ModelName);
        rows("a line for all tries does not count",
             Events{Event::StartNewer, Event::Answer, silence}, QStringList{readName, retries[0]},
             Actions{again, &action::takeModelName, again}, Step::ModelName);
        rows("another step counts from 0",
             Events{Event::StartInfoRead, silence, silence, silence, silence, silence},
             QStringList{"Read virtual version.", "Read virtual version fail, retry 1.",
                         "Read virtual version fail, retry 2.", "Read virtual version fail.",
                         "Read the bootcode information of 'AUX'. fail, retry 1.",
                         "Read the bootcode information of 'AUX'. fail, retry 2."},
             Actions{&action::readVirtualVersion, &action::readVirtualVersion,
                     &action::readVirtualVersion, &action::readBootcode, &action::readBootcode,
                     &action::readBootcode},
             Step::VirtualVersionGivenUp);
        rows("tries that are steps", Events{Event::StartForced, silence, silence, Event::Answer},
             QStringList{"Read the bootcode information of 'AUX' fail, retry 1.",
                         "Read the bootcode information of 'AUX' fail, retry 2.",
                         "Read the bootcode information of 'AUX' success."},
             Actions{&action::readBootcode, &action::readBootcode, &action::readBootcode,
                     &action::takeBootcode},
             Step::Bootcode);
        rows("no sign of life in an image", Events{Event::StartFile, Event::NoSignOfLife}, {},
             Actions{&action::wait, &action::repeatImage}, Step::OtherImage);
        rows("no sign of life elsewhere", Events{Event::StartForced, Event::NoSignOfLife}, {},
             Actions{&action::readBootcode, &action::failStep}, Step::Bootcode);
    }

    void eventsOfAStep()
    {
        QFETCH(Events, given);
        MachineBench bench;
        bench.handle(given);
        QTEST(bench.lines, "lines");
        QTEST(bench.performed, "actions");
        QTEST(bench.machine.step(), "step");
    }

    /** In the step that the line leads to, and with the same reply. */
    void foundEventIsHandledAtOnce()
    {
        MachineBench bench;
        bench.found[&action::takeModelName] = Event::ModelMatches;
        bench.machine.handle(Event::StartNewer);
        bench.machine.handle(Event::Answer, Reply(PartBench::reply(0xF903, "HX-8")));
        QCOMPARE(bench.lines, QStringList({"Read model name.", "Model Name match."}));
        QCOMPARE(bench.performed, Actions({&action::readModelName, &action::takeModelName,
                                           &action::readFirstBootcode}));
        QCOMPARE(bench.stepsDuring,
                 QList<Step>({Step::ModelName, Step::ModelName, Step::Bootcode}));
        QCOMPARE(bench.payloads, QList<QByteArray>({"", "HX-8", "HX-8"}));
    }

    void unexpectedEventChangesNothing()
    {
        MachineBench bench;
        bench.handle({Event::StartNewer, Event::Silence});
        bench.lines.clear();
        bench.performed.clear();
        QTest::ignoreMessage(QtWarningMsg, "unexpected event: ImageWritten in step 5900 ModelName");
        bench.machine.handle(Event::ImageWritten);
        QVERIFY(bench.lines.isEmpty());
        QVERIFY(bench.performed.empty());
        QCOMPARE(bench.machine.step(), Step::ModelName);
        // The tries go on where they were.
        bench.machine.handle(Event::Silence);
        QCOMPARE(bench.lines, QStringList{"Read model name fail, retry 2."});
    }

    void performLeavesTheStep()
    {
        MachineBench bench;
        bench.machine.perform(&action::readBootcode);
        QCOMPARE(bench.performed, Actions{&action::readBootcode});
        QCOMPARE(bench.machine.step(), Step::Idle);
        QVERIFY(bench.lines.isEmpty());
    }

    void performHandlesWhatWasFound()
    {
        MachineBench bench;
        bench.found[&action::choose] = Event::ItemDone;
        bench.handle({Event::StartForced});
        bench.machine.perform(&action::choose);
        QVERIFY(bench.performed.back() == &action::chooseNext);
        QCOMPARE(bench.machine.step(), Step::NextItem);
    }

    /** The kind of a line decides what is reported, and the number of a retry is the line's. */
    void troubleIsReported()
    {
        MachineBench bench;
        bench.handle({Event::StartForced, Event::Silence, Event::Refusal, Event::Silence});
        QCOMPARE(bench.events.size(), 3);
        for (int i = 0; i < 2; ++i) {
            QCOMPARE(bench.events.at(i).kind, RunEvent::Kind::Retried);
            QCOMPARE(bench.events.at(i).attempt, i + 1);
        }
        QCOMPARE(bench.events.at(2).kind, RunEvent::Kind::GivenUp);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(bench.events.at(i).mcu.name, QString("AUX"));
            QCOMPARE(bench.events.at(i).text, bench.lines.at(i));
        }
    }

    void readKeyGoesInFront()
    {
        MachineBench bench;
        bench.output.setReading(true);
        bench.handle({Event::StartInfoRead});
        QCOMPARE(bench.lines, QStringList{"READPI|Read virtual version."});
    }
};

AGENT_TEST(TestStepMachine)

} // namespace engine::tst_step_machine

#include "tst_step_machine.moc"
