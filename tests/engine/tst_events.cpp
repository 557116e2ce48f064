// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "engine/report/RunReporter.h"
#include "engine/steps/StepTable.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <thread>

namespace engine::tst_events {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using platform::Shell;
using platform::TimeOuts;

using Kind = RunEvent::Kind;

namespace {

const QByteArray netImage = netImageOf(patternImage(1000, 3));

QString described(const RunMcu &mcu)
{
    return QString("%1 %2,%3 %4>%5")
        .arg(mcu.name, mcu.chipType, mcu.chipIndex, mcu.runs, mcu.offered);
}

/** All values of an event except its times. */
QString described(const RunEvent &event)
{
    const QString verdict = event.success ? "well" : "badly";
    const QString mcu = described(event.mcu);
    switch (event.kind) {
    case Kind::Begun:
        return "begun";
    case Kind::SignatureChecked:
        return QString("signature %1 %2: %3").arg(event.key, verdict, event.text);
    case Kind::Reading:
        return "reading " + event.mcu.name;
    case Kind::Skipped:
        return "skipped " + mcu + ' ' + event.text;
    case Kind::Writing:
        return QString("writing %1 %2").arg(mcu).arg(event.bytes);
    case Kind::Progress:
        return QString("%1 %").arg(event.percent);
    case Kind::Retried:
        return QString("retry %1 %2: %3").arg(event.mcu.name).arg(event.attempt).arg(event.text);
    case Kind::GivenUp:
        return QString("gave up %1: %2").arg(event.mcu.name, event.text);
    case Kind::Written:
        return "written " + mcu + ' ' + verdict;
    case Kind::Restarting:
        return "restarting";
    case Kind::Installing:
        return "installing " + event.mcu.offered;
    case Kind::Installed:
        return "installed " + event.mcu.offered + ' ' + verdict;
    case Kind::Resuming:
    case Kind::Resumed:
    case Kind::NotResumed:
        return "not an event of a run";
    case Kind::Ended:
        return QString("ended %1 %2: %3 %4 %5")
            .arg(verdict)
            .arg(event.status)
            .arg(event.written)
            .arg(event.failed)
            .arg(event.skipped);
    }
    return {};
}

/** An engine with a device whose events are kept. */
struct Fixture : EngineHarness
{
    explicit Fixture(const QByteArray &package = makePackage(bothImages),
                     const std::optional<Shell> &shell = std::nullopt,
                     const std::optional<TimeOuts> &timeOuts = std::nullopt)
        : EngineHarness(twoMcus(), shell, timeOuts)
    {
        setPackage(package);
        QObject::connect(engine->runEvents(), &RunEvents::reported, engine.get(),
                         [this](const RunEvent &event) { events.append(described(event)); });
    }

    QStringList events;
};

const QStringList readBoth{"begun", "reading MAIN", "reading AUX", "reading MAIN", "reading AUX"};
const QStringList wroteMain{"writing MAIN 0,0 1.0.0>1.1.0 700", "18 %", "36 %",
                            "written MAIN 0,0 1.0.0>1.1.0 well"};
const QStringList wroteAux{"50 %", "92 %", "written AUX 1,0 1.0.0>1.0.1 well"};

} // namespace

class TestEvents : public QObject
{
    Q_OBJECT

private slots:
    void wholeRun()
    {
        Fixture fixture;
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(sameTranscript(
            fixture.events, readBoth + wroteMain + QStringList{"writing AUX 1,0 1.0.0>1.0.1 300"} +
                                wroteAux + QStringList{"restarting", "ended well 6: 2 0 0"}));
        fixture.events.clear();
        QVERIFY(fixture.run({"AUX,1,0"}, 5));
        QVERIFY(sameTranscript(fixture.events,
                               {"begun", "reading AUX", "writing AUX 1,0 1.0.0>1.0.1 300", "85 %",
                                "written AUX 1,0 1.0.0>1.0.1 well", "restarting",
                                "ended well 6: 1 0 0"}));
    }

    void retriesOfReads()
    {
        Fixture fixture;
        fixture.addFault("silent:word=bootcode,type=1,count=always");
        fixture.addFault("silent:word=version,type=0,count=once");
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(sameTranscript(
            fixture.events.mid(0, 8),
            {"begun", "reading MAIN", "reading AUX",
             "retry AUX 1: Read the bootcode information of 'AUX' fail, retry 1.",
             "retry AUX 2: Read the bootcode information of 'AUX' fail, retry 2.",
             "gave up AUX: Read the bootcode information of 'AUX' fail, check the next mcu.",
             "reading MAIN",
             "retry MAIN 1: Read the version information of 'MAIN' fail, retry 1."}));
    }

    void retriesOfAnImage()
    {
        Fixture fixture;
        fixture.addFault("refuse:word=enter,type=1,count=always");
        QVERIFY(fixture.run({"AUX,1,0"}, 5));
        const QStringList entering{"retry AUX 1: 'AUX' Enter F/W Update Mode fail, retry 1.",
                                   "retry AUX 2: 'AUX' Enter F/W Update Mode fail, retry 2.",
                                   "gave up AUX: 'AUX' Enter F/W Update Mode fail."};
        const QStringList again[] = {{"retry AUX 1: 'AUX' F/W update fail, retry 1."},
                                     {"retry AUX 2: 'AUX' F/W update fail, retry 2."}};
        QVERIFY(sameTranscript(
            fixture.events, QStringList{"begun", "reading AUX", "writing AUX 1,0 1.0.0>1.0.1 300"} +
                                entering + again[0] + entering + again[1] + entering +
                                QStringList{"gave up AUX: 'AUX' F/W Update fail.",
                                            "written AUX 1,0 1.0.0>1.0.1 badly", "restarting",
                                            "ended well 6: 0 1 0"}));

        Fixture blocks;
        blocks.addFault("silent:word=block,type=1,count=twice");
        QVERIFY(blocks.run({"AUX,1,0"}, 5));
        QVERIFY(sameTranscript(blocks.events.filter("retry"),
                               {"retry AUX 1: F/W update timeout, retry 1.",
                                "retry AUX 2: F/W update timeout, retry 2."}));
        QCOMPARE(blocks.events.last(), QString("ended well 6: 1 0 0"));
    }

