// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "engine/Scenario.h"
#include "engine/package/PackageShelf.h"
#include "engine/package/RunPackage.h"
#include "engine/report/RunWords.h"
#include "engine/runs/UpgradeRun.h"
#include "support/TestCase.h"

#include <QFile>
#include <QTemporaryDir>

namespace engine::tst_upgrade_run {

namespace field = package::field;
namespace netImage = links::netImage;
using bytes::ByteSource;
using platform::Platform;

using Images = QVector<TestImage>;

namespace {

const QString mainRow = QString("MAIN,0,0,1,1,65,1,0,0,0,1,0,0");
const QString auxRow = QString("AUX,1,2,2,1,65,1,0,0,0,1,0,0");
const QString netRow = QString("NET,32,0,1,1,65,1,0,0,0,1,0,0");

Images allImages()
{
    return {testImage("MAIN", 0, {2, 0, 0}), testImage("AUX", 1, {2, 0, 0}, 2),
            testImage("NET", 32, {2, 0, 0})};
}

/** A run with a package in a temporary file; its images are not sent. */
struct RunBench : ReportBench
{
    explicit RunBench(const Images &images = allImages(), const Platform &platform = {})
        : shelf(
              output, [] {}, keys()),
          package(keys()),
          run({rows, shelf, package, output, report, progress,
               [this](quint8 type, quint8 index, const QByteArray &image) {
                   written += QString("%1,%2,%3").arg(type).arg(index).arg(image.size());
               },
               [this](ByteSource &image) {
                   installed += image.read(0, image.size());
                   return installs;
               }},
              platform)
    {
        setPackage(makePackage(images));
    }

    QString path() const { return dir.filePath("FW.fwm"); }
    QString keys() const { return dir.filePath("keys"); }
    void setPackage(const QByteArray &bytes) const { storePackage(path(), bytes); }
    FoundEvent start(int mode)
    {
        run.begin(mode);
        return run.start(path(), {QString("MAIN,0,0")});
    }
    /** A run that has read these rows, and is at the first. */
    void startAt(const QStringList &readRows, int mode)
    {
        start(mode);
        rows.reset(readRows);
        lines.clear();
        events.clear();
        percents.clear();
    }
    QStringList texts(RunEvent::Kind kind) const
    {
        QStringList found;
        for (const RunEvent &event : events) {
            if (event.kind == kind)
                found += event.text;
        }
        return found;
    }

