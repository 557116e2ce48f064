// SPDX-License-Identifier: Apache-2.0
#include "client/ScriptedRun.h"
#include "client/UpgradeRows.h"
#include "support/TestCase.h"

#include <QTest>

namespace tst_model {

using client::AgentReply;
using client::chosenRows;
using client::likelyState;
using client::McuPhase;
using client::McuState;
using client::outcomeOf;
using client::packageRows;
using client::requestedRows;
using client::RunPhase;
using client::TimeLeft;
using client::UpgradeModel;
using client::UpgradeRows;
using package::PackageDescription;
using package::parseDescription;

namespace {

using namespace std::chrono_literals;
using Kind = AgentReply::Kind;
using ms = std::chrono::milliseconds;

using Run = ScriptedRun;

constexpr int done = 0;
constexpr int failed = 1;
constexpr int nothing = 3;
constexpr int unseen = 6;

QString equalLine(const QString &name)
{
    return "Firmware version V1.0.0 equal to the '" + name + "' version V1.0.0, will not upgrade.";
}

} // namespace

class TestModel : public QObject
{
    Q_OBJECT

private slots:
    void overallPercentNeverGoesDown()
    {
        Run run({"A", "B"});
        double last = 0.0;
        for (const double percent : {0.0, 10.0, 5.0, 60.0, 0.0, 99.0, 250.0, -1.0}) {
            run.progress(percent);
            QVERIFY(run.model.percent() >= last && run.model.percent() <= 100.0);
            last = run.model.percent();
        }
        QCOMPARE(run.end(true).model.percent(), 100.0);
    }

    void percentOfOneMcu()
    {
        Run run({"A", "B", "C", "D"});
        run.say({equalLine("A"), equalLine("B"), "Send 'Enter F/W Upgrade Mode' command to 'C'.",
                 "'C' Enter 'F/W Update Mode' success."});
        run.progress(50).progress(62.5);
        QCOMPARE(run.model.mcus().at(2).percent, 50.0);
        QCOMPARE(run.model.mcus().at(2).blocks, 1);
    }

    /** The device has gone silent in each step of a run: what is waited for, and to the end. */
    void waits()
    {
        Run run({"A", "B"});
        QCOMPARE(run.waitAfter(9s), QString());
        run.say({"Read model name."});
        QCOMPARE(run.waitAfter(2s), QString()); // too short to be shown
        QCOMPARE(run.waitAfter(4s),
                 QString("waiting for an answer, 4 s of 10, try 1 of 3, gives up in 0:26"));
        run.say({"Read model name fail, retry 2."});
        QCOMPARE(run.waitAfter(4s),
                 QString("waiting for an answer, 4 s of 10, try 3 of 3, gives up in 0:06"));
        run.say({"Read bootcode information of 'A'."});
        QCOMPARE(run.waitAfter(3s),
                 QString("waiting for an answer, 3 s of 10, try 1 of 3, gives up in 0:27"));
        // The agent repeats the line of a request with the request.
        run.say({"Read the bootcode information of 'A' fail, retry 1.",
                 "Read bootcode information of 'A'."});
        QCOMPARE(run.waitAfter(3s),
                 QString("waiting for an answer, 3 s of 10, try 2 of 3, gives up in 0:17"));
        run.say({"Read bootcode information of 'B'."});
        QCOMPARE(run.waitAfter(3s),
                 QString("waiting for an answer, 3 s of 10, try 1 of 3, gives up in 0:27"));
        const QString enter = "Send 'Enter F/W Upgrade Mode' command to 'A'.";
        const QString entered = "'A' Enter 'F/W Update Mode' success.";
        run.say({enter});
        QCOMPARE(run.waitAfter(12s),
                 QString("waiting for an answer, 12 s of 30, try 1 of 9, gives up in 4:18"));
        run.say({entered}).progress(20);
        QCOMPARE(run.waitAfter(5s),
                 QString("waiting for an answer, 5 s of 15, try 1 of 9, gives up in 3:40"));
        run.say({"F/W update timeout, retry 2."});
        QCOMPARE(run.waitAfter(5s),
                 QString("waiting for an answer, 5 s of 15, try 3 of 9, gives up in 3:10"));
        run.say({"'A' F/W update fail, retry 1.", enter});
        QCOMPARE(run.waitAfter(12s),
                 QString("waiting for an answer, 12 s of 30, try 4 of 9, gives up in 2:48"));
        run.say({"'A' Enter F/W Update Mode fail, retry 1."});
        QCOMPARE(run.waitAfter(12s),
                 QString("waiting for an answer, 12 s of 30, try 5 of 9, gives up in 2:18"));
        run.say({"'A' F/W update fail, retry 2.", enter, entered, "Erasing..."}).progress(40);
        QCOMPARE(run.waitAfter(15s),
                 QString("waiting for an answer, 15 s of 15, try 7 of 9, gives up in 0:30"));
        // Only the wait for the last block takes this long.
        QCOMPARE(run.waitAfter(20s),
                 QString("waiting for an answer, 20 s of 30, try 7 of 9, gives up in 0:40"));
        run.say({"Write firmware 'A' success.", "The Main MCU is restarting, please wait."});
        QCOMPARE(run.waitAfter(12s),
                 QString("waiting for the restart, 12 s of 40, gives up in 0:28"));
        run.say({"Upgrade Main MCU success."});
        QCOMPARE(run.waitAfter(5s), QString());
        run.say({"Send reboot command.", "Start to reboot, please wait."});
        QCOMPARE(run.waitAfter(9s), QString());
        QCOMPARE(run.waitAfter(14s),
                 QString("waiting for the restart, 14 s of 40, gives up in 0:26"));
        QCOMPARE(run.waitAfter(75s), QString("no message for 75 s"));
        run.end(true);
        QCOMPARE(run.waitAfter(4s), QString());
    }

