// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "engine/PartBench.h"
#include "engine/TestPackage.h"
#include "engine/runs/NetInstall.h"
#include "engine/runs/RunEnd.h"
#include "package/NetImage.h"
#include "protocol/CommandWords.h"
#include "support/FullDisk.h"
#include "support/MinisignTool.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QFile>
#include <QTemporaryDir>

namespace engine::tst_net_install {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace net = package::net;
using bytes::BytesSource;
using platform::Platform;
using protocol::Reply;

namespace {

/** An install whose device is a test: status frames and ends are kept as texts. */
struct InstallBench : ReportBench
{
    InstallBench()
        : install({output, report, progress,
                   [this](quint16 word, quint8 status) {
                       sent += QString("%1:%2").arg(word, 4, 16).arg(status);
                       return !refusesStatus;
                   },
                   [this](const RunOutcome &outcome) {
                       ends += QString("%1 %2 %3")
                                   .arg(QString::fromLatin1(outcome.status))
                                   .arg(outcome.success)
                                   .arg(outcome.progress.value_or(-1.0));
                   }},
                  platform())
    {
    }

    QString archivePath() const { return dir.filePath("sysupdate.tar.bz2"); }
    QByteArray archive() const
    {
        QFile file(archivePath());
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
    }
    /** From now on packages must be signed. */
    void installKey() const
    {
        const MinisignTool tool;
        tool.makeKey("a");
        QVERIFY(QDir(dir.path()).mkdir("keys"));
        QVERIFY(QFile::copy(tool.path("a.pub"), dir.filePath("keys/a.pub")));
    }
    /** An extended frame of the device. */
    void take(quint16 word, const QByteArray &data = {})
    {
        QByteArray payload;
        payload.append(char(word & 0xFF)).append(char(word >> 8)).append(data);
        install.takeFrame(Reply(mcu::buildFrame(mcu::replyStart, {}, command::escape, payload)));
    }
    void takeBlock(int number, const QByteArray &bytes, bool last = false)
    {
        QByteArray data;
        data.append(char(number & 0xFF)).append(char(number >> 8)).append(last ? '\x40' : '\0');
        take(command::writeBlock, data + bytes);
    }
    /** Sends an image in blocks of this size. */
    void takeImage(const QByteArray &image, int blockSize)
    {
        const int blocks = (image.size() + blockSize - 1) / blockSize;
        for (int i = 0; i < blocks; ++i)
            takeBlock(i + 1, image.mid(i * blockSize, blockSize), i + 1 == blocks);
    }

    QTemporaryDir dir;
    RecordingShell shell;
    QStringList sent;
    QStringList ends;
    bool refusesStatus = false;
    NetInstall install;

private:
    Platform platform()
    {
        Platform made = EngineHarness::scaledPlatform(dir.path());
        made.shell = shell.shell();
        return made;
    }
};

const QString accepted = QString("7901:0");
const QString refused = QString("7901:3");
const QString signedOnly = QString("NET package refused, this module takes signed packages only.");

} // namespace

/** The module's own image, with neither device nor run. */
class TestNetInstall : public QObject
{
    Q_OBJECT

private slots:
    void framesOfTheDevice_data()
    {
        const tests::DataTable<int, QByteArray, QStringList> rows("word", "data", "sent");
        const int write = command::writeBlock;
        rows("update mode", int(command::enterUpdateMode), QByteArray(2, '\0'),
             QStringList{"7900:0"});
        rows("another command", int(command::reboot), {}, {});
        rows("empty block", write, {}, QStringList{refused});
        rows("number alone", write, QByteArray::fromHex("0100"), QStringList{refused});
        rows("no first block", write, QByteArray::fromHex("020000aa"), QStringList{refused});
        rows("last without a first", write, QByteArray::fromHex("020040aa"), QStringList{refused});
        // The low byte alone is that of a first block.
        rows("block 257 alone", write, QByteArray::fromHex("010100aa"), QStringList{refused});
        rows("first block", write, QByteArray::fromHex("010000") + QByteArray(70, 'x'),
             QStringList{accepted});
    }

