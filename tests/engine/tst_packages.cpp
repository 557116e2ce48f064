// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

namespace engine::tst_packages {

namespace {

QByteArray good()
{
    return makePackage(bothImages);
}

QByteArray checksumWrong()
{
    QByteArray package = good();
    package[package.size() - 1] = char(package.at(package.size() - 1) ^ 1);
    return package;
}

const QStringList connected{"ConnectSuccess|ttyS2"};
const QString failedRow = QString("UPGRADERESULT|MAIN,0,0,,,,,,,,,0,2|2");
const QStringList failedRun{"APPSTATUS|2", failedRow};
const QString checksumOk = QString("Firmware file checksum ok.");

} // namespace

/** Every kind of package, asked for by a run and by a listing. */
class TestPackages : public QObject
{
    Q_OBJECT

private slots:
    void runs_data()
    {
        const tests::DataTable<QByteArray, QStringList> rows("package", "said");
        rows("checksum wrong", checksumWrong(), {});
        rows("no magic", withChecksum("MTX" + good().mid(11)),
             QStringList{checksumOk, "Invalid firmware file"});
        rows("version 5", withVersion(good(), 5),
             QStringList{checksumOk, "FWM file version error, must greater or equal to 6."});
    }

    void runs()
    {
        QFETCH(QByteArray, package);
        QFETCH(QStringList, said);
        Scenario scenario;
        scenario.setPackage(package);
        for (const int mode : {1, 2, 5}) {
            QVERIFY(scenario.run({"MAIN,0,0,,,,,,,,,0,0", "AUX,1,0,,,,,,,,,0,0"}, mode));
            QVERIFY(scenario.link->sent.isEmpty());
            QCOMPARE(scenario.with("APPSTATUS"), QStringList{"APPSTATUS|2"});
        }
        QVERIFY(scenario.run(bothRows, 2));
        QVERIFY(sameTranscript(scenario.lines, connected + said + failedRun));
        QCOMPARE(scenario.results(2), QString("22"));
        QVERIFY(!scenario.engine->runActive());
        scenario.setPackage(good());
        QVERIFY(scenario.run(bothRows, 2));
        QVERIFY(scenario.succeeded());
    }

    /** The missing file is reported by its check and by the run: two ends for one run. */
    void runWithoutAFile()
    {
        Scenario scenario;
        QVERIFY(QFile::remove(scenario.packagePath()));
        QVERIFY(scenario.run(bothRows, 2));
        QVERIFY(sameTranscript(scenario.lines,
                               connected + QStringList{"APPSTATUS|2", "APPSTATUS|2", failedRow}));
        QVERIFY(scenario.link->sent.isEmpty());
        QVERIFY(!scenario.engine->runActive());
    }

    void runWithoutAName()
    {
        Scenario scenario;
        scenario.engine->uploadByMergeFW(QString(), bothRows, 2);
        QVERIFY(scenario.waitForEnd());
        QVERIFY(sameTranscript(scenario.lines, failedRun));
    }

    void runWithAnUnreadableFile()
    {
        Scenario scenario;
        QVERIFY(QFile::remove(scenario.packagePath()));
        QVERIFY(QDir().mkdir(scenario.packagePath()));
        QVERIFY(scenario.run(bothRows, 2));
        QCOMPARE(scenario.lines.last(), failedRow);
        QVERIFY(scenario.with("APPSTATUS").contains("APPSTATUS|2"));
    }

    /** A package of the future starts a run and is then found to hold nothing that can be read. */
    void newestVersionsStart()
    {
        Scenario scenario;
        scenario.engine->getMergeFWJSON(scenario.packagePath());
        scenario.setPackage(withVersion(good(), 7));
        QVERIFY(scenario.run(bothRows, 2));
        QVERIFY(sameTranscript(
            scenario.lines,
            connected + QStringList{checksumOk, "Read model name.",
                                    "Firmware Model Name is .\r\nDevice Model Name is HX-8.\r\n"
                                    "Model Name does not match, upgrade fail.",
                                    "APPSTATUS|7", "Erasing...", failedRow}));
        QVERIFY(scenario.run(bothRows, 5));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.with("No suitable firmware"),
                 QStringList({"No suitable firmware for 'MAIN' in the firmware package.",
                              "No suitable firmware for 'AUX' in the firmware package."}));
        QCOMPARE(scenario.count("7900"), 0);
    }

    void fileScheme()
    {
        Scenario scenario;
        scenario.engine->slotConnect("ttyS2");
        // Three slashes belong to the scheme; the slash of the path follows.
        const QString url = QString("file:///") + scenario.packagePath();
        scenario.engine->uploadByMergeFW(url, bothRows, 2);
        QVERIFY(scenario.waitForEnd());
        QVERIFY(scenario.succeeded());
        QVERIFY(scenario.engine->getMergeFWJSON(url).startsWith('{'));
    }

    /** The rows of the run before are still there, and the failure is theirs. */
    void failedListMarksTheRows()
    {
        Scenario scenario;
        QVERIFY(scenario.run({"MAIN,0,0"}, 7));
        scenario.lines.clear();
        scenario.engine->getMergeFWJSON(scenario.packagePath() + QString(".none"));
        QCOMPARE(scenario.lines, QStringList({"APPSTATUS|2", failedRow, "APPSTATUS|2"}));
        QCOMPARE(scenario.results(1), QString("2"));
    }

    /** While a run is active a listing returns its text, says nothing and touches nothing. */
    void listDuringARunIsQuiet()
    {
        Scenario undisturbed;
        QVERIFY(undisturbed.run(bothRows, 2));

        Scenario scenario;
        QStringList returned;
        scenario.link->answerInstead = [&](const QByteArray &frame) {
            const QByteArray saved = good();
            scenario.setPackage(checksumWrong());
            returned.append(scenario.engine->getMergeFWJSON(scenario.packagePath()));
            scenario.setPackage(packageWithJson("{"));
            returned.append(scenario.engine->getMergeFWJSON(scenario.packagePath()));
            returned.append(
                scenario.engine->getMergeFWJSON(scenario.packagePath() + QString(".none")));
            scenario.setPackage(saved);
            return QList<QByteArray>{scenario.link->deviceAnswer(frame)};
        };
        QVERIFY(scenario.run(bothRows, 2));
        QVERIFY(sameTranscript(scenario.lines, undisturbed.lines));
        QCOMPARE(scenario.sentText(), undisturbed.sentText());
        returned.removeDuplicates();
        QCOMPARE(returned, QStringList({"ERROR:Firmware file checksum error.", "",
                                        "ERROR:Firmware file is not exist."}));
    }

    /** The run reads its own package, whether or not another one was listed before. */
    void runUsesItsOwnPackage()
    {
        Scenario scenario(bothChips, {});
        scenario.engine->getMergeFWJSON(scenario.packagePath());
        scenario.setPackage(makePackage(bothImages, QString("HX-8"), QString("3.77")));
        QVERIFY(scenario.run(bothRows, 2));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.results(2), QString("11"));
        QCOMPARE(int(scenario.device.virtualVersion()), 77);
        QVERIFY(scenario.with("Model Name: ").isEmpty());
        QVERIFY(scenario.with("Firmware package version").isEmpty());
    }
};

AGENT_TEST(TestPackages)

} // namespace engine::tst_packages

#include "tst_packages.moc"
