// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/ModuleFiles.h"
#include "netupgrade/NetInstaller.h"
#include "support/FullDisk.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QtTest>

namespace netupgrade::tst_installer {

using bytes::BytesSource;
using package::parseNetImage;

namespace {

/** One installer with everything it does in one list, in order. */
struct Bench : ModuleFiles
{
    Bench()
    {
        platform.shell.run = [this](const QString &command) { log.append("$ " + command); };
        platform.shell.readFirst = [this](const QString &command, int count) {
            log.append("$ " + command);
            return RecordingShell::md5OfNamedFile(command).left(count);
        };
        report.text = [this](const QString &line) { log.append("> " + line); };
        report.keyed = [this](const QStringList &list) { log.append("> " + list.join("||")); };
        report.progress = [this](double percent) { log.append(QString::number(percent) + '%'); };
    }

    NetInstaller installer() { return {platform, report}; }

    bool installImage(const QByteArray &image)
    {
        BytesSource source(image);
        return installer().installImage(source);
    }

    NetReport report;
    QStringList log;
};

QByteArray imageOf(const QByteArray &archive)
{
    return netframes::header(archive) + archive;
}

/** Cannot be read from some byte on. */
class EndingSource : public BytesSource
{
public:
    EndingSource(const QByteArray &bytes, qint64 end) : BytesSource(bytes), m_end(end) {}

    QByteArray read(qint64 offset, qint64 length) override
    {
        largest = std::max(largest, length);
        return BytesSource::read(offset, std::min(length, m_end - offset));
    }