    void framesOfTheDevice()
    {
        QFETCH(int, word);
        QFETCH(QByteArray, data);
        InstallBench bench;
        bench.take(quint16(word), data);
        QTEST(bench.sent, "sent");
        QVERIFY(bench.ends.isEmpty());
        QVERIFY(bench.shell.commands().isEmpty());
        // The same in an ordinary frame is not for the installer.
        bench.sent.clear();
        bench.install.takeFrame(Reply(mcu::buildFrame(mcu::replyStart, {}, quint16(word), data)));
        QVERIFY(bench.sent.isEmpty());
    }

    void imagesOfAnyLength_data()
    {
        const tests::DataTable<int, int> rows("archiveSize", "blockSize");
        rows("one block", 100, 1000);
        rows("several blocks", 5000, 256);
        rows("head alone in the first", 5000, int(net::archiveOffset));
        // Numbers above 255 need their high byte.
        rows("600 blocks", 600 * 100 - int(net::archiveOffset), 100);
    }

    void imagesOfAnyLength()
    {
        QFETCH(int, archiveSize);
        QFETCH(int, blockSize);
        InstallBench bench;
        const QByteArray archive = patternImage(archiveSize - 1, 3) + 'x';
        const QByteArray image = netImageOf(archive);
        bench.takeImage(image, blockSize);
        QCOMPARE(bench.archive(), archive);
        const int blocks = (image.size() + blockSize - 1) / blockSize;
        // Each block is accepted, and then the install.
        QCOMPARE(bench.sent.size(), blocks + 1);
        QCOMPARE(bench.sent.count(accepted), blocks + 1);
        QCOMPARE(bench.ends, QStringList{"9 1 100"});
        QCOMPARE(bench.shell.commands().last(), QString("sudo reboot"));
    }

    void paddingIsCutOff()
    {
        InstallBench bench;
        const QByteArray archive = "\xFF archive";
        bench.takeBlock(1, netImageOf(archive) + QByteArray(30, '\xFF'), true);
        QCOMPARE(bench.archive(), archive);
        QCOMPARE(bench.ends, QStringList{"9 1 100"});
    }

    void secondImageStartsAfresh()
    {
        InstallBench bench;
        bench.takeImage(netImageOf(QByteArray(2000, 'a')), 256);
        bench.takeBlock(1, netImageOf(QByteArray(2000, 'b')).left(300));
        bench.takeImage(netImageOf(QByteArray(1000, 'c')), 256);
        QCOMPARE(bench.archive(), QByteArray(1000, 'c'));
        QCOMPARE(bench.ends, QStringList({"9 1 100", "9 1 100"}));
    }

    void wrongDigestFails()
    {
        InstallBench bench;
        QByteArray image = netImageOf(QByteArray(2000, 'a'));
        image[image.size() - 1] = 'b';
        bench.takeImage(image, 2000);
        QCOMPARE(bench.sent, QStringList({accepted, accepted, refused}));
        QCOMPARE(bench.ends, QStringList{"9 0 100"});
        QCOMPARE(bench.shell.commands().size(), 1);
        QCOMPARE(bench.events.last().kind, RunEvent::Kind::Installed);
        QVERIFY(!bench.events.last().success);
    }

    void archiveCannotBeCreated()
    {
        InstallBench bench;
        QVERIFY(QDir().mkpath(bench.archivePath()));
        bench.takeBlock(1, netImageOf("archive"));
        QCOMPARE(bench.sent, QStringList{refused});
        QCOMPARE(bench.ends, QStringList{"9 0 100"});
        bench.takeBlock(2, "more");
        QCOMPARE(bench.sent, QStringList({refused, refused}));
    }

