// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "links/LinkState.h"
#include "support/TestCase.h"

#include <algorithm>

namespace engine::tst_transfer {

namespace {

const QVector<ChipDescription> chips{testChip("A", 1, 0, "1.0.0"), testChip("B", 2, 0, "1.0.0")};

/** One image for A, or two for both. */
struct Fixture : Scenario
{
    explicit Fixture(int size = 700, int sizeOfB = 0,
                     const std::optional<platform::TimeOuts> &timeOuts = std::nullopt)
        : Scenario(chips, images(size, sizeOfB), "1.0.12", timeOuts)
    {
    }

    static QVector<TestImage> images(int size, int sizeOfB)
    {
        QVector<TestImage> all{testImage("A", 1, {2, 0, 0}, 1, size)};
        if (sizeOfB > 0)
            all.append(testImage("B", 2, {2, 0, 0}, 1, sizeOfB));
        return all;
    }
};

} // namespace

class TestTransfer : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_CONNECTTYPE = links::serial; }

    /** Such an image has no last block, so no answer ever reports that it is complete. */
    void shortImageEndsByTheGuard()
    {
        Fixture fixture(100, 0, EngineHarness::withShortGuard());
        QVERIFY(fixture.run({"A,1,0"}, 5));
        QVERIFY(fixture.succeeded());
        const QStringList once{"Send 'Enter F/W Upgrade Mode' command to 'A'.",
                               "'A' Enter 'F/W Update Mode' success.", "Erasing...",
                               "Erase success.\r\nWriting..."};
        const int from = fixture.lines.indexOf(once.first());
        const int to = fixture.lines.indexOf("Send reboot command.");
        QVERIFY(sameTranscript(
            fixture.lines.mid(from, to - from),
            once + QStringList{"'A' F/W update fail, retry 1."} + once +
                QStringList{"'A' F/W update fail, retry 2."} + once +
                QStringList{"UPGRADERESULT|A,1,0,1,1,65,1,0,0,0,1,1,2|2", "'A' F/W Update fail."}));
        QVERIFY(fixture.sentText().contains("7900 7901:0 7900 7901:0 7900 7901:0 7902"));
        QVERIFY(fixture.lines.contains("Ignore to set virtual version."));
    }

    void shortImageThenTheNext()
    {
        Fixture fixture(100, 256, EngineHarness::withShortGuard());
        QVERIFY(fixture.run({"A,1,0", "B,2,0"}, 5));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.results(2), QString("21"));
        // 100 bytes of 256 make 255 percent of one of two rows: more than all, and never shown.
        QCOMPARE(fixture.progressText(), QString("0.00 0.00 0.00 50.00 50.00 99.80 0.00"));
    }

    void manyBlocks()
    {
        const int size = 65'537;
        Fixture fixture(size);
        QVERIFY(fixture.run({"A,1,0"}, 5));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.sentText().count("7901"), 257);
        QCOMPARE(fixture.device.flash(1, 0), patternImage(size, 2) + QByteArray(255, '\xFF'));
        QCOMPARE(fixture.device.chip(1, 0)->flash.completedImages(), 1);
        QCOMPARE(fixture.device.violationCount(), 0);
        QVERIFY(std::is_sorted(fixture.progress.begin(), fixture.progress.end() - 1));
    }

    void unknownUploaderWordsPass()
    {
        Fixture fixture;
        fixture.engine->slotMessage({"some", "words"});
        fixture.engine->slotMessage({});
        QCOMPARE(fixture.lines, QStringList({"some|words", ""}));
    }

    void file()
    {
        Fixture fixture;
        QFile image(fixture.packagePath() + ".bin");
        QVERIFY(image.open(QIODevice::WriteOnly));
        image.write(patternImage(700, 9));
        image.close();
        fixture.connectPort();
        QVERIFY(fixture.engine->slotWriteMultBoard(1, 0, image.fileName()));
        QVERIFY(fixture.engine->runActive());
        QVERIFY(fixture.waitForEnd());
        QVERIFY(compareFlash(fixture.device.flash(1, 0), patternImage(700, 9)).equal);
        QCOMPARE(fixture.lines.mid(0, 5),
                 QStringList({"Send 'Enter F/W Upgrade Mode' command to ''.",
                              "'' Enter 'F/W Update Mode' success.", "Erasing...",
                              "Erase success.\r\nWriting...", "Write firmware '' success."}));
        // After the image the device is rebooted, as at the end of any run.
        QCOMPARE(fixture.device.rebootCount(), 1);
        QVERIFY(fixture.succeeded());
    }

    void missingFile()
    {
        Fixture fixture(700, 0, EngineHarness::withShortGuard());
        fixture.connectPort();
        QVERIFY(fixture.engine->slotWriteMultBoard(1, 0, fixture.packagePath() + ".bin"));
        QVERIFY(fixture.waitForEnd());
        QCOMPARE(fixture.with("F/W update fail"),
                 QStringList({"'' F/W update fail, retry 1.", "'' F/W update fail, retry 2."}));
        QVERIFY(fixture.lines.contains("'' F/W Update fail."));
        QCOMPARE(fixture.count("7900"), 3);
        QCOMPARE(fixture.count("7901:0"), 0);
        QVERIFY(!fixture.engine->runActive());
    }

    void fileWithoutALink()
    {
        g_CONNECTTYPE = 7;
        QTemporaryDir dir;
        ControlCenter engine(EngineHarness::scaledPlatform(dir.path()));
        QStringList lines;
        connect(&engine, &ControlCenter::message, &engine,
                [&](const QStringList &list) { lines.append(list.join('|')); });
        QVERIFY(engine.slotWriteMultBoard(1, 0, "image.bin"));
        QVERIFY(lines.isEmpty());
        QTRY_VERIFY(!engine.runActive());
        // Nothing is sent, so nothing is said of a send either.
        QVERIFY(lines.filter("Send 'Enter").isEmpty());
        QCOMPARE(lines.first(), QString("'' Enter F/W Update Mode fail, retry 1."));
        QCOMPARE(lines.filter("Enter F/W Update Mode fail.").size(), 3);
        QVERIFY(lines.contains("'' F/W Update fail."));
        QVERIFY(lines.contains("APPSTATUS|5"));
    }
};

AGENT_TEST(TestTransfer)

} // namespace engine::tst_transfer

#include "tst_transfer.moc"
