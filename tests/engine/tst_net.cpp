// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/LinkState.h"
#include "package/NetImage.h"
#include "protocol/CommandWords.h"
#include "support/FullDisk.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QCryptographicHash>
#include <QFile>

namespace engine::tst_net {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace net = package::net;
namespace netImage = links::netImage;

namespace {

const QByteArray archive = patternImage(5000, 3);

QByteArray netImageOf(const QByteArray &archive, bool upperCase = false)
{
    const QByteArray md5 = QCryptographicHash::hash(archive, QCryptographicHash::Md5).toHex();
    return "1.23" + QByteArray(1, '\0') + (upperCase ? md5.toUpper() : md5) + QByteArray(25, '\0') +
           archive;
}

TestImage netChip(const QByteArray &image)
{
    return {"NET", 32, 1, 0, 0, '\0', {1, 23, 0}, image};
}

TestImage aux(const QString &name, int type)
{
    return {name, type, 1, type + 1, 1, 'A', {1, 0, 1}, patternImage(300, type)};
}

const QStringList commands{
    "sudo md5sum %1", "sudo mount -o remount rw /", "sudo tar -C / -xf %1",
    "sudo rm %1",     "sudo mount -o remount ro /", "sync",
};

} // namespace

/** NET images, with a shell that only records its commands. */
class TestNet : public QObject
{
    Q_OBJECT

private slots:
    void installsBetweenMcuImages()
    {
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        harness.setPackage(makePackage({aux("A", 1), netChip(netImageOf(archive)), aux("B", 2)}));
        QVERIFY(harness.run({"A,1,0", "NET,32,0", "B,2,0"}, 5));

        const int from = harness.lines.indexOf("Write firmware 'A' success.");
        const int to = harness.lines.indexOf("Send 'Enter F/W Upgrade Mode' command to 'B'.");
        QVERIFY(sameTranscript(harness.lines.mid(from + 1, to - from - 1),
                               {"Start to upgrade NET firmware.", "NET firmware checksum success.",
                                "NET firmware ver1.23 upgrade success.", "NETVERSION|1.23",
                                "UPGRADERESULT|NET,32,0,,,,,,,,,1,1|1"}));
        QCOMPARE(harness.lines.last(), QString("APPSTATUS|6"));
        QCOMPARE(fixture.shell.commands(), fixture.expectedCommands());
        QCOMPARE(fixture.content(fixture.archivePath), archive);
        QCOMPARE(fixture.content(fixture.versionPath), QByteArray("1.23"));
        QStringList progress;
        for (const double value : qAsConst(harness.progress))
            progress.append(QString::number(value, 'f', 1));
        QVERIFY2(progress.join(' ').contains("36.7 40.0 43.3 56.7 60.0 63.3"),
                 qPrintable(progress.join(' ')));
    }

    void refusesTheDigest_data()
    {
        const tests::DataTable<QByteArray> rows("image");
        rows("damaged", netImageOf(archive) + "x");
        rows("upper case", netImageOf(archive, true));
        rows("10 bytes", netImageOf(archive).left(10));
        rows("61 bytes", netImageOf(archive).left(61));
    }

    /** Exactly one step on: the next row is neither skipped nor started twice. */
    void refusesTheDigest()
    {
        QFETCH(QByteArray, image);
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        harness.setPackage(makePackage({netChip(image), aux("A", 1)}));
        QVERIFY(harness.run({"NET,32,0", "A,1,0"}, 5));
        QVERIFY(harness.lines.contains("NET firmware checksum fail, upgrade net fail."));
        QCOMPARE(fixture.shell.commands(), fixture.expectedCommands().mid(0, 1));
        QCOMPARE(fixture.content(fixture.versionPath), QByteArray("missing"));
        QCOMPARE(harness.sentWords().count("7900"), 1);
        QCOMPARE(harness.sentWords().count("7902"), 1);
        QCOMPARE(harness.lines.last(), QString("APPSTATUS|6"));
    }

    void archiveCannotBeCreated()
    {
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        QVERIFY(QDir().mkpath(fixture.archivePath));
        harness.setPackage(makePackage({aux("A", 1), netChip(netImageOf(archive))}));
        QVERIFY(harness.run({"A,1,0", "NET,32,0"}, 5));
        QVERIFY(harness.lines.contains("Create fw_net error, upgrade net fail."));
        QCOMPARE(fixture.shell.commands(), QStringList());
        QCOMPARE(harness.sentWords().count("7902"), 1);
    }

    void sendsTheImageToTheDevice()
    {
        g_UPGRADTYPE = netImage::sendToDevice;
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        harness.setPackage(makePackage({netChip(netImageOf(archive))}));
        QVERIFY(harness.run({"NET,32,0"}, 5));
        g_UPGRADTYPE = netImage::installHere;
        QCOMPARE(fixture.shell.commands(), QStringList());
        QVERIFY(!QFile::exists(fixture.archivePath));
        QVERIFY(harness.lines.contains("Send 'Enter F/W Upgrade Mode' command to 'NET'."));
    }

    void otherKindsGiveTheItemUp()
    {
        g_UPGRADTYPE = 3;
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        harness.setPackage(makePackage({netChip(netImageOf(archive))}));
        QVERIFY(harness.run({"NET,32,0"}, 5));
        g_UPGRADTYPE = netImage::installHere;
        QCOMPARE(fixture.shell.commands(), QStringList());
        QVERIFY(harness.lines.contains("UPGRADERESULT|NET,32,0,,,,,,,,,1,2|2"));
        QCOMPARE(harness.sentWords().count("7902"), 1);
    }