    void statusThatIsNotSentEndsTheRun()
    {
        InstallBench bench;
        bench.refusesStatus = true;
        bench.install.sendStatus(command::applicationStatus, 0);
        QCOMPARE(bench.ends, QStringList{"9 0 0"});
    }

    void refusedWhilePackagesMustBeSigned()
    {
        InstallBench bench;
        bench.installKey();
        bench.take(command::enterUpdateMode, QByteArray(2, '\0'));
        bench.takeImage(netImageOf(QByteArray(600, 'a')), 256);
        QCOMPARE(bench.sent, (QStringList{"7900:3", refused, refused, refused}));
        QCOMPARE(bench.lines, QStringList{signedOnly});
        QCOMPARE(bench.archive(), QByteArray("missing"));
        QVERIFY(bench.shell.commands().isEmpty());
        QVERIFY(bench.ends.isEmpty());
    }

    void keyThatAppearsStopsTheInstall()
    {
        InstallBench bench;
        const QByteArray image = netImageOf(QByteArray(600, 'a'));
        bench.takeBlock(1, image.left(300));
        bench.installKey();
        bench.takeBlock(2, image.mid(300, 300));
        bench.takeBlock(3, image.mid(600), true);
        QCOMPARE(bench.sent, (QStringList{accepted, accepted, refused}));
        QCOMPARE(bench.lines, QStringList{signedOnly});
        QVERIFY(bench.shell.commands().isEmpty());
    }

    /** The device may send the block again when there is free space. */
    void fullDisk()
    {
        InstallBench bench;
        const QByteArray image = netImageOf(patternImage(5000, 3));
        bench.takeBlock(1, image.left(500));
        {
            const FullDisk full(600);
            bench.takeBlock(2, image.mid(500, 900));
        }
        bench.takeBlock(2, image.mid(500, 900));
        QCOMPARE(bench.sent, QStringList({accepted, refused, accepted}));
        QCOMPARE(bench.archive(), image.mid(net::archiveOffset, 1400 - net::archiveOffset));
    }

    void imagesOfPackages_data()
    {
        const tests::DataTable<QByteArray, bool, QByteArray> rows("image", "good", "archive");
        const QByteArray archive = patternImage(5000, 3);
        const QByteArray image = netImageOf(archive);
        rows("installed", image, true, archive);
        rows("damaged", image + "x", false, archive + "x");
        rows("digest in capitals", image.left(5) + image.mid(5, 32).toUpper() + image.mid(37),
             false, archive);
        rows("10 bytes", image.left(10), false, "");
        rows("61 bytes", image.left(61), false, "");
    }

    /** The run continues afterwards, so it is not ended and the module does not reboot. */
    void imagesOfPackages()
    {
        QFETCH(QByteArray, image);
        QFETCH(bool, good);
        InstallBench bench;
        BytesSource source(image);
        QCOMPARE(bench.install.installFromPackage(source), good);
        QTEST(bench.archive(), "archive");
        QVERIFY(bench.ends.isEmpty());
        QVERIFY(bench.sent.isEmpty());
        QVERIFY(!bench.shell.commands().contains("sudo reboot"));
        QCOMPARE(bench.events.size(), 2);
        QCOMPARE(bench.events.at(0).kind, RunEvent::Kind::Installing);
        QCOMPARE(bench.events.at(0).mcu.offered, QString("1.23"));
        QCOMPARE(bench.events.at(1).success, good);
    }

    void imageOfAPackageCannotBeStored()
    {
        InstallBench bench;
        QVERIFY(QDir().mkpath(bench.archivePath()));
        BytesSource source(netImageOf("archive"));
        QVERIFY(!bench.install.installFromPackage(source));
        QVERIFY(bench.lines.contains("Create fw_net error, upgrade net fail."));
        QVERIFY(bench.shell.commands().isEmpty());
    }
};

AGENT_TEST(TestNetInstall)

} // namespace engine::tst_net_install

#include "tst_net_install.moc"
