// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/FaultyReads.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QFile>
#include <QRegularExpression>

namespace engine::tst_run_package {

namespace {

const QStringList rows{"AUX,1,0", "KEY,2,0"};
const QVector<ChipDescription> chips{testChip("MAIN", 0, 0, "1.0.0"),
                                     testChip("AUX", 1, 0, "1.0.0", 2),
                                     testChip("KEY", 2, 0, "1.0.0", 3)};
/** Each image has separate chunks. */
const QVector<TestImage> images{testImage("AUX", 1, {2, 0, 0}, 2, 20'000),
                                testImage("KEY", 2, {2, 0, 0}, 3, 20'000)};
const QString changed = QString("Firmware package was changed during the upgrade.");
const QString notRead = QString("Firmware package could not be read, upgrade fail.");
const QRegularExpression readWarning(QString("cannot read the package: .*\\(errno 5\\)"));

QByteArray good()
{
    return makePackage(images);
}

/** For the same rows, but with other images and the checksum of yet others. */
QByteArray foreign()
{
    QVector<TestImage> others = images;
    for (TestImage &image : others)
        image.bytes = patternImage(image.bytes.size(), 99);
    QByteArray package = makePackage(others, QString("OTHER"));
    package[0] = package.at(0) == 'f' ? 'e' : 'f';
    return package;
}

/** The file is written to in place, as cp and editors do. */
void overwrite(const QString &path, qint64 offset, const QByteArray &bytes)
{
    QFile file(path);
    const bool done =
        file.open(QIODevice::ReadWrite) && file.seek(offset) && file.write(bytes) == bytes.size();
    if (!done)
        qFatal("cannot change the test package");
}

void flipByte(const QString &path, qint64 offset)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly) || !file.seek(offset))
        qFatal("cannot read the test package");
    const QByteArray byte = file.read(1);
    overwrite(path, offset, QByteArray(1, char(byte.at(0) ^ 0x40)));
}

void cut(const QString &path, qint64 size)
{
    if (!QFile::resize(path, size))
        qFatal("cannot cut the test package");
}

int openFilesNamed(const QString &path)
{
    int count = 0;
    const QFileInfoList links = QDir(QString("/proc/self/fd")).entryInfoList(QDir::Files);
    for (const QFileInfo &link : links)
        count += link.symLinkTarget() == path ? 1 : 0;
    return count;
}

/** A simulated device, and a change of the package in the middle of a run. */
struct Fixture : Scenario
{
    explicit Fixture(const QVector<TestImage> &content = images) : Scenario(chips, content) {}

    /** Makes the change when a frame with this word is sent for the first time. */
    void changeAt(const char *word, const std::function<void()> &change)
    {
        const QString at = QString::fromLatin1(word);
        link->answerInstead = [this, at, change, done = false](const QByteArray &frame) mutable {
            if (!done && wordOf(frame) == at) {
                done = true;
                change();
            }
            return QList<QByteArray>{link->deviceAnswer(frame)};
        };
    }

    /** The run has said these words, then failed at this row, and has sent no more. */
    bool failedAt(const QString &words, const char *row) const
    {
        const QStringList last = lines.mid(lines.size() - 3);
        return last.mid(0, 2) == QStringList{words, QString("APPSTATUS|2")} &&
               last.value(2).startsWith(QLatin1String("UPGRADERESULT|") + QLatin1String(row)) &&
               last.value(2).endsWith("|2") && count("7902") == 0 &&
               with("APPSTATUS").size() == 1 && !engine->runActive() && results(2) == "22";
    }

    /** The chip holds this image, or nothing at all. */
    bool holds(int type, const QByteArray &image) const
    {
        const QByteArray flash = device.flash(quint8(type), 0);
        return image.isEmpty() ? flash.isEmpty() : flash.startsWith(image);
    }
};

} // namespace

using Change = std::function<void(const QString &path)>;

} // namespace engine::tst_run_package

Q_DECLARE_METATYPE(engine::tst_run_package::Change)