    void takesTheImageFromTheDevice()
    {
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        harness.engine->slotConnect("ttyS2");
        harness.engine->sendAppStatus(command::applicationStatus, 0);
        harness.lines.clear();
        const QByteArray image = netImageOf(archive);
        fixture.deviceSends(command::enterUpdateMode, QByteArray(2, '\0'));
        fixture.deviceSends(command::writeBlock, QByteArray::fromHex("010000") + image.left(500));
        fixture.deviceSends(command::writeBlock,
                            QByteArray::fromHex("020000") + image.mid(500, 2500));
        fixture.deviceSends(command::writeBlock, QByteArray::fromHex("030040") + image.mid(3000) +
                                                     QByteArray(20, '\xFF'));

        QCOMPARE(fixture.statusFrames(), QByteArray("017900 007900 017900 017900 017900 017900"));
        QCOMPARE(fixture.content(fixture.archivePath), archive);
        QCOMPARE(fixture.shell.commands(), fixture.expectedCommands() + QStringList{"sudo reboot"});
        QVERIFY(sameTranscript(harness.lines, {"APPSTATUS|9"}));
        QVERIFY(harness.engine->timersIdle());
    }

    /** The device hears of it, and the row that the engine stands at has failed. */
    void deviceImageCannotBeStored()
    {
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        QVERIFY(QDir().mkpath(fixture.archivePath));
        harness.setPackage(makePackage({aux("A", 1)}));
        harness.engine->slotConnect("ttyS2");
        harness.engine->uploadByMergeFW(harness.packagePath(), {"A,1,0"}, 5);
        harness.engine->sendAppStatus(command::applicationStatus, 0);
        harness.clear();
        fixture.deviceSends(command::writeBlock,
                            QByteArray::fromHex("010000") + netImageOf(archive).left(500));
        QCOMPARE(fixture.statusFrames().right(6), QByteArray("017903"));
        QVERIFY(
            sameTranscript(harness.lines, {"APPSTATUS|9", "UPGRADERESULT|A,1,0,,,,,,,,,0,2|2"}));
        QCOMPARE(fixture.shell.commands(), QStringList());
        QVERIFY(harness.engine->timersIdle());
    }

    void deviceImageFillsTheDisk()
    {
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        harness.engine->slotConnect("ttyS2");
        harness.engine->sendAppStatus(command::applicationStatus, 0);
        const QByteArray image = netImageOf(archive);
        fixture.deviceSends(command::writeBlock, QByteArray::fromHex("010000") + image.left(500));
        {
            const FullDisk full(600);
            fixture.deviceSends(command::writeBlock,
                                QByteArray::fromHex("020000") + image.mid(500, 900));
        }
        QCOMPARE(fixture.statusFrames(), QByteArray("017900 017900 017903"));
        // The device may send the block again when there is free space.
        fixture.deviceSends(command::writeBlock,
                            QByteArray::fromHex("020000") + image.mid(500, 900));
        QCOMPARE(fixture.statusFrames(), QByteArray("017900 017900 017903 017900"));
        QCOMPARE(fixture.content(fixture.archivePath), archive.left(1400 - net::archiveOffset));
    }

    /** No retry follows: the link is closed, the run has failed. */
    void statusThatCannotBeSent()
    {
        Fixture fixture;
        EngineHarness &harness = *fixture.harness;
        harness.engine->slotConnect("ttyS2");
        harness.clear();
        harness.link->failWrite = [](const QByteArray &) { return true; };
        harness.engine->sendAppStatus(command::applicationStatus, 0);
        QVERIFY(sameTranscript(harness.lines, {"Disconnect", "ttyS2 port is disconnected.",
                                               "APPSTATUS|9", "Erasing..."}));
        QVERIFY(harness.engine->timersIdle());
        QVERIFY(!harness.engine->runActive());
    }

    void statusWithoutASerialLink()
    {
        g_CONNECTTYPE = links::network;
        QTemporaryDir dir;
        ControlCenter engine(EngineHarness::scaledPlatform(dir.path()));
        g_CONNECTTYPE = links::serial;
        QStringList lines;
        connect(&engine, &ControlCenter::message, &engine,
                [&lines](const QStringList &list) { lines += list.join('|'); });
        engine.sendAppStatus(command::applicationStatus, 0);
        QCOMPARE(lines, QStringList({"APPSTATUS|9", "Erasing..."}));
        QVERIFY(engine.timersIdle());
    }

private:
    struct Fixture
    {
        RecordingShell shell;
        std::unique_ptr<EngineHarness> harness;
        QString archivePath;
        QString versionPath;

        Fixture()
        {
            DeviceDescription device = EngineHarness::twoMcus();
            device.chips.append(device.chips.last());
            device.chips.last().chipType = 2;
            device.chips.last().mcuType = 3;
            harness = std::make_unique<EngineHarness>(device, shell.shell());
            archivePath = harness->platform().paths.netArchive;
            versionPath = harness->platform().paths.netVersion;
        }

        QStringList expectedCommands() const
        {
            return QStringList(commands).replaceInStrings("%1", archivePath);
        }

        QByteArray content(const QString &path) const
        {
            QFile file(path);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
        }

        QByteArray statusFrames() const
        {
            QByteArray frames;
            for (const QByteArray &frame : qAsConst(harness->link->sent))
                frames += (frames.isEmpty() ? "" : " ") + frame.mid(9, 3).toHex();
            return frames;
        }

        void deviceSends(quint16 word, const QByteArray &data)
        {
            QByteArray payload;
            payload.append(char(word & 0xFF)).append(char(word >> 8)).append(data);
            harness->link->receive(mcu::buildFrame(mcu::replyStart, {}, command::escape, payload));
        }
    };
};

AGENT_TEST(TestNet)

} // namespace engine::tst_net

#include "tst_net.moc"