    QTemporaryDir dir;
    PackageShelf shelf;
    RunPackage package;
    QStringList written;
    QList<QByteArray> installed;
    bool installs = true;
    UpgradeRun run;
};

} // namespace

/** What a run decides for each row, with nothing of the device in it. */
class TestUpgradeRun : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_UPGRADTYPE = netImage::installHere; }

    void modes_data()
    {
        const tests::DataTable<int, FoundEvent, bool, bool> rows("mode", "event", "resets",
                                                                 "writesInfo");
        rows("images only", 1, FoundEvent(Event::StartImages), false, true);
        rows("newer only", 2, FoundEvent(Event::StartNewer), true, false);
        rows("forced", 5, FoundEvent(Event::StartForced), true, false);
        rows("another one", 4, FoundEvent(), false, false);
    }

    void modes()
    {
        QFETCH(int, mode);
        RunBench bench;
        QTEST(bench.start(mode), "event");
        QTEST(bench.run.resetsProgress(), "resets");
        QTEST(bench.run.writesInfoAfterwards(), "writesInfo");
        QCOMPARE(bench.lines, QStringList{"Firmware file checksum ok."});
        QCOMPARE(bench.shelf.model(), QString("HX-8"));
        QCOMPARE(bench.shelf.firmwareList().size(), 3);
    }

    void unusablePackages_data()
    {
        const tests::DataTable<QByteArray, bool, QString> rows("package", "checksumIsRight",
                                                               "reason");
        const QByteArray good = makePackage(allImages());
        QByteArray capitals = good;
        // Releases are tried until the checksum has a letter in it.
        for (int release = 0; capitals.left(8).toUpper() == capitals.left(8); ++release)
            capitals = makePackage(allImages(), "HX-8", QString::number(release));
        const QString wrong = "ERROR:Firmware file checksum error.";
        rows("wrong checksum", good + "x", false, wrong);
        rows("checksum in capitals", capitals.left(8).toUpper() + capitals.mid(8), false, wrong);
        rows("empty", "", false, wrong);
        rows("8 bytes", "00000000", false, wrong);
        // A stored checksum cannot begin with "MTU", so a bare package fails before its form is
        // seen.
        rows("bare", bareForm(good), false, wrong);
        const QString tooOld = "FWM file version error, must greater or equal to 6.";
        for (const int version : {2, 3, 5})
            rows(qPrintable(QString("version %1").arg(version)), withVersion(good, version), true,
                 tooOld);
        const QString unknown = "Package version error, invalid firmware file";
        for (const int version : {0, 1})
            rows(qPrintable(QString("version %1").arg(version)), withVersion(good, version), true,
                 unknown);
        const QString invalid = "Invalid firmware file";
        rows("9 bytes", withChecksum("M"), true, invalid);
        rows("12 bytes", withChecksum(QByteArray("MTU\0", 4)), true, invalid);
        rows("no magic", withChecksum("MTX" + good.mid(11)), true, invalid);
    }

    void unusablePackages()
    {
        QFETCH(QByteArray, package);
        QFETCH(bool, checksumIsRight);
        QFETCH(QString, reason);
        RunBench bench;
        bench.setPackage(package);
        QCOMPARE(bench.start(5), FoundEvent(Event::PackageUnusable));
        QCOMPARE(bench.lines, checksumIsRight ? QStringList({"Firmware file checksum ok.", reason})
                                              : QStringList());
        QCOMPARE(bench.texts(RunEvent::Kind::GivenUp), QStringList{reason});
        QVERIFY(bench.shelf.firmwareList().isEmpty());
    }

    void missingPackage()
    {
        RunBench bench;
        QVERIFY(QFile::remove(bench.path()));
        QCOMPARE(bench.start(5), FoundEvent(Event::PackageUnusable));
        QCOMPARE(bench.lines, QStringList{"APPSTATUS|2"});
        QCOMPARE(bench.texts(RunEvent::Kind::GivenUp),
                 QStringList{"ERROR:Firmware file is not exist."});
    }

    void rowsAreCompleted()
    {
        RunBench bench;
        bench.rows.setIndex(7);
        bench.run.begin(5);
        bench.run.start(bench.path(), {"MAIN,0,0", "AUX,1,0"});
        QCOMPARE(bench.rows.index(), 0);
        QCOMPARE(bench.rows.all(), QStringList({"MAIN,0,0,,,,,,,,,0,0", "AUX,1,0,,,,,,,,,0,0"}));
    }

    void decisions_data()
    {
        const tests::DataTable<QString, int, Event, QStringList, QStringList> rows(
            "row", "mode", "event", "lines", "skipped");
        const QStringList none;
        rows("main", mainRow, 5, Event::MainImageDue, none, none);
        rows("another index of the main chip", QString(mainRow).replace("0,0,1", "0,1,1"), 5,
             Event::OtherImageDue, none, none);
        rows("other", auxRow, 5, Event::OtherImageDue, none, none);
        rows("newer", auxRow, 2, Event::OtherImageDue,
             QStringList{"Firmware version V2.0.0 greater than the 'AUX' version "
                         "V1.0.0, will upgrade."},
             none);
        const QString equal = QString(auxRow).replace("65,1", "65,2");
        rows("equal", equal, 2, Event::ItemDone,
             QStringList{"Firmware version V2.0.0 equal to the 'AUX' version "
                         "V2.0.0, will not upgrade.",
                         "UPGRADERESULT|" + equal.left(equal.size() - 1) + "2|3"},
             QStringList{runWord::notNewer});
        const QString differs = QString(auxRow).replace("2,1,65", "9,1,65");
        rows("no match", differs, 5, Event::ItemDone,
             QStringList{"UPGRADERESULT|" + differs.left(differs.size() - 1) + "2|2"},
             QStringList{runWord::noMatch});
        rows("no firmware", "KEY,4,0,2,1,65,1,0,0,0,1,0,0", 5, Event::ItemDone,
             QStringList{"UPGRADERESULT|KEY,4,0,2,1,65,1,0,0,0,1,0,2|2",
                         "No suitable firmware for 'KEY' in the firmware package."},
             QStringList{runWord::noFirmware});
        rows("name alone", "AUX", 5, Event::ItemDone,
             QStringList{"Invalid firmware list item(AUX). Check next item."},
             QStringList{runWord::badRow});
        rows("empty", "", 5, Event::ItemDone,
             QStringList{"Invalid firmware list item(). Check next item."},
             QStringList{runWord::badRow});
        rows("two fields", "AUX,1", 5, Event::ItemDone,
             QStringList{"MCU 'AUX' chip type or chip index incorrect, upload next mcu"},
             QStringList{runWord::badRow});
    }

    void decisions()
    {
        QFETCH(QString, row);
        QFETCH(int, mode);
        QFETCH(Event, event);
        RunBench bench;
        bench.startAt({row}, mode);
        QCOMPARE(bench.run.choose(), event);
        QTEST(bench.lines, "lines");
        QTEST(bench.texts(RunEvent::Kind::Skipped), "skipped");
        const bool due = event != Event::ItemDone;
        QCOMPARE(bench.rows.value(0, field::upgradeFlag) == QString("1"), due);
        QVERIFY(bench.written.isEmpty());
    }

    void pastTheLastRow()
    {
        RunBench bench;
        bench.startAt({mainRow}, 5);
        bench.rows.advance();
        QCOMPARE(bench.run.choose(), Event::NoMoreItems);
        QVERIFY(bench.lines.isEmpty());
    }

    void imagesOfRows_data()
    {
        QTest::addColumn<QString>("row");
        QTest::addColumn<FoundEvent>("event");
        QTest::addColumn<QStringList>("written");
        QTest::addColumn<QStringList>("lines");
        const QStringList none;
        QTest::newRow("written") << auxRow << FoundEvent() << QStringList{"1,2,256"} << none;
        const auto refused = [&](const char *name, const QString &row, const QString &line) {
            QTest::newRow(name) << row << FoundEvent(Event::ItemDone) << none
                                << QStringList{line,
                                               "UPGRADERESULT|" + row.left(row.size() - 1) + "2|2"};
        };
        const QString badChip = QString("Chip type or chip index error.");
        refused("no number", "AUX,x,0,2,1,65,1,0,0,0,1,0,0", badChip);
        refused("no index", "AUX,1,,2,1,65,1,0,0,0,1,0,0", badChip);
        refused("negative", "AUX,1,-1,2,1,65,1,0,0,0,1,0,0", badChip);
        refused("not a byte", "AUX,1,256,2,1,65,1,0,0,0,1,0,0", badChip);
        refused("no record", "KEY,4,0,2,1,65,1,0,0,0,1,0,0",
                "No suitable firmware for 'KEY' mcu in the firmware package.");
        refused("empty image", "FAN,5,0,2,1,65,1,0,0,0,1,0,0",
                "No suitable firmware for 'FAN' mcu in the firmware package.");
    }

    void imagesOfRows()
    {
        QFETCH(QString, row);
        Images images = allImages();
        images += testImage("FAN", 5, {2, 0, 0}, 2, 0);
        RunBench bench(images);
        bench.startAt({row}, 5);
        QTEST(bench.run.sendImage(), "event");
        QTEST(bench.written, "written");
        QTEST(bench.lines, "lines");
        QCOMPARE(bench.texts(RunEvent::Kind::Writing).size(), bench.written.size());
        QVERIFY(!bench.run.hasWritten());
    }

    void longImageIsNone()
    {
        Platform platform;
        platform.limits.image = 255;
        RunBench bench(allImages(), platform);
        bench.startAt({auxRow}, 5);
        QTest::ignoreMessage(QtWarningMsg, "an image is too long: 256 bytes");
        QCOMPARE(bench.run.sendImage(), FoundEvent(Event::ItemDone));
        QVERIFY(bench.written.isEmpty());
    }

    void moduleImages_data()
    {
        const tests::DataTable<int, bool, FoundEvent, QString, int, int> rows(
            "kind", "installs", "event", "result", "installed", "written");
        const FoundEvent done = Event::ItemDone;
        const int here = netImage::installHere;
        rows("installed", here, true, done, "1", 1, 0);
        rows("not installed", here, false, done, "2", 1, 0);
        rows("sent", int(netImage::sendToDevice), true, FoundEvent(), "0", 0, 1);
        rows("not handled", 3, true, done, "2", 0, 0);
    }

    void moduleImages()
    {
        QFETCH(int, kind);
        QFETCH(bool, installs);
        QFETCH(QString, result);
        RunBench bench;
        bench.installs = installs;
        bench.startAt({netRow}, 5);
        g_UPGRADTYPE = quint8(kind);
        QTEST(bench.run.sendImage(), "event");
        QTEST(int(bench.installed.size()), "installed");
        QTEST(int(bench.written.size()), "written");
        QCOMPARE(bench.rows.value(0, field::result), result);
        QCOMPARE(bench.run.hasWritten(), result == QString("1"));
        if (!bench.installed.isEmpty())
            QCOMPARE(bench.installed.first(), allImages().last().bytes);
    }

    void changedPackageStopsTheRun()
    {
        RunBench bench;
        bench.startAt({auxRow}, 5);
        QFile file(bench.path());
        QVERIFY(file.open(QIODevice::ReadWrite));
        QVERIFY(file.resize(20));
        QCOMPARE(bench.run.sendImage(), FoundEvent(Event::PackageUnusable));
        QVERIFY(bench.written.isEmpty());
        QVERIFY(bench.lines.isEmpty());
        bench.run.reportPackageFault();
        const QStringList words{"Firmware package was changed during the upgrade."};
        QCOMPARE(bench.lines, words);
        QCOMPARE(bench.texts(RunEvent::Kind::GivenUp), words);
    }

    void results_data()
    {
        const tests::DataTable<int, bool, Event, QStringList> rows("row", "written", "event",
                                                                   "lines");
        const QString main = "UPGRADERESULT|" + mainRow.left(mainRow.size() - 1);
        const QString aux = "UPGRADERESULT|" + auxRow.left(auxRow.size() - 1);
        rows("written", 0, true, Event::ImageWritten,
             QStringList{main + "1|1", "Write firmware 'MAIN' success."});
        rows("the last one", 1, true, Event::ImageWritten,
             QStringList{aux + "1|1", "Write firmware 'AUX' success.",
                         "Write all firmware success."});
        rows("failed", 0, false, Event::ItemDone,
             QStringList{main + "2|2", "'MAIN' F/W Update fail."});
        rows("the last one failed", 1, false, Event::ItemDone,
             QStringList{aux + "2|2", "'AUX' F/W Update fail."});
        rows("a file, which has no row", 2, true, Event::ImageWritten,
             QStringList{"Write firmware '' success."});
    }

    void results()
    {
        QFETCH(int, row);
        QFETCH(bool, written);
        RunBench bench;
        bench.startAt({mainRow, auxRow}, 5);
        bench.rows.setIndex(row);
        QTEST(bench.run.takeImageResult(written), "event");
        QTEST(bench.lines, "lines");
        QCOMPARE(bench.run.hasWritten(), written);
        QCOMPARE(bench.texts(RunEvent::Kind::GivenUp).size(), written ? 0 : 1);
    }

    /** The main MCU has one turn before all others, and none after it. */
    void mainFirst()
    {
        RunBench bench;
        bench.startAt({mainRow, auxRow}, 5);
        QVERIFY(bench.run.mayWriteMainFirst());
        bench.run.beginMainFirst();
        QVERIFY(!bench.run.mayWriteMainFirst());
        QCOMPARE(bench.run.choose(), Event::MainImageDue);
        QCOMPARE(bench.run.itemDone(), Event::MainFirstDone);
        QCOMPARE(bench.run.choose(), Event::ItemDone);
        QVERIFY(bench.lines.isEmpty());
        bench.rows.advance();
        QCOMPARE(bench.run.choose(), Event::OtherImageDue);
    }

    void runsShareNothing()
    {
        RunBench bench;
        bench.startAt({mainRow, auxRow}, 5);
        bench.run.beginMainFirst();
        bench.run.takeImageResult(true);
        QVERIFY(bench.run.hasWritten());
        bench.startAt({mainRow, auxRow}, 5);
        QVERIFY(!bench.run.hasWritten());
        QVERIFY(bench.run.mayWriteMainFirst());
        QCOMPARE(bench.run.choose(), Event::MainImageDue);
        QCOMPARE(bench.run.itemDone(), Event::ItemDone);
    }
};

AGENT_TEST(TestUpgradeRun)

} // namespace engine::tst_upgrade_run

#include "tst_upgrade_run.moc"