    qint64 largest = 0;

private:
    qint64 m_end;
};

const QStringList refusal = {"> Start to upgrade NET firmware.", "10%",
                             "$ sudo md5sum /data/sysupdate.tar.bz2",
                             "> NET firmware checksum fail, upgrade net fail."};

} // namespace

class TestInstaller : public QObject
{
    Q_OBJECT

private slots:
    void installsAnImage()
    {
        Bench bench;
        const QByteArray archive(100'000, 'x');
        QVERIFY(bench.installImage(imageOf(archive)));
        QCOMPARE(bench.portable(bench.log), (QStringList{
                                                "> Start to upgrade NET firmware.",
                                                "10%",
                                                "$ sudo md5sum /data/sysupdate.tar.bz2",
                                                "> NET firmware checksum success.",
                                                "20%",
                                                "$ sudo mount -o remount rw /",
                                                "30%",
                                                "$ sudo tar -C / -xf /data/sysupdate.tar.bz2",
                                                "70%",
                                                "$ sudo rm /data/sysupdate.tar.bz2",
                                                "80%",
                                                "$ sudo mount -o remount ro /",
                                                "$ sync",
                                                "90%",
                                                "> NET firmware ver1.23 upgrade success.",
                                                "> NETVERSION||1.23",
                                            }));
        QCOMPARE(bench.storedArchive(), archive);
        QCOMPARE(bench.storedVersion(), QByteArray("1.23"));
    }

    void refuses_data()
    {
        const tests::DataTable<QByteArray, QByteArray> rows("image", "stored");
        const QByteArray image = imageOf("archive");
        rows("damaged", image + 'x', "archivex");
        rows("upper case digest", QByteArray(image).replace(5, 32, image.mid(5, 32).toUpper()),
             "archive");
        for (const int size : {0, 3, 4, 10, 36, 37, 61})
            rows(qPrintable(QString("%1 bytes").arg(size)), image.left(size), "");
    }

    void refuses()
    {
        QFETCH(QByteArray, image);
        Bench bench;
        QVERIFY(!bench.installImage(image));
        QCOMPARE(bench.portable(bench.log), refusal);
        QTEST(bench.storedArchive(), "stored");
        QCOMPARE(bench.storedVersion(), QByteArray("no file"));
        const package::NetImage header = parseNetImage(image);
        QCOMPARE(header.version.size(), 4);
        QCOMPARE(header.md5Text.size(), 32);
    }

    void refusesASilentDigestCommand()
    {
        Bench bench;
        bench.platform.shell.readFirst = [](const QString &, int) { return QByteArray(); };
        QVERIFY(!bench.installImage(imageOf("archive")));
        QCOMPARE(bench.log.last(), refusal.last());
    }

    void cannotCreateTheArchive()
    {
        Bench bench;
        bench.platform.paths.netArchive = bench.folder.filePath("missing/archive");
        QVERIFY(!bench.installImage(imageOf("archive")));
        QCOMPARE(bench.log, (QStringList{"> Start to upgrade NET firmware.",
                                         "> Create fw_net error, upgrade net fail."}));
    }

    void cannotWriteTheArchive()
    {
        Bench bench;
        bench.platform.paths.netArchive = "/dev/full";
        bench.platform.shell.readFirst = [](const QString &, int count) {
            return QCryptographicHash::hash({}, QCryptographicHash::Md5).toHex().left(count);
        };
        QVERIFY(!bench.installImage(imageOf("archive")));
        QCOMPARE(bench.log.last(), refusal.last());
    }

    /** Not even what fitted on the disk stays. */
    void fullDiskLeavesAnEmptyArchive()
    {
        Bench bench;
        {
            const FullDisk disk(700'000);
            QVERIFY(!bench.installImage(imageOf(QByteArray(1'000'000, 'x'))));
        }
        QCOMPARE(bench.portable(bench.log), refusal);
        QCOMPARE(bench.storedArchive(), QByteArray());
    }

    void holdsOnePieceInMemory()
    {
        Bench bench;
        const QByteArray archive = QByteArray("0123456789").repeated(100'000);
        const QByteArray image = imageOf(archive);
        EndingSource source(image, image.size());
        QVERIFY(bench.installer().installImage(source));
        QCOMPARE(bench.storedArchive(), archive);
        QCOMPARE(source.largest, 256 * 1024);
    }

    void installsNothingOfABrokenSource_data()
    {
        QTest::addColumn<int>("end");
        for (const int end : {0, 10, 62, 63, 400'000, 1'000'061})
            QTest::addRow("after %d bytes", end) << end;
    }

    /** The owner of the source knows why it ended, and reports it. */
    void installsNothingOfABrokenSource()
    {
        QFETCH(int, end);
        Bench bench;
        bench.putArchive("an older one");
        EndingSource source(imageOf(QByteArray(1'000'000, 'x')), end);
        QVERIFY(!bench.installer().installImage(source));
        QCOMPARE(bench.portable(bench.log), refusal.mid(0, 2));
        QCOMPARE(bench.storedArchive(), QByteArray("no file"));
        QCOMPARE(bench.storedVersion(), QByteArray("no file"));
    }

    void cannotWriteTheVersion()
    {
        Bench bench;
        bench.platform.paths.netVersion = bench.folder.filePath("missing/version");
        QVERIFY(bench.installImage(imageOf("archive")));
        QCOMPARE(bench.log.last(), QString("> Failed to create version file"));
    }

    void replacesTheOldVersion()
    {
        Bench bench;
        bench.putVersion("1.00");
        QVERIFY(bench.installImage(imageOf("archive")));
        QCOMPARE(bench.storedVersion(), QByteArray("1.23"));
        QCOMPARE(QDir(bench.folder.path()).entryList(QDir::Files).size(), 2);
    }

    void installs_data()
    {
        const tests::DataTable<NetInstallVariant, QByteArray, QStringList> rows("variant",
                                                                                "version", "log");
        rows("quiet", NetInstallVariant::Quiet, "no file",
             {
                 "$ sudo md5sum /data/sysupdate.tar.bz2",
                 "20%",
                 "$ sudo mount -o remount rw /",
                 "30%",
                 "$ sudo tar -C / -xf /data/sysupdate.tar.bz2",
                 "70%",
                 "$ sudo rm /data/sysupdate.tar.bz2",
                 "80%",
                 "$ sudo mount -o remount ro /",
                 "$ sync",
                 "90%",
             });
        rows("blocks", NetInstallVariant::Blocks, "1.23",
             {
                 "$ sudo md5sum /data/sysupdate.tar.bz2",
                 "> NET package checksum OK.",
                 "$ sudo mount -o remount rw /",
                 "30%",
                 "> NET package upgrade 30%.",
                 "$ sudo tar -C / -xf /data/sysupdate.tar.bz2",
                 "70%",
                 "> NET package upgrade 70%.",
                 "$ sudo rm /data/sysupdate.tar.bz2",
                 "80%",
                 "> NET package upgrade 80%.",
                 "$ sudo mount -o remount ro /",
                 "> NET firmware checksum success.",
                 "> Create version file success",
                 "> NETVERSION||1.23",
                 "$ sync",
                 "90%",
                 "> NET package upgrade 90%.",
                 "> NET firmware ver1.23 upgrade success.",
             });
    }

    void installs()
    {
        QFETCH(NetInstallVariant, variant);
        Bench bench;
        bench.putArchive("archive");
        QVERIFY(bench.installer().install(variant, imageHeader("archive")));
        QTEST(bench.portable(bench.log), "log");
        QTEST(bench.storedVersion(), "version");
    }

    void refusesArchives()
    {
        for (const auto variant : {NetInstallVariant::Quiet, NetInstallVariant::Blocks}) {
            QStringList expected{"$ sudo md5sum /data/sysupdate.tar.bz2"};
            if (variant == NetInstallVariant::Blocks)
                expected.append("> NET package checksum error.");
            Bench bench;
            QVERIFY(!bench.installer().install(variant, {}));
            QCOMPARE(bench.portable(bench.log), expected);
        }
    }

    void worksWithoutListeners()
    {
        Bench bench;
        bench.report = {};
        QVERIFY(bench.installImage(imageOf("archive")));
        QCOMPARE(bench.log.size(), 6);
    }
};

AGENT_TEST(TestInstaller)

} // namespace netupgrade::tst_installer

#include "tst_installer.moc"
