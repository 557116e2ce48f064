// SPDX-License-Identifier: Apache-2.0
#include "client/ScriptedRun.h"
#include "client/UpgradeRows.h"
#include "support/TestCase.h"

namespace client::tst_model {

namespace {

using namespace std::chrono_literals;
using Run = ScriptedRun;

const QString rowRefused = "Chip type or chip index error.";
const QString netStarted = "Start to upgrade NET firmware.";
const QString rebooting = "Send reboot command.";

QString equalLine(const QString &name)
{
    return "Firmware version V1.0.0 equal to the '" + name + "' version V1.0.0, will not upgrade.";
}

QString greaterLine(const QString &name)
{
    return "Firmware version V1.1.0 greater than the '" + name + "' version V1.0.0, will upgrade.";
}

/** The request for the update mode is refused. */
QStringList refusedEntry(const QString &name, const QString &end)
{
    return {"enter " + name, "'" + name + "' Enter F/W Update Mode fail" + end};
}

/** Another client may receive the lines between these. */
QStringList withGaps(const QStringList &steps)
{
    return QString("gap|" + steps.join("|gap|")).split('|');
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
        QCOMPARE(run.play({"success"}).model.percent(), 100.0);
    }

    void percentOfOneMcu()
    {
        Run run({"A", "B", "C", "D"});
        run.play({equalLine("A"), equalLine("B"), "begin C", "50 %", "62.5 %"});
        QCOMPARE(run.model.mcus().at(2).percent, 50.0);
        QCOMPARE(run.model.mcus().at(2).blocks, 1);
    }

    /** The device has gone silent in each step of a run: what is waited for, and to the end. */
    void waits()
    {
        struct Silence
        {
            QStringList steps;
            std::chrono::seconds time;
            QString text;
        };
        const auto answer = [](const char *limitAndTry, const char *end) {
            return QString("waiting for an answer, %1, gives up in %2").arg(limitAndTry, end);
        };
        const QString retryOfEntry = "'A' Enter F/W Update Mode fail, retry 1.";
        const QVector<Silence> silences{
            {{}, 9s, {}},
            {{"Read model name."}, 2s, {}}, // too short to be shown
            {{}, 4s, answer("4 s of 10, try 1 of 3", "0:26")},
            {{"Read model name fail, retry 2."}, 4s, answer("4 s of 10, try 3 of 3", "0:06")},
            {{"Read bootcode information of 'A'."}, 3s, answer("3 s of 10, try 1 of 3", "0:27")},
            // The agent repeats the line of a request with the request.
            {{"Read the bootcode information of 'A' fail, retry 1.",
              "Read bootcode information of 'A'."},
             3s,
             answer("3 s of 10, try 2 of 3", "0:17")},
            {{"Read bootcode information of 'B'."}, 3s, answer("3 s of 10, try 1 of 3", "0:27")},
            {{"enter A"}, 12s, answer("12 s of 30, try 1 of 9", "4:18")},
            {{"begin A", "20 %"}, 5s, answer("5 s of 15, try 1 of 9", "3:40")},
            {{"F/W update timeout, retry 2."}, 5s, answer("5 s of 15, try 3 of 9", "3:10")},
            {{"'A' F/W update fail, retry 1.", "enter A"},
             12s,
             answer("12 s of 30, try 4 of 9", "2:48")},
            {{retryOfEntry}, 12s, answer("12 s of 30, try 5 of 9", "2:18")},
            {{"'A' F/W update fail, retry 2.", "begin A", "Erasing...", "40 %"},
             15s,
             answer("15 s of 15, try 7 of 9", "0:30")},
            // Only the wait for the last block takes this long.
            {{}, 20s, answer("20 s of 30, try 7 of 9", "0:40")},
            {{"Write firmware 'A' success.", "The Main MCU is restarting, please wait."},
             12s,
             "waiting for the restart, 12 s of 40, gives up in 0:28"},
            {{"Upgrade Main MCU success."}, 5s, {}},
            {{rebooting, "Start to reboot, please wait."}, 9s, {}},
            {{}, 14s, "waiting for the restart, 14 s of 40, gives up in 0:26"},
            {{}, 75s, "no message for 75 s"},
            {{"success"}, 4s, {}},
        };
        Run run({"A", "B"});
        for (const auto &[steps, time, text] : silences)
            QCOMPARE(run.play(steps).waitAfter(time), text);
    }