namespace engine::tst_run_package {

/** What happens to the package while a run upgrades from it. */
class TestRunPackage : public QObject
{
    Q_OBJECT

private slots:
    void fileOfTheNameDoesNotCount_data()
    {
        const tests::DataTable<Change> rows("change");
        rows("renamed over", Change([](const QString &path) {
                 QFile file(path + ".new");
                 QVERIFY(file.open(QIODevice::WriteOnly) && file.write(foreign()) > 0);
                 file.close();
                 QCOMPARE(::rename(qPrintable(file.fileName()), qPrintable(path)), 0);
             }));
        rows("removed", Change([](const QString &path) { QVERIFY(QFile::remove(path)); }));
        rows("a folder now", Change([](const QString &path) {
                 QVERIFY(QFile::remove(path) && QDir().mkdir(path));
             }));
        rows("moved away",
             Change([](const QString &path) { QVERIFY(QFile::rename(path, path + ".old")); }));
    }

    /** The run continues with the file that it has checked. */
    void fileOfTheNameDoesNotCount()
    {
        QFETCH(Change, change);
        Fixture undisturbed;
        QVERIFY(undisturbed.run(rows, 2));
        QVERIFY(undisturbed.succeeded());
        for (const char *word : {"F903", "F902", "7900", "7902"}) {
            Fixture fixture;
            fixture.changeAt(word, [&] { change(fixture.packagePath()); });
            QVERIFY(fixture.run(rows, 2));
            QVERIFY(sameTranscript(fixture.lines, undisturbed.lines));
            QCOMPARE(fixture.sentText(), undisturbed.sentText());
            QVERIFY(fixture.holds(1, images.at(0).bytes));
            QVERIFY(fixture.holds(2, images.at(1).bytes));
        }
    }