    /** After a second, but not before the agent's own pause after an image is over. */
    void heartbeats()
    {
        Run run({"A", "B"});
        QCOMPARE(run.watch.heartbeatAfter().count(), 1000LL);
        run.write("A");
        QVERIFY(run.watch.heartbeatAfter() > 1s);
        run.say({"Write all firmware success."});
        QVERIFY(run.watch.heartbeatAfter() > 1s);
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'B'."});
        QCOMPARE(run.watch.heartbeatAfter().count(), 1000LL);
        run.progress(60);
        QCOMPARE(run.watch.heartbeatAfter().count(), 1000LL);
    }

    /** By bytes: the second image is four times as long. */
    void timeLeft()
    {
        const auto seconds = [](const TimeLeft &left) { return double(left.time.count()) / 1000; };
        Run run({});
        run.model = UpgradeModel({{"MAIN", 0, 0, "2.0.0", 25'600, false},
                                  {"AUX", 1, 0, "2.0.0", 102'400, false},
                                  {"KEY", 2, 0, "2.0.0", 51'200, false}});
        // 700 blocks of 284 bytes at 57600 baud, the main MCU's restart and the reboot of 10 s
        // each, 1 s after each other image, 0.2 s before each image.
        const TimeLeft total = run.estimate.ofRun(run.model, run.now);
        QVERIFY(total.isWhole);
        QVERIFY(std::abs(seconds(total) - (700 * 2840.0 / 57600 + 22.6)) < 0.01);
        run.say({"Read 'KEY' version success, version is V2.0.0"});
        // KEY runs the package's version and gets nothing.
        const double written = seconds(run.estimate.ofRun(run.model, run.now));
        QVERIFY(std::abs(written - (500 * 2840.0 / 57600 + 21.4)) < 0.01);
        run.step = 100ms;
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'MAIN'.",
                 "'MAIN' Enter 'F/W Update Mode' success.", "Writing..."});
        for (int i = 1; i <= 50; ++i)
            run.progress(i / 3.0);
        // The line is half as fast as it could be: 450 blocks of 0.1 s are left.
        const double half = seconds(run.estimate.ofRun(run.model, run.now));
        QVERIFY2(std::abs(half - (45 + 10 + 1.2 + 10)) < 0.2, qPrintable(QString::number(half)));
        // While nothing answers nothing rises.
        QVERIFY(seconds(run.estimate.ofRun(run.model, run.now + 20s)) <= half);
        // Nor does it rise after the wait, which says nothing about the speed of the line.
        run.now += 20s;
        run.progress(51 / 3.0);
        QVERIFY(seconds(run.estimate.ofRun(run.model, run.now)) <= half);
        // A size that is not known is not guessed.
        run.model = UpgradeModel({{"MAIN", 0, 0, "2.0.0"}, {"AUX", 1, 0, "2.0.0", 102'400, false}});
        QVERIFY(!run.estimate.ofRun(run.model, run.now).isWhole);
    }

    void rateOfAnImage()
    {
        Run run({"A"});
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                 "'A' Enter 'F/W Update Mode' success.", "Erasing...", "Writing..."});
        const ms start = run.now;
        for (int i = 1; i <= 4; ++i)
            run.progress(i * 10.0);
        const McuState &mcu = run.model.mcus().first();
        QCOMPARE(mcu.rate(start + 4s), 256.0);
        QCOMPARE(mcu.rate(start), 0.0);
    }

    void secondsRunFromTheFirstRequestToTheEnd()
    {
        Run run({"A", "B"});
        run.write("A").say({equalLine("B")}).end(true);
        QCOMPARE(run.model.mcus().at(0).seconds(run.now), 5.0);
        QVERIFY(run.model.mcus().at(1).seconds(run.now) < 0);
    }

    void twoRowsOfOneName()
    {
        Run run({"X", "X"});
        run.write("X");
        QCOMPARE(run.results(), QStringList({"updated", "open"}));
        run.write("X").end(true);
        QCOMPARE(run.results(), QStringList({"updated", "updated"}));
    }

    /** The lines have names alone, so the order of the rows says which one they are about. */
    void readsOfTwoRowsOfOneName()
    {
        Run known({"X:1", "B:2", "X:3"});
        Run joined(QStringList{});
        joined.model = UpgradeModel::ofActiveRun();
        for (Run *run : {&known, &joined}) {
            for (const char *name : {"X", "B", "X"})
                run->say({"Read bootcode information of '" + QString(name) + "'."});
            for (const char *line : {"X 1.0", "B 2.0", "X 3.0"}) {
                const QStringList words = QString(line).split(' ');
                run->say(
                    {"Send 'Read FW version' command to '" + words.at(0) + "'.",
                     "Read '" + words.at(0) + "' version success, version is V" + words.at(1)});
            }
            run->write("X").say({equalLine("B")}).write("X").end(true);
            QCOMPARE(run->model.mcus().size(), 3);
            QCOMPARE(run->results(), QStringList({"updated", "up to date", "updated"}));
            QStringList versions;
            for (const McuState &mcu : run->model.mcus())
                versions += mcu.oldVersion;
            QCOMPARE(versions, QStringList({"1.0", "2.0", "3.0"}));
        }
        QCOMPARE(known.model.mcus().at(0).label, QString("X (1,0)"));
        QCOMPARE(known.model.mcus().at(1).label, QString("B"));
    }

    /** The line that refuses a row has no name. */
    void refusedRow_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::addColumn<QStringList>("results");
        const QString greater =
            "Firmware version V2.0.0 greater than the 'B' version V1.0.0, will upgrade.";
        const QString refused = "Chip type or chip index error.";
        const QStringList written = {"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                                     "'A' Enter 'F/W Update Mode' success.",
                                     "Write firmware 'A' success."};
        QTest::newRow("chosen") << QStringList({equalLine("A"), greater, refused})
                                << QStringList({"up to date", "failed", "no fit"});
        QTest::newRow("forced") << written + QStringList({refused})
                                << QStringList({"updated", "failed", "no fit"});
        QTest::newRow("forced, the first")
            << QStringList({"Read bootcode information of 'C'.", refused})
            << QStringList({"failed", "no fit", "no fit"});
        QTest::newRow("gap") << QStringList({"gap", refused})
                             << QStringList({"unknown", "unknown", "unknown"});
    }

    void refusedRow()
    {
        QFETCH(QStringList, lines);
        QFETCH(QStringList, results);
        Run run({"A", "B", "C"});
        for (const QString &line : qAsConst(lines)) {
            if (line == "gap")
                run.model.expectGap();
            else
                run.say({line});
        }
        run.end(true);
        QCOMPARE(run.results(), results);
        if (results.contains("failed"))
            QCOMPARE(run.cause(), QString("rows-refused"));
    }

    void mainMcuFirst()
    {
        Run run({"MAIN", "AUX"});
        run.say({"Read bootcode information of 'MAIN'.", "MAIN MCU running in Bootcode.",
                 "'MAIN' product information flag is valid, start to upgrade main mcu first."});
        run.write("MAIN").say({"The Main MCU is restarting, please wait."});
        QVERIFY(run.model.mcus().at(0).phase == McuPhase::Restarting);
        run.say({"Upgrade Main MCU success.", "Read bootcode information of 'AUX'."});
        QVERIFY(run.model.mcus().at(0).phase == McuPhase::Finished);
        run.write("AUX").end(true);
        QCOMPARE(run.results(), QStringList({"updated", "updated"}));
        QCOMPARE(run.exitCode(), done);
    }

    void mainMcuDoesNotComeBack()
    {
        Run run({"MAIN", "AUX"});
        run.write("MAIN").say(
            {"The Main MCU is restarting, please wait.", "Read product ID.", "Main MCU run fail."});
        run.end(false);
        QCOMPARE(run.results(), QStringList({"failed", "not reached"}));
        QCOMPARE(run.cause(), QString("main-mcu-lost"));
    }

    void silentMcu()
    {
        Run run({"A", "B"});
        run.say({"Read the bootcode information of 'A' fail, retry 1.",
                 "Read the bootcode information of 'A' fail, retry 2.",
                 "Read the bootcode information of 'A' fail, check the next mcu."});
        run.write("B").end(true);
        QCOMPARE(run.results(), QStringList({"failed", "updated"}));
        QCOMPARE(run.model.mcus().at(0).retries, 2);
        QCOMPARE(run.cause(), QString("mcu-silent"));
        QCOMPARE(run.exitCode(), failed);
    }

    /** What could not be read does not matter once the image is written. */
    void unreadVersion()
    {
        Run run({"A"});
        run.say({"Read the version information of 'A' fail, check the next mcu."});
        run.write("A").end(true);
        QCOMPARE(run.exitCode(), done);
    }

    void imageRetries()
    {
        Run run({"A"});
        const QStringList attempt = {"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                                     "'A' Enter F/W Update Mode fail, retry 1."};
        run.say(attempt + attempt +
                QStringList{"'A' Enter F/W Update Mode fail.", "'A' F/W Update fail."});
        run.end(true);
        QCOMPARE(run.model.mcus().first().retries, 2);
        QCOMPARE(run.cause(), QString("update-mode-refused"));
    }

    /** One fault has one cause, wherever in the list the MCU is: an MCU that is given up counts as
     *  100 % of its row, which is only sent when rows follow. */
    void refusedUpdateMode()
    {
        const QStringList attempt = {"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                                     "'A' Enter F/W Update Mode fail, retry 1.",
                                     "Send 'Enter F/W Upgrade Mode' command to 'A'.",
                                     "'A' Enter F/W Update Mode fail, retry 2.",
                                     "Send 'Enter F/W Upgrade Mode' command to 'A'.",
                                     "'A' Enter F/W Update Mode fail."};
        for (const bool isLast : {false, true}) {
            Run run(isLast ? QStringList{"B", "A"} : QStringList{"A", "B"});
            if (isLast)
                run.write("B");
            run.say(attempt + QStringList{"'A' F/W update fail, retry 1."} + attempt +
                    QStringList{"'A' F/W update fail, retry 2."} + attempt);
            if (!isLast)
                run.progress(50);
            run.say({"'A' F/W Update fail."});
            if (!isLast)
                run.write("B");
            run.end(true);
            QCOMPARE(run.cause(), QString("update-mode-refused"));
        }
    }

    /** What was begun and is not whole waits in the bootcode, whatever ended the last attempt. */
    void brokenOffAndThenRefused()
    {
        Run run({"A"});
        const QStringList enter = {"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                                   "'A' Enter F/W Update Mode fail, retry 1."};
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                 "'A' Enter 'F/W Update Mode' success.", "Erasing..."});
        run.progress(20).say({"'A' F/W update fail, retry 1."});
        run.say(enter + enter +
                QStringList{"'A' Enter F/W Update Mode fail.", "'A' F/W Update fail."});
        run.end(true);
        QCOMPARE(run.cause(), QString("image-not-written"));
    }

    /** The cable is pulled while the third MCU is written. */
    void deviceGoneInTheMiddle()
    {
        Run run({"A", "B", "C", "D"});
        run.write("A").say({"Send 'Enter F/W Upgrade Mode' command to 'C'.",
                            "'C' Enter F/W Update Mode fail.", "'C' F/W Update fail.",
                            "Send 'Enter F/W Upgrade Mode' command to 'B'.",
                            "'B' Enter 'F/W Update Mode' success.", "Erasing..."});
        run.progress(30).say({"'B' F/W Update fail.",
                              "Send 'Enter F/W Upgrade Mode' command to 'D'.",
                              "'D' Enter F/W Update Mode fail.", "'D' F/W Update fail.",
                              "Send reboot command.", "Reboot systerm fail."});
        run.end(false);
        QCOMPARE(run.results(), QStringList({"updated", "failed", "failed", "failed"}));
        QCOMPARE(run.cause(), QString("image-not-written"));
        QCOMPARE(outcomeOf(run.model).summary,
                 QString("The upgrade failed: 1 MCU updated, 3 failed."));
    }

    void failedRebootAfterGoodImages()
    {
        Run run({"A"});
        run.write("A").say({"Send reboot command.", "Reboot systerm fail."}).end(false);
        QCOMPARE(run.cause(), QString("reboot-refused"));
        QCOMPARE(outcomeOf(run.model).summary, QString("The upgrade failed: 1 MCU updated."));
    }

    /** An MCU that says nothing in the pass of the images has none that fits; after a gap this is
     *  not certain. */
    void rowsInAGap()
    {
        for (const bool isGap : {false, true}) {
            Run run({"A", "B", "C"});
            run.write("A");
            if (isGap)
                run.model.expectGap();
            run.write("C").end(true);
            QCOMPARE(run.results(),
                     QStringList({"updated", isGap ? "unknown" : "no fit", "updated"}));
            QCOMPARE(run.exitCode(), isGap ? unseen : done);
        }
    }

    /** A line that does not show where the run is leaves a gap open: this one comes after the
     *  main MCU's image and after the reboot. */
    void gapBeforeTheDeviceIsBack()
    {
        for (const char *last :
             {"Start to set virtual version.", "Ignore to set virtual version."}) {
            Run run({"A", "B"});
            run.write("A");
            run.model.expectGap();
            run.say({"Read product ID.", last}).end(true);
            QCOMPARE(run.results(), QStringList({"updated", "unknown"}));
            QCOMPARE(run.exitCode(), unseen);
        }
    }

    /** Silence is not a gap when the same MCU continues. */
    void silencesOfOneMcu()
    {
        Run run({"A", "B"});
        for (const char *line : {"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                                 "'A' Enter 'F/W Update Mode' success.", "Erasing...",
                                 "Erase success.", "Writing...", "Write firmware 'A' success."}) {
            run.model.expectGap();
            run.say({line});
        }
        run.say({equalLine("B"), "Send reboot command."});
        run.model.expectGap();
        run.end(true);
        QCOMPARE(run.results(), QStringList({"updated", "up to date"}));
        QCOMPARE(run.exitCode(), done);
    }

    void progressOfALaterRow()
    {
        Run run({"A", "B", "C"});
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                 "'A' Enter 'F/W Update Mode' success.", "Erasing..."});
        run.progress(10).progress(90);
        QCOMPARE(run.results(), QStringList({"unknown", "open", "open"}));
        run.say({"Write firmware 'C' success."}).end(true);
        QCOMPARE(run.results(), QStringList({"unknown", "unknown", "updated"}));
        QCOMPARE(run.exitCode(), unseen);
    }

    void chosenMcuThatSaysNothing()
    {
        Run run({"A", "B"});
        run.say({"Firmware version V1.1.0 greater than the 'A' version V1.0.0, will upgrade.",
                 equalLine("B")});
        run.end(true);
        QCOMPARE(run.results(), QStringList({"unknown", "up to date"}));
        QCOMPARE(run.exitCode(), unseen);
    }

    void endInAGap()
    {
        for (const bool isGap : {false, true}) {
            Run run({"A", "B"});
            run.say({"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                     "'A' Enter 'F/W Update Mode' success."});
            if (isGap)
                run.model.expectGap();
            run.end(false);
            QCOMPARE(run.results(), isGap ? QStringList({"unknown", "unknown"})
                                          : QStringList({"failed", "not reached"}));
            QCOMPARE(run.exitCode(), failed);
        }
    }

    void nothingFits()
    {
        Run run({"A", "B"});
        run.say({"Send 'Read FW version' command to 'A'.", equalLine("B")}).end(true);
        QCOMPARE(run.results(), QStringList({"no fit", "up to date"}));
        QCOMPARE(run.exitCode(), nothing);
    }

    void packageWithoutARecord()
    {
        Run run({"A"});
        run.say({"No suitable firmware for 'A' mcu in the firmware package."}).end(true);
        QCOMPARE(run.cause(), QString("image-missing"));
        QCOMPARE(run.exitCode(), failed);
    }

    void virtualVersionNotStored()
    {
        Run run({"A"});
        run.write("A").say({"Set virtual version fail.",
                            "All firmware upgrade done, but set virtual version fail."});
        run.end(true);
        QCOMPARE(run.results(), QStringList("updated"));
        QCOMPARE(run.exitCode(), failed);
        QCOMPARE(run.cause(), QString("virtual-version-not-set"));
    }

    void networkModule()
    {
        Run run({"MAIN", "AUX", "NET:32"});
        run.write("MAIN").say({"Start to upgrade NET firmware."});
        QVERIFY(run.model.phase() == RunPhase::Installing);
        run.progress(70).say(
            {"NET firmware checksum success.", "NET firmware ver1.23 upgrade success."});
        run.end(true);
        QCOMPARE(run.results(), QStringList({"updated", "no fit", "updated"}));
        QCOMPARE(run.model.netVersion(), QString("1.23"));

        Run bad({"NET:32"});
        bad.say(
            {"Start to upgrade NET firmware.", "NET firmware checksum fail, upgrade net fail."});
        QCOMPARE(bad.end(true).cause(), QString("net-image-damaged"));
        QCOMPARE(bad.exitCode(), failed);
    }

    void brokenOffInTheMiddle()
    {
        Run run({"A", "B"});
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                 "'A' Enter 'F/W Update Mode' success."});
        run.end(false);
        QCOMPARE(run.results(), QStringList({"failed", "not reached"}));
        QCOMPARE(run.cause(), QString("unexplained"));
    }

    void packageFailsInTheMiddle()
    {
        const QMap<QString, QString> causes{
            {"Firmware package was changed during the upgrade.", "package-changed"},
            {"Firmware package could not be read, upgrade fail.", "package-read-error"}};
        for (const QString &line : causes.keys()) {
            Run run({"A", "B"});
            run.write("A").say({line});
            run.end(false);
            QCOMPARE(run.results(), QStringList({"updated", "not reached"}));
            QCOMPARE(run.cause(), causes.value(line));
            QCOMPARE(run.exitCode(), failed);
        }
    }

    void namesThatWereNotRequested()
    {
        Run run({"A"});
        for (int i = 0; i < 10000; ++i)
            run.say({QStringLiteral("Write firmware 'X%1' success.").arg(i)});
        QVERIFY(run.model.mcus().size() <= 4096);
        Run empty({});
        empty.progress(50).say({"Writing...", "Erasing...", "F/W update timeout, retry 1.",
                                "Upgrade Main MCU success.", "Main MCU run fail.",
                                "Start to upgrade NET firmware.", "NET package checksum error."});
        QCOMPARE(empty.end(false).exitCode(), failed);
    }

    void linesAfterTheEndChangeNothing()
    {
        Run run({"A"});
        run.write("A").end(true).say({"Main MCU run fail."}).end(false);
        QCOMPARE(run.exitCode(), done);
    }

    /** After a lost connection it is not certain that the agent still runs. */
    void likelyStateOfTheAgent()
    {
        Run run({"A"});
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'A'."});
        QVERIFY(
            likelyState(run.model, ProblemId::Interrupted).at(1).startsWith("The agent finishes"));
        for (const ProblemId cause : {ProblemId::ConnectionLost, ProblemId::NoSignOfLife})
            QVERIFY(likelyState(run.model, cause).at(1).startsWith("If the agent still runs"));
    }

    /** Whatever the phase, there is something to say. */
    void likelyStates()
    {
        const auto likelyState = [](const UpgradeModel &model) {
            return client::likelyState(model, ProblemId::ConnectionLost);
        };
        Run run({"A"});
        QVERIFY(likelyState(run.model).first().startsWith("Nothing was written"));
        run.say({"Read bootcode information of 'A'."});
        QVERIFY(likelyState(run.model).first().startsWith("Nothing was written so far"));
        run.say({"Send 'Enter F/W Upgrade Mode' command to 'A'."});
        QVERIFY(likelyState(run.model).first().startsWith("'A' was being written"));
        run.write("A").say({"Send reboot command."});
        QVERIFY(likelyState(run.model).first().startsWith("All images are written"));
        run.say({"Start to upgrade NET firmware."});
        QVERIFY(likelyState(run.model).first().startsWith("The network module was installing"));
        run.end(true);
        QVERIFY(likelyState(run.model).first().startsWith("The upgrade had ended"));
    }

    void rowsOfAPackage()
    {
        const PackageDescription package = parseDescription(R"({"chips": [
            {"name": "MAIN", "chip_type": "1", "chip_quanity": "1", "mcus": [
                {"pcbs": [{"name": "MAIN", "ver1": "1", "ver2": "1", "ver3": "0"}]}]},
            {"name": "A 1", "chip_type": "3", "chip_quanity": "2", "mcus": [
                {"pcbs": [{"name": "A, old", "ver1": "2", "ver2": "0", "ver3": "0"},
                          {"name": "A, new", "ver1": "3", "ver2": "0", "ver3": "0"}]}]},
            {"name": "B", "chip_type": "4", "chip_quanity": "3", "mcus": [
                {"pcbs": [{"name": "B||HEARTBEAT", "ver1": "4", "ver2": "0", "ver3": "0"}]}]}]})");
        const UpgradeRows all = packageRows(package);
        QCOMPARE(all.rows, QStringList({"MAIN,0,0", "A 1[0],2,0", "A 1[1],2,1", "CHIP(3.0),3,0",
                                        "CHIP(3.1),3,1", "CHIP(3.2),3,2"}));
        QCOMPARE(all.mcus.at(0).newVersion, QString("1.1.0"));
        // Two images of the type: only the MCU's answers decide which one it gets.
        QCOMPARE(all.mcus.at(1).newVersion, QString());
        QCOMPARE(all.mcus.at(5).newVersion, QString("4.0.0"));