    void wrongModel()
    {
        Fixture fixture(makePackage(bothImages, "HX-9"));
        QVERIFY(fixture.run({"MAIN,0,0"}, 2));
        QVERIFY(sameTranscript(
            fixture.events, {"begun",
                             "gave up MAIN: Firmware Model Name is HX-9.\r\nDevice Model Name is "
                             "HX-8.\r\nModel Name does not match, upgrade fail.",
                             "ended badly 7: 0 0 0"}));
    }

    /** An image of fewer than 256 bytes gets no verdict from the uploader. */
    void guardedRun()
    {
        Fixture fixture(makePackage({testImage("AUX", 1, {1, 0, 1}, 2, 100)}), std::nullopt,
                        EngineHarness::withShortGuard());
        QVERIFY(fixture.run({"AUX,1,0"}, 5));
        QCOMPARE(fixture.events.filter("No sign of life for too long.").isEmpty(), false);
        QCOMPARE(fixture.events.last().section(' ', 0, 0), QString("ended"));
    }

    void moduleImage()
    {
        QStringList order;
        RecordingShell shell;
        shell.onRun = [&order](const QString &) { order.append("command"); };
        Fixture fixture(makePackage({{"NET", 32, 1, 0, 0, '\0', {1, 23, 0}, netImage}}),
                        shell.shell());
        QObject::connect(fixture.engine->runEvents(), &RunEvents::reported,
                         [&order](const RunEvent &event) { order.append(described(event)); });
        QVERIFY(fixture.run({"NET,32,0"}, 5));
        const int size = netImage.size();
        QVERIFY(sameTranscript(fixture.events.filter(QRegularExpression("^[^0-9]")).mid(5),
                               {QString("writing NET 32,0 >1.23.0 %1").arg(size), "installing 1.23",
                                "installed 1.23 well", "written NET 32,0 >1.23.0 well",
                                "restarting", "ended well 6: 1 0 0"}));
        QVERIFY(order.indexOf("installing 1.23") < order.indexOf("command"));
        QVERIFY(order.lastIndexOf("command") < order.indexOf("installed 1.23 well"));
    }

    /** The device begins it by itself, outside of any run. */
    void moduleImageOfTheDevice()
    {
        RecordingShell shell;
        Fixture fixture(makePackage(bothImages), shell.shell());
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->sendAppStatus(command::applicationStatus, 0);
        QByteArray payload("\x01\x79\x01\x00\x40", 5);
        payload += netImage;
        fixture.link->receive(mcu::buildFrame(mcu::replyStart, {}, command::escape, payload));
        QVERIFY(sameTranscript(fixture.events, {"installing 1.23", "installed 1.23 well"}));
    }

    void nothingOutsideOfRuns()
    {
        Fixture fixture;
        fixture.addFault("silent:word=virtual-version,count=once");
        fixture.engine->slotConnect("ttyS2");
        QVERIFY(!fixture.engine->getMergeFWJSON(fixture.packagePath()).isEmpty());
        fixture.engine->getProductInfo();
        QVERIFY(fixture.waitForEnd());
        QVERIFY(fixture.lines.filter("PISHOW").size() == 1);
        QVERIFY(sameTranscript(fixture.events, {}));
    }

    void reporterOutsideOfRuns()
    {
        QStringList events;
        RunReporter reporter([&events](const RunEvent &event) { events.append(described(event)); });
        reporter.skip({}, "bad_row");
        reporter.write({}, 1);
        reporter.written(true);
        QCOMPARE(events, QStringList());
        reporter.begin();
        reporter.written(true); // nothing is being written
        QCOMPARE(events, QStringList("begun"));
    }

    /** After a run that failed at its first row, a failing list still reports progress. */
    void listingOnAnotherThread()
    {
        Fixture fixture;
        QVERIFY(QFile::remove(fixture.packagePath()));
        QVERIFY(fixture.run(bothRows, 2));
        fixture.events.clear();
        fixture.progress.clear();
        std::thread lister([&] { fixture.engine->getMergeFWJSON(fixture.packagePath()); });
        lister.join();
        QTRY_COMPARE(fixture.progress, QList<double>{50.0});
        QCOMPARE(fixture.events, QStringList());
    }

    /** A reply that is taken is never trouble, and each trouble is either a retry or an end. */
    void troubleInTheTable()
    {
        int retries = 0;
        int givenUp = 0;
        for (const Transition &line : stepTable()) {
            const bool isTrouble =
                line.kind == Transition::Kind::Retry || line.kind == Transition::Kind::GivenUp;
            QVERIFY2(!isTrouble || line.event != Event::Answer, line.text);
            QCOMPARE(line.retry > 0, line.kind == Transition::Kind::Retry);
            const bool unanswered = isTrouble && line.event == Event::Silence;
            retries += unanswered && line.retry > 0;
            givenUp += unanswered && line.retry == 0;
        }
        // Eleven commands are sent three times each.
        QCOMPARE(retries, 22);
        QCOMPARE(givenUp, 11);
    }
};

AGENT_TEST(TestEvents)

} // namespace engine::tst_events

#include "tst_events.moc"
