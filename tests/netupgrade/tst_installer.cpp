// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstaller.h"
#include "support/FullDisk.h"
#include "support/InstallFolder.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QTemporaryDir>
#include <QtTest>

namespace tst_installer {

namespace net = package::net;
using bytes::BytesSource;
using netupgrade::NetInstaller;
using netupgrade::NetInstallVariant;
using netupgrade::NetReport;
using package::NetImage;
using package::parseNetImage;
using platform::Platform;

namespace {

const char *const version = "1.23";

/** One installer with everything it does in one list, in order. */
class Bench
{
public:
    Bench()
    {
        useInstallFolder(platform, folder.path());
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

    QByteArray stored(const QString &path) const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
    }

    /** The log with the paths of a module in place of the temporary ones. */
    QStringList portableLog() const
    {
        QStringList lines = log;
        return lines.replaceInStrings(folder.path(), "/data");
    }

    QTemporaryDir folder;
    Platform platform;
    NetReport report;
    QStringList log;
};

QByteArray imageOf(const QByteArray &archive)
{
    QByteArray image(net::archiveOffset, '\0');
    image.replace(0, 4, version);
    image.replace(5, 32, QCryptographicHash::hash(archive, QCryptographicHash::Md5).toHex());
    return image + archive;
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
        QCOMPARE(bench.portableLog(), (QStringList{
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
        QCOMPARE(bench.stored(bench.platform.paths.netArchive), archive);
        QCOMPARE(bench.stored(bench.platform.paths.netVersion), QByteArray(version));
    }

    void refusesADamagedImage()
    {
        Bench bench;
        QByteArray image = imageOf("archive");
        image.append('x');
        QVERIFY(!bench.installImage(image));
        QCOMPARE(bench.portableLog(), refusal);
        QCOMPARE(bench.stored(bench.platform.paths.netArchive), QByteArray("archivex"));
        QVERIFY(!QFile::exists(bench.platform.paths.netVersion));
    }

    void refusesAnUpperCaseDigest()
    {
        Bench bench;
        QByteArray image = imageOf("archive");
        image.replace(5, 32, image.mid(5, 32).toUpper());
        QVERIFY(!bench.installImage(image));
        QCOMPARE(bench.portableLog(), refusal);
    }

    void refusesShortImages_data()
    {
        QTest::addColumn<int>("size");
        for (const int size : {0, 3, 4, 10, 36, 37, 61})
            QTest::addRow("%d bytes", size) << size;
    }

    void refusesShortImages()
    {
        QFETCH(int, size);
        Bench bench;
        // The digest of what comes before the cut, so that only the length can be the reason.
        const QByteArray image = imageOf("archive").left(size);
        QVERIFY(!bench.installImage(image));
        QCOMPARE(bench.portableLog(), refusal);
        QCOMPARE(bench.stored(bench.platform.paths.netArchive), QByteArray());
        const NetImage header = parseNetImage(image);
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
        QCOMPARE(bench.portableLog(), refusal);
        QCOMPARE(bench.stored(bench.platform.paths.netArchive), QByteArray());
    }

    void holdsOnePieceInMemory()
    {
        Bench bench;
        const QByteArray archive = QByteArray("0123456789").repeated(100'000);
        const QByteArray image = imageOf(archive);
        EndingSource source(image, image.size());
        QVERIFY(bench.installer().installImage(source));
        QCOMPARE(bench.stored(bench.platform.paths.netArchive), archive);
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
        QFile old(bench.platform.paths.netArchive);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("an older one");
        old.close();
        EndingSource source(imageOf(QByteArray(1'000'000, 'x')), end);
        QVERIFY(!bench.installer().installImage(source));
        QCOMPARE(bench.portableLog(), refusal.mid(0, 2));
        QVERIFY(!old.exists());
        QVERIFY(!QFile::exists(bench.platform.paths.netVersion));
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
        QFile old(bench.platform.paths.netVersion);
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("1.00");
        old.close();
        QVERIFY(bench.installImage(imageOf("archive")));
        QCOMPARE(bench.stored(old.fileName()), QByteArray(version));
        QCOMPARE(QDir(bench.folder.path()).entryList(QDir::Files).size(), 2);
    }

    void quietInstall()
    {
        Bench bench;
        QFile archive(bench.platform.paths.netArchive);
        QVERIFY(archive.open(QIODevice::WriteOnly));
        archive.write("archive");
        archive.close();
        const NetImage header = parseNetImage(imageOf("archive"));
        QVERIFY(bench.installer().install(NetInstallVariant::Quiet, header));
        QCOMPARE(bench.portableLog(), (QStringList{
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
                                      }));
        QVERIFY(!QFile::exists(bench.platform.paths.netVersion));
    }

    void quietRefusal()
    {
        Bench bench;
        QVERIFY(!bench.installer().install(NetInstallVariant::Quiet, {}));
        QCOMPARE(bench.portableLog(), QStringList{"$ sudo md5sum /data/sysupdate.tar.bz2"});
    }

    void blocksInstall()
    {
        Bench bench;
        QFile archive(bench.platform.paths.netArchive);
        QVERIFY(archive.open(QIODevice::WriteOnly));
        archive.close();
        const NetImage header = parseNetImage(imageOf({}));
        QVERIFY(bench.installer().install(NetInstallVariant::Blocks, header));
        QCOMPARE(bench.portableLog(), (QStringList{
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
                                      }));
        QCOMPARE(bench.stored(bench.platform.paths.netVersion), QByteArray(version));
    }

    void blocksRefusal()
    {
        Bench bench;
        QVERIFY(!bench.installer().install(NetInstallVariant::Blocks, {}));
        QCOMPARE(bench.portableLog(), (QStringList{"$ sudo md5sum /data/sysupdate.tar.bz2",
                                                   "> NET package checksum error."}));
    }

    void worksWithoutListeners()
    {
        Bench bench;
        bench.report = {};
        QVERIFY(bench.installImage(imageOf("archive")));
        QCOMPARE(bench.log.size(), 6);
    }

    /** The module's sudo rights name these lines, so they are held here letter for letter. */
    void productionCommands()
    {
        RecordingShell recorder;
        recorder.digest = [](const QString &) { return QByteArray(32, 'a'); };
        QTemporaryDir folder;
        Platform platform;
        platform.shell = recorder.shell();
        useInstallFolder(platform, folder.path());
        platform.paths.netArchive = Platform().paths.netArchive;
        NetImage header;
        header.md5Text = QByteArray(32, 'a');
        NetInstaller installer(platform, {});
        QVERIFY(installer.install(NetInstallVariant::Blocks, header));
        installer.rebootModule();
        QCOMPARE(recorder.commands(), (QStringList{
                                          "sudo md5sum /data/sysupdate.tar.bz2",
                                          "sudo mount -o remount rw /",
                                          "sudo tar -C / -xf /data/sysupdate.tar.bz2",
                                          "sudo rm /data/sysupdate.tar.bz2",
                                          "sudo mount -o remount ro /",
                                          "sync",
                                          "sudo reboot",
                                      }));
    }
};

AGENT_TEST(TestInstaller)

} // namespace tst_installer

#include "tst_installer.moc"
