// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QFile>

namespace engine::tst_net {

namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace {

const QByteArray archive = patternImage(5000, 3);

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

struct ShellOwner
{
    RecordingShell shell;
};

/** Three MCUs, and a shell that only records its commands. */
struct Fixture : ShellOwner, EngineHarness
{
    Fixture() : EngineHarness(threeMcus(), shell.shell()) {}

    static DeviceDescription threeMcus()
    {
        DeviceDescription device = twoMcus();
        device.chips.append(device.chips.last());
        device.chips.last().chipType = 2;
        device.chips.last().mcuType = 3;
        return device;
    }

    QStringList expectedCommands() const
    {
        return QStringList(commands).replaceInStrings("%1", platform().paths.netArchive);
    }

    QByteArray content(const QString &path) const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("missing");
    }

    QByteArray statusFrames() const
    {
        QByteArray frames;
        for (const QByteArray &frame : qAsConst(link->sent))
            frames += (frames.isEmpty() ? "" : " ") + frame.mid(9, 3).toHex();
        return frames;
    }

    void deviceSends(quint16 word, const QByteArray &data)
    {
        QByteArray payload;
        payload.append(char(word & 0xFF)).append(char(word >> 8)).append(data);
        link->receive(mcu::buildFrame(mcu::replyStart, {}, command::escape, payload));
    }
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
        fixture.setPackage(makePackage({aux("A", 1), netChip(netImageOf(archive)), aux("B", 2)}));
        QVERIFY(fixture.run({"A,1,0", "NET,32,0", "B,2,0"}, 5));

        const int from = fixture.lines.indexOf("Write firmware 'A' success.");
        const int to = fixture.lines.indexOf("Send 'Enter F/W Upgrade Mode' command to 'B'.");
        QVERIFY(sameTranscript(fixture.lines.mid(from + 1, to - from - 1),
                               {"Start to upgrade NET firmware.", "NET firmware checksum success.",
                                "NET firmware ver1.23 upgrade success.", "NETVERSION|1.23",
                                "UPGRADERESULT|NET,32,0,,,,,,,,,1,1|1"}));
        QCOMPARE(fixture.lines.last(), QString("APPSTATUS|6"));
        QCOMPARE(fixture.shell.commands(), fixture.expectedCommands());
        QCOMPARE(fixture.content(fixture.platform().paths.netArchive), archive);
        QCOMPARE(fixture.content(fixture.platform().paths.netVersion), QByteArray("1.23"));
        QVERIFY2(fixture.progressText().contains("36.67 40.00 43.33 56.67 60.00 63.33"),
                 qPrintable(fixture.progressText()));
    }

    /** Exactly one step on: the next row is neither skipped nor started twice. */
    void refusesTheDigest()
    {
        Fixture fixture;
        fixture.setPackage(makePackage({netChip(netImageOf(archive) + "x"), aux("A", 1)}));
        QVERIFY(fixture.run({"NET,32,0", "A,1,0"}, 5));
        QVERIFY(fixture.lines.contains("NET firmware checksum fail, upgrade net fail."));
        QCOMPARE(fixture.shell.commands(), fixture.expectedCommands().mid(0, 1));
        QCOMPARE(fixture.content(fixture.platform().paths.netVersion), QByteArray("missing"));
        QCOMPARE(fixture.count("7900"), 1);
        QCOMPARE(fixture.count("7902"), 1);
        QVERIFY(fixture.succeeded());
    }

    void takesTheImageFromTheDevice()
    {
        Fixture fixture;
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->sendAppStatus(command::applicationStatus, 0);
        fixture.lines.clear();
        const QByteArray image = netImageOf(archive);
        fixture.deviceSends(command::enterUpdateMode, QByteArray(2, '\0'));
        fixture.deviceSends(command::writeBlock, QByteArray::fromHex("010000") + image.left(500));
        fixture.deviceSends(command::writeBlock,
                            QByteArray::fromHex("020000") + image.mid(500, 2500));
        fixture.deviceSends(command::writeBlock, QByteArray::fromHex("030040") + image.mid(3000) +
                                                     QByteArray(20, '\xFF'));

        QCOMPARE(fixture.statusFrames(), QByteArray("017900 007900 017900 017900 017900 017900"));
        QCOMPARE(fixture.content(fixture.platform().paths.netArchive), archive);
        QCOMPARE(fixture.shell.commands(), fixture.expectedCommands() + QStringList{"sudo reboot"});
        QVERIFY(sameTranscript(fixture.lines, {"APPSTATUS|9"}));
        QVERIFY(fixture.engine->timersIdle());
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
};

AGENT_TEST(TestNet)

} // namespace engine::tst_net

#include "tst_net.moc"
