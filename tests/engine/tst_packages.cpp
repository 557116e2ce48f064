// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

namespace engine::tst_packages {

namespace {

const QVector<ChipDescription> chips{testChip("MAIN", 0, 0, "1.0.0"),
                                     testChip("AUX", 1, 0, "1.0.0", 2)};
const QVector<TestImage> images{testImage("MAIN", 0, {2, 0, 0}), testImage("AUX", 1, {2, 0, 0}, 2)};
const QStringList rows{"MAIN,0,0", "AUX,1,0"};

QByteArray good()
{
    return makePackage(images);
}

/** A package with other JSON; the records stay away. */
QByteArray withJson(const QByteArray &json, int claimedLength = -1)
{
    const int length = claimedLength < 0 ? json.size() : claimedLength;
    QByteArray body("MTU\0\6", 5);
    body.append(char(length & 0xFF)).append(char(length >> 8));
    return withChecksum(body + json);
}

QByteArray bare(int version)
{
    const QByteArray current = good();
    const int length = quint8(current.at(13)) + 256 * quint8(current.at(14));
    QByteArray bytes("MTU");
    bytes.append('\0').append(char(version));
    bytes.append(current.mid(13, 2)).append(QByteArray(2, '\0'));
    return bytes + current.mid(15, length);
}

QByteArray checksumWrong()
{
    QByteArray package = good();
    package[package.size() - 1] = char(package.at(package.size() - 1) ^ 1);
    return package;
}

QByteArray checksumInCapitals()
{
    // Versions are tried until the checksum has a letter in it.
    for (int release = 0; release < 1000; ++release) {
        const QByteArray package = makePackage(images, QString("HX-8"), QString::number(release));
        const QByteArray upper = package.left(8).toUpper();
        if (upper != package.left(8))
            return upper + package.mid(8);
    }
    qFatal("no checksum has a letter");
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
        const auto words = [](const char *text) { return QStringList{QString::fromLatin1(text)}; };
        const QStringList ok{checksumOk};

        rows("checksum wrong", checksumWrong(), failedRun);
        rows("checksum in capitals", checksumInCapitals(), failedRun);
        rows("empty", {}, failedRun);
        rows("8 bytes", "00000000", failedRun);
        rows("9 bytes", withChecksum("M"), ok + words("Invalid firmware file") + failedRun);
        rows("12 bytes", withChecksum(QByteArray("MTU\0", 4)),
             ok + words("Invalid firmware file") + failedRun);
        rows("no magic", withChecksum("MTX" + good().mid(11)),
             ok + words("Invalid firmware file") + failedRun);
        for (const int version : {0, 1}) {
            rows(qPrintable(QString("version %1").arg(version)), withVersion(good(), version),
                 ok + words("Package version error, invalid firmware file") + failedRun);
        }
        for (const int version : {2, 3, 5}) {
            rows(qPrintable(QString("version %1").arg(version)), withVersion(good(), version),
                 ok + words("FWM file version error, must greater or equal to 6.") + failedRun);
        }
        // A stored checksum cannot begin with "MTU", so a bare package fails before its form is
        // seen.
        rows("bare", bare(6), failedRun);
    }

    void runs()
    {
        QFETCH(QByteArray, package);
        QFETCH(QStringList, said);
        Scenario scenario(chips, images);
        scenario.setPackage(package);
        for (const int mode : {1, 2, 5}) {
            QVERIFY(scenario.run({"MAIN,0,0,,,,,,,,,0,0", "AUX,1,0,,,,,,,,,0,0"}, mode));
            QVERIFY(scenario.link->sent.isEmpty());
            QCOMPARE(scenario.with("APPSTATUS"), QStringList{"APPSTATUS|2"});
        }
        QVERIFY(scenario.run(rows, 2));
        QVERIFY(sameTranscript(scenario.lines, connected + said));
        QCOMPARE(scenario.results(2), QString("22"));
        QVERIFY(!scenario.engine->runActive());
        scenario.setPackage(good());
        QVERIFY(scenario.run(rows, 2));
        QVERIFY(scenario.succeeded());
    }

    /** The missing file is reported by its check and by the run: two ends for one run. */
    void runWithoutAFile()
    {
        Scenario scenario(chips, images);
        QVERIFY(QFile::remove(scenario.packagePath()));
        QVERIFY(scenario.run(rows, 2));
        QVERIFY(sameTranscript(scenario.lines,
                               connected + QStringList{"APPSTATUS|2", "APPSTATUS|2", failedRow}));
        QVERIFY(scenario.link->sent.isEmpty());
        QVERIFY(!scenario.engine->runActive());
    }

    void runWithoutAName()
    {
        Scenario scenario(chips, images);
        scenario.engine->uploadByMergeFW(QString(), rows, 2);
        QVERIFY(scenario.waitForEnd());
        QVERIFY(sameTranscript(scenario.lines, failedRun));
    }