    void changesInPlace_data()
    {
        const tests::DataTable<Change, bool> rows("change", "found");
        const qint64 size = good().size();
        const auto flip = [](qint64 offset) {
            return Change([offset](const QString &path) { flipByte(path, offset); });
        };
        const auto cutTo = [](qint64 length) {
            return Change([length](const QString &path) { cut(path, length); });
        };
        rows("first byte of the checksum", flip(0), true);
        rows("description", flip(30), true);
        rows("the next image, first byte", flip(size - 20'000), true);
        rows("the next image, last byte", flip(size - 1), true);
        rows("its record", flip(size - 20'012), true);
        rows("cut in the next image", cutTo(size - 1), true);
        rows("cut to nothing", cutTo(0), true);
        rows("cut and as long as before", Change([size](const QString &path) {
                 cut(path, size / 2);
                 cut(path, size);
             }),
             true);
        rows("another package", Change([](const QString &path) { overwrite(path, 0, foreign()); }),
             true);
        rows("the same bytes again", Change([](const QString &path) {
                 cut(path, 0);
                 overwrite(path, 0, good());
             }),
             false);
        rows("longer",
             Change([size](const QString &path) { overwrite(path, size, QByteArray(5000, 'x')); }),
             false);
        rows("in what was read already", flip(size - 28'000), false);
    }

    /** The change comes when the first image has been read and is about to go. */
    void changesInPlace()
    {
        QFETCH(Change, change);
        QFETCH(bool, found);
        for (const int mode : {2, 5}) {
            Fixture fixture;
            fixture.changeAt("7900", [&] { change(fixture.packagePath()); });
            QVERIFY(fixture.run(rows, mode));
            QVERIFY(fixture.holds(1, images.at(0).bytes));
            QVERIFY(fixture.holds(2, found ? QByteArray() : images.at(1).bytes));
            QCOMPARE(fixture.with(qPrintable(changed)).size(), found ? 1 : 0);
            QCOMPARE(fixture.succeeded(), !found);
            QVERIFY(!found || fixture.failedAt(changed, "KEY,2,0"));
            QVERIFY(fixture.with("No suitable firmware").isEmpty());
        }
    }

    void changeBeforeTheFirstImage()
    {
        Fixture fixture;
        fixture.changeAt("F903", [&] { flipByte(fixture.packagePath(), 30); });
        QVERIFY(fixture.run(rows, 2));
        QVERIFY(fixture.failedAt(changed, "AUX,1,0"));
        QCOMPARE(fixture.count("7900"), 0);
        QCOMPARE(fixture.progress, QList<double>{50.0});
    }

    /** All of a small package is one chunk, so that every read after the check meets the change. */
    void changeBeforeEachRead()
    {
        const QVector<TestImage> small{testImage("AUX", 1, {2, 0, 0}, 2),
                                       testImage("KEY", 2, {2, 0, 0}, 3)};
        const auto runWith = [&](Fixture &fixture, int changedRead) {
            FaultyReads reads;
            reads.beforeRead = [&](int number) {
                if (number == changedRead)
                    flipByte(fixture.packagePath(), 9);
            };
            const bool ended = fixture.run(rows, 2);
            return ended ? reads.reads() : 0;
        };
        Fixture undisturbed(small);
        const int all = runWith(undisturbed, 0);
        QVERIFY(undisturbed.succeeded());
        constexpr int readsOfTheCheck = 2;
        QVERIFY(all > readsOfTheCheck + 6);
        for (int number = readsOfTheCheck + 1; number <= all; ++number) {
            Fixture fixture(small);
            QVERIFY(runWith(fixture, number) >= number);
            const bool oneWritten = fixture.count("7900") > 0;
            QVERIFY2(fixture.failedAt(changed, oneWritten ? "KEY,2,0" : "AUX,1,0"),
                     qPrintable(fixture.lines.join('\n')));
            QVERIFY(fixture.holds(1, oneWritten ? small.at(0).bytes : QByteArray()));
            QVERIFY(fixture.holds(2, {}));
            QVERIFY(fixture.with("Invalid firmware file").isEmpty());
            QVERIFY(fixture.with("No suitable firmware").isEmpty());
        }
    }

    /** Those of the check, too. */
    void readErrorAtEachRead()
    {
        int all = 0;
        {
            const FaultyReads reads;
            Fixture fixture;
            QVERIFY(fixture.run(rows, 2));
            QVERIFY(fixture.succeeded());
            all = reads.reads();
        }
        QVERIFY(all > 8);
        for (int number = 1; number <= all; ++number) {
            Fixture fixture;
            FaultyReads reads;
            reads.brokenRead = number;
            QTest::ignoreMessage(QtWarningMsg, readWarning);
            QVERIFY(fixture.run(rows, 2));
            const bool oneWritten = fixture.count("7900") > 0;
            QVERIFY2(fixture.failedAt(notRead, oneWritten ? "KEY,2,0" : "AUX,1,0"),
                     qPrintable(fixture.lines.join('\n')));
            QVERIFY(fixture.holds(1, oneWritten ? images.at(0).bytes : QByteArray()));
            QVERIFY(fixture.holds(2, {}));
        }
    }

    void netImageChanges_data()
    {
        const tests::DataTable<qint64, bool> rows("place", "broken");
        const qint64 imageSize = 600'062;
        rows("head", imageSize - 1, false);
        rows("middle", imageSize / 2, false);
        rows("last byte", qint64(1), false);
        rows("cannot be read", imageSize / 2, true);
    }

    /** Nothing is installed, and what was stored of the archive is gone. */
    void netImageChanges()
    {
        QFETCH(qint64, place);
        QFETCH(bool, broken);
        TestImage image = testImage("NET", 32, {1, 23, 0});
        image.bytes = netImageOf(patternImage(600'000, 3));
        const QByteArray package = makePackage({images.at(0), image});
        RecordingShell shell;
        EngineHarness harness(Scenario::deviceOf(chips), shell.shell());
        harness.setPackage(package);
        FaultyReads reads;
        QObject::connect(harness.engine.get(), &ControlCenter::message,
                         [&](const QStringList &list) {
                             if (list != QStringList("Start to upgrade NET firmware."))
                                 return;
                             if (broken)
                                 reads.brokenFrom = package.size() - place;
                             else
                                 flipByte(harness.packagePath(), package.size() - place);
                         });
        if (broken)
            QTest::ignoreMessage(QtWarningMsg, readWarning);
        QVERIFY(harness.run({"NET,32,0", "AUX,1,0"}, 5));
        const int start = harness.lines.indexOf("Start to upgrade NET firmware.");
        QVERIFY(
            sameTranscript(harness.lines.mid(start + 1), {broken ? notRead : changed, "APPSTATUS|2",
                                                          "UPGRADERESULT|NET,32,0,,,,,,,,,1,2|2"}));
        QCOMPARE(shell.commands(), QStringList());
        QVERIFY(!QFile::exists(harness.platform().paths.netArchive));
        QVERIFY(!QFile::exists(harness.platform().paths.netVersion));
        QVERIFY(harness.device.flash(1, 0).isEmpty());
    }

    void closesTheFile()
    {
        Fixture fixture;
        int during = 0;
        fixture.changeAt("7902", [&] { during = openFilesNamed(fixture.packagePath()); });
        QVERIFY(fixture.run(rows, 2));
        QCOMPARE(during, 1);
        QCOMPARE(openFilesNamed(fixture.packagePath()), 0);
        QVERIFY(fixture.run({}, 1));
        QCOMPARE(openFilesNamed(fixture.packagePath()), 0);
        fixture.changeAt("F903", [&] { flipByte(fixture.packagePath(), 30); });
        QVERIFY(fixture.run(rows, 2));
        QCOMPARE(openFilesNamed(fixture.packagePath()), 0);
    }

    void nextRunReadsTheNewFile()
    {
        QVector<TestImage> newer = images;
        for (TestImage &image : newer)
            image.bytes = patternImage(5000, 77);
        Fixture fixture;
        fixture.changeAt("7900", [&] {
            QVERIFY(QFile::remove(fixture.packagePath()));
            fixture.setPackage(makePackage(newer));
        });
        QVERIFY(fixture.run(rows, 2));
        QVERIFY(fixture.holds(2, images.at(1).bytes));
        QVERIFY(fixture.run(rows, 5));
        QVERIFY(fixture.succeeded());
        QVERIFY(fixture.holds(1, newer.at(0).bytes));
        QVERIFY(fixture.holds(2, newer.at(1).bytes));
    }

    /** What the log of operations is made from. */
    void eventsOfAChange()
    {
        Fixture fixture;
        QList<RunEvent> events;
        QObject::connect(fixture.engine->runEvents(), &RunEvents::reported, fixture.engine.get(),
                         [&events](const RunEvent &event) { events.append(event); });
        fixture.changeAt("7900", [&] { cut(fixture.packagePath(), 100); });
        QVERIFY(fixture.run(rows, 2));
        const RunEvent reason = events.at(events.size() - 2);
        QCOMPARE(int(reason.kind), int(RunEvent::Kind::GivenUp));
        QCOMPARE(reason.text, changed);
        const RunEvent end = events.last();
        QCOMPARE(int(end.kind), int(RunEvent::Kind::Ended));
        QVERIFY(!end.success);
        QCOMPARE(end.status, 2);
        QCOMPARE(end.written, 1);
        QCOMPARE(end.failed, 0);
    }

    void listReadsAnUnchangedFileOnce()
    {
        Fixture fixture({testImage("AUX", 1, {2, 0, 0}, 2, 1'000'000)});
        FaultyReads reads;
        QString returned;
        const auto readByList = [&] {
            const qint64 before = reads.bytes();
            returned = fixture.engine->getMergeFWJSON(fixture.packagePath());
            return reads.bytes() - before;
        };
        QVERIFY(readByList() > 1'000'000);
        // The result is kept as soon as the file's times are settled.
        QVERIFY(waitFor([&] { return readByList() < 10'000; }));
        QVERIFY(returned.startsWith('{'));
        const QStringList lines = fixture.lines;
        fixture.clear();
        readByList();
        QVERIFY(sameTranscript(fixture.lines, lines.mid(lines.size() - fixture.lines.size())));
        QVERIFY(fixture.lines.contains("Firmware file checksum ok."));

        // A run computes its own.
        const qint64 before = reads.bytes();
        QVERIFY(fixture.run({"KEY,2,0"}, 5));
        QVERIFY(reads.bytes() - before > 1'000'000);

        flipByte(fixture.packagePath(), 500'000);
        QVERIFY(readByList() > 1'000'000);
        QCOMPARE(returned, QString("ERROR:Firmware file checksum error."));
    }

    void readErrorInAList()
    {
        Fixture fixture;
        {
            FaultyReads reads;
            reads.brokenFrom = good().size() - 1;
            QTest::ignoreMessage(QtWarningMsg, readWarning);
            QCOMPARE(fixture.engine->getMergeFWJSON(fixture.packagePath()),
                     QString("ERROR:Firmware file checksum error."));
        }
        QVERIFY(fixture.engine->getMergeFWJSON(fixture.packagePath()).startsWith('{'));
    }
};

AGENT_TEST(TestRunPackage)

} // namespace engine::tst_run_package

#include "tst_run_package.moc"