    /** After a second, but not before the agent's own pause after an image is over. */
    void heartbeats()
    {
        Run run({"A", "B"});
        const auto after = [&run](const QStringList &steps) {
            return run.play(steps).watch.heartbeatAfter();
        };
        QVERIFY(after({}) == 1s);
        QVERIFY(after({"write A"}) > 1s);
        QVERIFY(after({"Write all firmware success."}) > 1s);
        QVERIFY(after({"enter B"}) == 1s);
        QVERIFY(after({"60 %"}) == 1s);
    }

    void timeLeft()
    {
        Run run = Run::ofThreeImages();
        const auto seconds = [&run](std::chrono::seconds later = 0s) {
            return double(run.estimate.ofRun(run.model, run.now + later).time.count()) / 1000;
        };
        // 700 blocks of 284 bytes at 57600 baud, the main MCU's restart and the reboot of 10 s
        // each, 1 s after each other image, 0.2 s before each image.
        QVERIFY(run.estimate.ofRun(run.model, run.now).isWhole);
        QVERIFY(std::abs(seconds() - (700 * 2840.0 / 57600 + 22.6)) < 0.01);
        run.play({"Read 'KEY' version success, version is V2.0.0"});
        // KEY runs the package's version and gets nothing.
        QVERIFY(std::abs(seconds() - (500 * 2840.0 / 57600 + 21.4)) < 0.01);
        run.step = 100ms;
        run.play({"begin MAIN", "Writing..."});
        for (int i = 1; i <= 50; ++i)
            run.progress(i / 3.0);
        // The line is half as fast as it could be: 450 blocks of 0.1 s are left.
        const double half = seconds();
        QVERIFY2(std::abs(half - (45 + 10 + 1.2 + 10)) < 0.2, qPrintable(QString::number(half)));
        // While nothing answers nothing rises.
        QVERIFY(seconds(20s) <= half);
        // Nor does it rise after the wait, which says nothing about the speed of the line.
        run.now += 20s;
        run.progress(51 / 3.0);
        QVERIFY(seconds() <= half);
        // A size that is not known is not guessed.
        run.model = UpgradeModel({{"MAIN", 0, 0, "2.0.0"}, {"AUX", 1, 0, "2.0.0", 102'400, false}});
        QVERIFY(!run.estimate.ofRun(run.model, run.now).isWhole);
    }

    void rateOfAnImage()
    {
        Run run({"A"});
        run.play({"begin A", "Erasing...", "Writing..."});
        const Run::ms start = run.now;
        run.play({"10 %", "20 %", "30 %", "40 %"});
        const McuState &mcu = run.model.mcus().first();
        QCOMPARE(mcu.rate(start + 4s), 256.0);
        QCOMPARE(mcu.rate(start), 0.0);
    }

    void secondsRunFromTheFirstRequestToTheEnd()
    {
        Run run({"A", "B"});
        run.play({"write A", equalLine("B"), "success"});
        QCOMPARE(run.model.mcus().at(0).seconds(run.now), 5.0);
        QVERIFY(run.model.mcus().at(1).seconds(run.now) < 0);
    }

    /** The lines have names alone, so the order of the rows says which one they are about. */
    void readsOfTwoRowsOfOneName()
    {
        Run known({"X:1", "B:2", "X:3"});
        Run joined(QStringList{});
        joined.model = UpgradeModel::ofActiveRun();
        for (Run *run : {&known, &joined}) {
            for (const char *name : {"X", "B", "X"})
                run->play({QString("Read bootcode information of '%1'.").arg(name)});
            for (const auto &[name, version] : {std::pair{"X", "1.0"}, {"B", "2.0"}, {"X", "3.0"}})
                run->play(
                    {QString("Send 'Read FW version' command to '%1'.").arg(name),
                     QString("Read '%1' version success, version is V%2").arg(name, version)});
            run->play({"write X", equalLine("B"), "write X", "success"});
            QVERIFY(run->verdict().startsWith("updated, up to date, updated; "));
            QStringList versions;
            for (const McuState &mcu : run->model.mcus())
                versions += mcu.oldVersion;
            QCOMPARE(versions, QStringList({"1.0", "2.0", "3.0"}));
        }
        QCOMPARE(known.model.mcus().at(0).label, QString("X (1,0)"));
        QCOMPARE(known.model.mcus().at(1).label, QString("B"));
    }

    void verdicts_data()
    {
        const tests::DataTable<QStringList, QString, QStringList> row("mcus", "verdict", "steps");
        const QStringList refused = refusedEntry("A", ", retry 1.") +
                                    refusedEntry("A", ", retry 2.") + refusedEntry("A", ".");
        const QStringList refusedThrice = refused + QStringList{"'A' F/W update fail, retry 1."} +
                                          refused + QStringList{"'A' F/W update fail, retry 2."} +
                                          refused;
        const QString silent = "Read the bootcode information of 'A' fail, ";
        const QString restarting = "The Main MCU is restarting, please wait.";

        row("two rows of one name", {"X", "X"}, "updated, updated; 0 none; 2 MCUs updated.",
            {"write X", "write X", "success"});
        row("the first of two rows of one name", {"X", "X"},
            "updated, no fit; 0 none; 1 MCU updated.", {"write X", "success"});
        // The agent removes blanks from a row's name, but not from the package's names.
        row("names with blanks", {"A 1", "B 2"}, "updated, updated; 0 none; 2 MCUs updated.",
            {"write A1", "write B 2", "success"});

        // The line that refuses a row has no name.
        row("chosen row refused", {"A", "B", "C"},
            "up to date, failed, no fit; 1 rows-refused; 0 MCUs updated, 1 failed.",
            {equalLine("A"), greaterLine("B"), rowRefused, "success"});
        row("forced row refused", {"A", "B", "C"},
            "updated, failed, no fit; 1 rows-refused; 1 MCU updated, 1 failed.",
            {"begin A", "Write firmware 'A' success.", rowRefused, "success"});
        row("first forced row refused", {"A", "B", "C"},
            "failed, no fit, no fit; 1 rows-refused; 0 MCUs updated, 1 failed.",
            {"Read bootcode information of 'C'.", rowRefused, "success"});
        row("row refused after a gap", {"A", "B", "C"},
            "unknown, unknown, unknown; 6 outcome-unseen; 0 MCUs updated, 3 unknown.",
            {"gap", rowRefused, "success"});

        row("main MCU first", {"MAIN", "AUX"}, "updated, updated; 0 none; 2 MCUs updated.",
            {"Read bootcode information of 'MAIN'.", "MAIN MCU running in Bootcode.",
             "'MAIN' product information flag is valid, start to upgrade main mcu first.",
             "write MAIN", restarting, "Upgrade Main MCU success.",
             "Read bootcode information of 'AUX'.", "write AUX", "success"});
        row("main MCU does not come back", {"MAIN", "AUX"},
            "failed, not reached; 1 main-mcu-lost; The upgrade failed: 0 MCUs updated, 1 failed, 1 "
            "not reached.",
            {"write MAIN", restarting, "Read product ID.", "Main MCU run fail.", "fail"});
        row("silent MCU", {"A", "B"}, "failed +2, updated; 1 mcu-silent; 1 MCU updated, 1 failed.",
            {silent + "retry 1.", silent + "retry 2.", silent + "check the next mcu.", "write B",
             "success"});
        // The line with the cause counts, not the agent's line about the whole run.
        row("silent MCU alone", {"A"}, "failed; 1 mcu-silent; 0 MCUs updated, 1 failed.",
            {silent + "check the next mcu.",
             "All firmware upgrade done, but did not upgrade any mcu.", "success"});
        row("no link to the device", {"A"},
            "failed; 1 port-unavailable; The upgrade failed: 0 MCUs updated, 1 failed.",
            {"ttyS2 connect failed, serial port is occupied or does not exist",
             silent + "check the next mcu.", "fail"});
        // What could not be read does not matter once the image is written.
        row("unread version", {"A"}, "updated; 0 none; 1 MCU updated.",
            {"Read the version information of 'A' fail, check the next mcu.", "write A",
             "success"});

        row("update mode refused", {"A"},
            "failed +2; 1 update-mode-refused; 0 MCUs updated, 1 failed.",
            refused + QStringList{"'A' F/W Update fail.", "success"});
        // An MCU that is given up counts as 100 % of its row, which is only sent when rows follow.
        row("update mode refused by the first", {"A", "B"},
            "failed +8, updated; 1 update-mode-refused; 1 MCU updated, 1 failed.",
            refusedThrice + QStringList{"50 %", "'A' F/W Update fail.", "write B", "success"});
        row("update mode refused by the last", {"B", "A"},
            "updated, failed +8; 1 update-mode-refused; 1 MCU updated, 1 failed.",
            QStringList{"write B"} + refusedThrice +
                QStringList{"'A' F/W Update fail.", "success"});
        // What was begun and is not whole waits in the bootcode, whatever ended the last attempt.
        row("broken off and then refused", {"A"},
            "failed +3; 1 image-not-written; 0 MCUs updated, 1 failed.",
            QStringList{"begin A", "Erasing...", "20 %", "'A' F/W update fail, retry 1."} +
                refused + QStringList{"'A' F/W Update fail.", "success"});
        // The cable is pulled while the third MCU is written.
        row("device gone", {"A", "B", "C", "D"},
            "updated, failed, failed, failed; 1 image-not-written; The upgrade failed: 1 MCU "
            "updated, 3 failed.",
            QStringList{"write A"} + refusedEntry("B", ".") +
                QStringList{"'B' F/W Update fail.", "begin C", "Erasing...", "30 %",
                            "'C' F/W Update fail."} +
                refusedEntry("D", ".") +
                QStringList{"'D' F/W Update fail.", rebooting, "Reboot systerm fail.", "fail"});
        row("failed reboot after good images", {"A"},
            "updated; 1 reboot-refused; The upgrade failed: 1 MCU updated.",
            {"write A", rebooting, "Reboot systerm fail.", "fail"});

        // An MCU without a line in the pass of the images has none that fits; after a gap this is
        // not certain.
        row("passed over", {"A", "B", "C"}, "updated, no fit, updated; 0 none; 2 MCUs updated.",
            {"write A", "write C", "success"});
        row("passed over in a gap", {"A", "B", "C"},
            "updated, unknown, updated; 6 outcome-unseen; 2 MCUs updated, 1 unknown.",
            {"write A", "gap", "write C", "success"});
        // A line that does not show where the run is leaves a gap open: this one comes after the
        // main MCU's image and after the reboot.
        for (const char *last : {"Start to set virtual version.", "Ignore to set virtual version."})
            row(last, {"A", "B"}, "updated, unknown; 6 outcome-unseen; 1 MCU updated, 1 unknown.",
                {"write A", "gap", "Read product ID.", last, "success"});
        // Silence is not a gap when the same MCU continues.
        row("silences of one MCU", {"A", "B"}, "updated, up to date; 0 none; 1 MCU updated.",
            withGaps({"enter A", "'A' Enter 'F/W Update Mode' success.", "Erasing...",
                      "Erase success.", "Writing...", "Write firmware 'A' success."}) +
                QStringList{equalLine("B"), rebooting, "gap", "success"});
        row("progress of a later row", {"A", "B", "C"},
            "unknown, unknown, updated; 6 outcome-unseen; 1 MCU updated, 2 unknown.",
            {"begin A", "Erasing...", "10 %", "90 %", "Write firmware 'C' success.", "success"});
        row("chosen MCU without a line", {"A", "B"},
            "unknown, up to date; 6 outcome-unseen; 0 MCUs updated, 1 unknown.",
            {greaterLine("A"), equalLine("B"), "success"});
        row("broken off in a gap", {"A", "B"},
            "unknown, unknown; 1 unexplained; The upgrade failed: 0 MCUs updated, 2 unknown.",
            {"begin A", "gap", "fail"});
        row("broken off", {"A", "B"},
            "failed, not reached; 1 unexplained; The upgrade failed: 0 MCUs updated, 1 failed, 1 "
            "not reached.",
            {"begin A", "fail"});

        row("nothing fits", {"A", "B"},
            "no fit, up to date; 3 nothing-to-do; Nothing to do: no MCU needs an image from the "
            "package. The device was rebooted anyway.",
            {"Send 'Read FW version' command to 'A'.", equalLine("B"), "success"});
        row("package without a record", {"A"}, "failed; 1 image-missing; 0 MCUs updated, 1 failed.",
            {"No suitable firmware for 'A' mcu in the firmware package.", "success"});
        row("virtual version not stored", {"A"},
            "updated; 1 virtual-version-not-set; 1 MCU updated, but not all went well.",
            {"write A", "Set virtual version fail.",
             "All firmware upgrade done, but set virtual version fail.", "success"});
        row("network module", {"MAIN", "AUX", "NET:32"},
            "updated, no fit, updated; 0 none; 2 MCUs updated.",
            {"write MAIN", netStarted, "70 %", "NET firmware checksum success.",
             "NET firmware ver1.23 upgrade success.", "success"});
        row("damaged image of the module", {"NET:32"},
            "failed; 1 net-image-damaged; 0 MCUs updated, 1 failed.",
            {netStarted, "NET firmware checksum fail, upgrade net fail.", "success"});
        row("package changed", {"A", "B"},
            "updated, not reached; 1 package-changed; The upgrade failed: 1 MCU updated, 1 not "
            "reached.",
            {"write A", "Firmware package was changed during the upgrade.", "fail"});
        row("package unreadable", {"A", "B"},
            "updated, not reached; 1 package-read-error; The upgrade failed: 1 MCU updated, 1 not "
            "reached.",
            {"write A", "Firmware package could not be read, upgrade fail.", "fail"});
        row("lines of a run that is not known", {},
            "; 1 main-mcu-lost; The upgrade failed: 0 MCUs updated.",
            {"50 %", "Writing...", "Erasing...", "F/W update timeout, retry 1.",
             "Upgrade Main MCU success.", "Main MCU run fail.", netStarted,
             "NET package checksum error.", "fail"});
        row("lines after the end", {"A"}, "updated; 0 none; 1 MCU updated.",
            {"write A", "success", "Main MCU run fail.", "fail"});
    }

    void verdicts()
    {
        QFETCH(QStringList, mcus);
        QFETCH(QStringList, steps);
        QFETCH(QString, verdict);
        QCOMPARE(Run(mcus).play(steps).verdict(), verdict);
    }

    /** The results while a run continues. */
    void interimResults()
    {
        QVERIFY(Run({"X", "X"}).play({"write X"}).verdict().startsWith("updated, open; "));
        Run run({"A", "B", "C"});
        run.play({"begin A", "Erasing...", "10 %", "90 %"});
        QVERIFY(run.verdict().startsWith("unknown, open, open; "));
    }

    void phases()
    {
        Run run({"MAIN", "NET:32"});
        const auto phase = [&run](const QStringList &steps) {
            run.play(steps);
            return phaseName(run.model.mcus().at(0).phase) + ", " + phaseName(run.model.phase());
        };
        QCOMPARE(phase({"write MAIN"}), QString("finished, writing"));
        QCOMPARE(phase({"The Main MCU is restarting, please wait."}),
                 QString("restarting, writing"));
        QCOMPARE(phase({"Upgrade Main MCU success."}), QString("finished, writing"));
        QCOMPARE(phase({netStarted}), QString("finished, installing"));
        QCOMPARE(phase({"NET firmware ver1.23 upgrade success."}), QString("finished, installing"));
        QCOMPARE(run.model.netVersion(), QString("1.23"));
    }

    void namesThatWereNotRequested()
    {
        Run run({"A"});
        for (int i = 0; i < 10000; ++i)
            run.play({QStringLiteral("Write firmware 'X%1' success.").arg(i)});
        QVERIFY(run.model.mcus().size() <= 4096);
    }

    /** After a lost connection it is not certain that the agent still runs. */
    void likelyStateOfTheAgent()
    {
        Run run({"A"});
        run.play({"enter A"});
        const auto state = [&run](ProblemId cause) { return likelyState(run.model, cause).at(1); };
        QVERIFY(state(ProblemId::Interrupted).startsWith("The agent finishes"));
        for (const ProblemId cause : {ProblemId::ConnectionLost, ProblemId::NoSignOfLife})
            QVERIFY(state(cause).startsWith("If the agent still runs"));
    }

    /** Whatever the phase, there is something to say. */
    void likelyStates()
    {
        Run run({"A"});
        const QVector<QPair<QStringList, QString>> states{
            {{}, "Nothing was written: the upgrade had not begun."},
            {{"Read bootcode information of 'A'."},
             "Nothing was written so far: the agent was reading versions."},
            {{"enter A"}, "'A' was being written."},
            {{"write A", rebooting}, "All images are written; the device was rebooting."},
            {{netStarted}, "The network module was installing its own firmware."},
            {{"success"}, "The upgrade had ended."},
        };
        for (const auto &[steps, text] : states) {
            run.play(steps);
            QCOMPARE(likelyState(run.model, ProblemId::ConnectionLost).first(), text);
        }
    }

    void rowsOfAPackage()
    {
        const auto package = package::parseDescription(R"({"chips": [
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

    void linesWithTheNamesOfThePackage()
    {
        const QString shown = Run({"A 1"}).model.labelled("'A1' F/W Update fail.");
        QCOMPARE(shown, QString("'A 1' F/W Update fail."));
    }

    void lineOfTheCause()
    {
        const QString line = "Read the bootcode information of 'A' fail, check the next mcu.";
        Run run({"A"});
        run.play({line, "All firmware upgrade done, but did not upgrade any mcu.", "success"});
        QCOMPARE(run.model.problemLine(ProblemId::McuSilent), line);
        QCOMPARE(run.model.problemLine(ProblemId::BeginningUnseen), QString());
    }

    /** No run is a success before the device is back; a failed one has often not come so far. */
    void reboots()
    {
        QVERIFY(Run({"A"}).play({"success"}).model.hasRebooted());
        QVERIFY(!Run({"A"}).play({rebooting, "fail"}).model.hasRebooted());
        const QStringList begun{rebooting, "Start to reboot, please wait.", "fail"};
        QVERIFY(Run({"A"}).play(begun).model.hasRebooted());
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestModel)

} // namespace client::tst_model

#include "tst_model.moc"