    void runWithAnUnreadableFile()
    {
        Scenario scenario(chips, images);
        QVERIFY(QFile::remove(scenario.packagePath()));
        QVERIFY(QDir().mkdir(scenario.packagePath()));
        QVERIFY(scenario.run(rows, 2));
        QCOMPARE(scenario.lines.last(), failedRow);
        QVERIFY(scenario.with("APPSTATUS").contains("APPSTATUS|2"));
    }

    /** A package of the future starts a run and is then found to hold nothing that can be read. */
    void newestVersionsStart()
    {
        Scenario scenario(chips, images);
        scenario.engine->getMergeFWJSON(scenario.packagePath());
        scenario.setPackage(withVersion(good(), 7));
        QVERIFY(scenario.run(rows, 2));
        QVERIFY(sameTranscript(
            scenario.lines,
            connected + QStringList{checksumOk, "Read model name.",
                                    "Firmware Model Name is .\r\nDevice Model Name is HX-8.\r\n"
                                    "Model Name does not match, upgrade fail.",
                                    "APPSTATUS|7", "Erasing...", failedRow}));
        QVERIFY(scenario.run(rows, 5));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.with("No suitable firmware"),
                 QStringList({"No suitable firmware for 'MAIN' in the firmware package.",
                              "No suitable firmware for 'AUX' in the firmware package."}));
        QCOMPARE(scenario.count("7900"), 0);
    }

    void fileScheme()
    {
        Scenario scenario(chips, images);
        scenario.engine->slotConnect("ttyS2");
        // Three slashes belong to the scheme; the slash of the path follows.
        const QString url = QString("file:///") + scenario.packagePath();
        scenario.engine->uploadByMergeFW(url, rows, 2);
        QVERIFY(scenario.waitForEnd());
        QVERIFY(scenario.succeeded());
        QVERIFY(scenario.engine->getMergeFWJSON(url).startsWith('{'));
    }

    /** The rows of the run before are still there, and the failure is theirs. */
    void failedListMarksTheRows()
    {
        Scenario scenario(chips, images);
        QVERIFY(scenario.run({"MAIN,0,0"}, 7));
        scenario.lines.clear();
        scenario.engine->getMergeFWJSON(scenario.packagePath() + QString(".none"));
        QCOMPARE(scenario.lines, QStringList({"APPSTATUS|2", failedRow, "APPSTATUS|2"}));
        QCOMPARE(scenario.results(1), QString("2"));
    }

    /** While a run is active a listing returns its text, says nothing and touches nothing. */
    void listDuringARunIsQuiet()
    {
        Scenario undisturbed(chips, images);
        QVERIFY(undisturbed.run(rows, 2));

        Scenario scenario(chips, images);
        QStringList returned;
        scenario.link->answerInstead = [&](const QByteArray &frame) {
            const QByteArray saved = good();
            scenario.setPackage(checksumWrong());
            returned.append(scenario.engine->getMergeFWJSON(scenario.packagePath()));
            scenario.setPackage(withJson("{"));
            returned.append(scenario.engine->getMergeFWJSON(scenario.packagePath()));
            returned.append(
                scenario.engine->getMergeFWJSON(scenario.packagePath() + QString(".none")));
            scenario.setPackage(saved);
            return QList<QByteArray>{scenario.link->deviceAnswer(frame)};
        };
        QVERIFY(scenario.run(rows, 2));
        QVERIFY(sameTranscript(scenario.lines, undisturbed.lines));
        QCOMPARE(scenario.sentText(), undisturbed.sentText());
        returned.removeDuplicates();
        QCOMPARE(returned, QStringList({"ERROR:Firmware file checksum error.", "",
                                        "ERROR:Firmware file is not exist."}));
    }

    /** The run reads its own package, whether or not another one was listed before. */
    void runUsesItsOwnPackage()
    {
        Scenario scenario(chips, {});
        scenario.engine->getMergeFWJSON(scenario.packagePath());
        scenario.setPackage(makePackage(images, QString("HX-8"), QString("3.77")));
        QVERIFY(scenario.run(rows, 2));
        QVERIFY(scenario.succeeded());
        QCOMPARE(scenario.results(2), QString("11"));
        QCOMPARE(int(scenario.device.virtualVersion()), 77);
        QVERIFY(scenario.with("Model Name: ").isEmpty());
        QVERIFY(scenario.with("Firmware package version").isEmpty());
    }

    void descriptionIsKeptForTheRun()
    {
        Scenario scenario(chips, images);
        QVERIFY(scenario.run({"AUX,1,0"}, 2));
        QCOMPARE(scenario.engine->getFWInfoByChipType(0).value(0), QString("MAIN"));
    }
};

AGENT_TEST(TestPackages)

} // namespace engine::tst_packages

#include "tst_packages.moc"