        QCOMPARE(all.mcus.at(5).name, QString("B||HEARTBEAT[2]"));

        const UpgradeRows requested = requestedRows(package);
        QCOMPARE(requested.rows, QStringList());
        QCOMPARE(requested.mcus.size(), 4);
        QCOMPARE(requested.mcus.at(2).chipIndex, 2);

        const UpgradeRows named = chosenRows({"A 1", "MAIN,0,1"}, package);
        QCOMPARE(named.rows, QStringList({"A 1[0],2,0", "A 1[1],2,1", "MAIN,0,1"}));
        QCOMPARE(named.mcus.at(2).newVersion, QString("1.1.0"));
        const UpgradeRows twins = chosenRows({"X 1,0,0", "X1,0,1", "Y,3,1"}, package);
        QCOMPARE(twins.rows, QStringList({"X 1(0.0),0,0", "X1(0.1),0,1", "Y,3,1"}));
        for (const char *row : {"C", "MAIN,9,0"}) {
            const UpgradeRows refused = chosenRows({"A 1", QString::fromLatin1(row)}, package);
            QVERIFY(refused.cause == ProblemId::NotInPackage && !refused.error.isEmpty());
        }
    }

    /** The agent takes the blanks out of a row's name, but not out of the package's names. */
    void namesWithBlanks()
    {
        Run run({"A 1", "B 2"});
        run.write("A1").write("B 2").end(true);
        QCOMPARE(run.model.labelled("'A1' F/W Update fail."), QString("'A 1' F/W Update fail."));
        QCOMPARE(run.results(), QStringList({"updated", "updated"}));
    }

    /** The line with the cause counts, not the agent's line about the whole run. */
    void lineOfTheCause()
    {
        const QString line = "Read the bootcode information of 'A' fail, check the next mcu.";
        Run run({"A"});
        run.say({line, "All firmware upgrade done, but did not upgrade any mcu."}).end(true);
        QCOMPARE(run.cause(), QString("mcu-silent"));
        QCOMPARE(run.model.problemLine(client::outcomeOf(run.model).cause), line);
        QCOMPARE(run.model.problemLine(ProblemId::BeginningUnseen), QString());
    }

    /** No run is a success before the device is back; a failed one has often not come so far. */
    void reboots()
    {
        Run lost({"A"});
        QVERIFY(lost.end(true).model.hasRebooted());
        Run failed({"A"});
        QVERIFY(!failed.say({"Send reboot command."}).end(false).model.hasRebooted());
        Run begun({"A"});
        begun.say({"Send reboot command.", "Start to reboot, please wait."});
        QVERIFY(begun.end(false).model.hasRebooted());
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestModel)

} // namespace tst_model

#include "tst_model.moc"
