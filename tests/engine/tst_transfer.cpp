// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"

namespace engine::tst_transfer {

using platform::TimeOuts;

namespace command = protocol::command;
namespace mcu = protocol::mcu;

namespace {

const QVector<ChipDescription> chips{testChip("A", 1, 0, "1.0.0"), testChip("B", 2, 0, "1.0.0")};

QByteArray enterReply(const char *payload, bool extended)
{
    return mcu::buildFrame(mcu::replyStart, {}, extended ? 0xFFFF : 0x7900,
                           QByteArray::fromHex(payload));
}

/** One image for A, or two for both. */
struct Fixture : Scenario
{
    explicit Fixture(int size = 700, int sizeOfB = 0,
                     const std::optional<TimeOuts> &timeOuts = std::nullopt)
        : Scenario(chips, images(size, sizeOfB), QString("1.0.12"), timeOuts)
    {
    }

    static QVector<TestImage> images(int size, int sizeOfB)
    {
        QVector<TestImage> all{testImage("A", 1, {2, 0, 0}, 1, size)};
        if (sizeOfB > 0)
            all.append(testImage("B", 2, {2, 0, 0}, 1, sizeOfB));
        return all;
    }

    /** What is said between the first Enter and the reboot. */
    QStringList transfer() const
    {
        const int from = lines.indexOf("Send 'Enter F/W Upgrade Mode' command to 'A'.");
        return lines.mid(from, lines.indexOf("Send reboot command.") - from);
    }

    QString frames() const
    {
        const QStringList words = sentWords();
        const int from = words.indexOf("7900");
        return words.mid(from, words.indexOf("7902") - from).join(' ');
    }
};

const QString enter = QString("Send 'Enter F/W Upgrade Mode' command to 'A'.");
const QString entered = QString("'A' Enter 'F/W Update Mode' success.");
const QStringList writing{"Erasing...", "Erase success.\r\nWriting..."};
const QString givenUp = QString("'A' F/W Update fail.");
const QString failedRow = QString("UPGRADERESULT|A,1,0,1,1,65,1,0,0,0,1,1,2|2");
const QStringList written{"UPGRADERESULT|A,1,0,1,1,65,1,0,0,0,1,1,1|1",
                          "Write firmware 'A' success.", "Write all firmware success."};

QString enterRetry(int number)
{
    return QString("'A' Enter F/W Update Mode fail, retry %1.").arg(number);
}

QString writeRetry(int number)
{
    return QString("'A' F/W update fail, retry %1.").arg(number);
}

} // namespace

class TestTransfer : public QObject
{
    Q_OBJECT

private slots:
    void cleanup() { g_CONNECTTYPE = links::serial; }

    void enterReplies_data()
    {
        const tests::DataTable<QByteArray, bool> rows("reply", "accepted");
        rows("extended 0", enterReply("007900", true), true);
        rows("extended 3", enterReply("007903", true), false);
        rows("extended 1", enterReply("007901", true), false);
        rows("extended, no status", enterReply("0079", true), true);
        rows("echo and 0", enterReply("010000", false), true);
        rows("echo and 3", enterReply("010003", false), false);
        rows("echo alone", enterReply("0100", false), true);
        rows("status alone, 0", enterReply("00", false), true);
        rows("status alone, 3", enterReply("03", false), false);
        rows("nothing", enterReply("", false), true);
        rows("echo, 0 and more", enterReply("010000ff", false), true);
    }

    void enterReplies()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, accepted);
        Fixture fixture;
        bool first = true;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            const QByteArray answer = fixture.link->deviceAnswer(frame);
            const bool isEnter = mcu::wordAt(frame, mcu::wordOffset) == command::enterUpdateMode;
            return QList<QByteArray>{isEnter && std::exchange(first, false) ? reply : answer};
        };
        QVERIFY(fixture.run({"A,1,0"}, 5));
        QVERIFY(fixture.succeeded());
        const QStringList retry{enter, enterRetry(1)};
        QVERIFY(sameTranscript(fixture.transfer(), (accepted ? QStringList() : retry) +
                                                       QStringList{enter, entered} + writing +
                                                       written));
    }

    /** The wait for the second answer is as long as that for the first, and does end. */
    void refusedOnceThenSilent()
    {
        Fixture fixture;
        fixture.addFault("refuse:word=enter,count=once");
        fixture.addFault("silent:word=enter,skip=1,count=once");
        QVERIFY(fixture.run({"A,1,0"}, 5));
        QVERIFY(fixture.succeeded());
        QVERIFY(sameTranscript(fixture.transfer(), QStringList{enter, enterRetry(1), enter,
                                                               enterRetry(2), enter, entered} +
                                                       writing + written));
    }

    /** Such an image has no last block, so no answer ever reports that it is complete. */
    void shortImageEndsByTheGuard()
    {
        Fixture fixture(100, 0, EngineHarness::withShortGuard());
        QVERIFY(fixture.run({"A,1,0"}, 5));
        QVERIFY(fixture.succeeded());
        const QStringList once = QStringList{enter, entered} + writing;
        QVERIFY(sameTranscript(fixture.transfer(), once + QStringList{writeRetry(1)} + once +
                                                       QStringList{writeRetry(2)} + once +
                                                       QStringList{failedRow, givenUp}));
        QCOMPARE(fixture.frames(), QString("7900 7901:0 7900 7901:0 7900 7901:0"));
        QCOMPARE(fixture.results(1), QString("2"));
        QVERIFY(fixture.lines.contains("Ignore to set virtual version."));
    }

    void shortImageThenTheNext()
    {
        Fixture fixture(100, 256, EngineHarness::withShortGuard());
        QVERIFY(fixture.run({"A,1,0", "B,2,0"}, 5));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.results(2), QString("21"));
        // 100 bytes of 256 make 255 percent of one of two rows: more than all, and never shown.
        QStringList progress;
        for (const double value : qAsConst(fixture.progress))
            progress.append(QString::number(value, 'f', 2));
        QCOMPARE(progress.join(' '), QString("0.00 0.00 0.00 50.00 50.00 99.80 0.00"));
    }

    void sizes_data()
    {
        const tests::DataTable<int> rows("size");
        for (const int size : {256, 257, 511, 512, 513, 700, 65'536, 1'048'577})
            rows(qPrintable(QString::number(size)), size);
    }

    void sizes()
    {
        QFETCH(int, size);
        Fixture fixture(size);
        QVERIFY(fixture.run({"A,1,0"}, 5));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.results(1), QString("1"));
        const int blocks = (size + 255) / 256;
        QCOMPARE(fixture.frames().count(QString("7901")), blocks);
        const QByteArray image = patternImage(size, 2);
        QCOMPARE(fixture.device.flash(1, 0).left(size), image);
        QCOMPARE(fixture.device.flash(1, 0).mid(size), QByteArray(blocks * 256 - size, '\xFF'));
        QCOMPARE(fixture.device.chip(1, 0)->flash.completedImages(), 1);
        QCOMPARE(fixture.device.violationCount(), 0);
        for (int i = 1; i < fixture.progress.size() - 1; ++i)
            QVERIFY(fixture.progress.at(i) >= fixture.progress.at(i - 1));
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
        QFile image(fixture.packagePath() + QString(".bin"));
        QVERIFY(image.open(QIODevice::WriteOnly));
        image.write(patternImage(700, 9));
        image.close();
        fixture.engine->slotConnect("ttyS2");
        fixture.clear();
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

    void fileThatCannotBeTaken_data()
    {
        const tests::DataTable<QString> rows("name");
        rows("no .bin", "FW.fwm");
        rows("missing", "none.bin");
    }

    void fileThatCannotBeTaken()
    {
        QFETCH(QString, name);
        Fixture fixture(700, 0, EngineHarness::withShortGuard());
        fixture.engine->slotConnect("ttyS2");
        fixture.clear();
        const QString folder = QFileInfo(fixture.packagePath()).path();
        QVERIFY(fixture.engine->slotWriteMultBoard(1, 0, folder + '/' + name));
        QVERIFY(fixture.waitForEnd());
        QCOMPARE(fixture.with("F/W update fail"),
                 QStringList({"'' F/W update fail, retry 1.", "'' F/W update fail, retry 2."}));
        QVERIFY(fixture.lines.contains("'' F/W Update fail."));
        QCOMPARE(fixture.count("7900"), 3);
        QCOMPARE(fixture.count("7901:0"), 0);
        QVERIFY(!fixture.engine->runActive());
    }

    /** A run's image is not exchanged for another under its hands. */
    void fileDuringARun()
    {
        Fixture undisturbed;
        QVERIFY(undisturbed.run({"A,1,0"}, 5));
        Fixture fixture;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            fixture.engine->slotWriteMultBoard(2, 0, QString("other.bin"));
            fixture.engine->getProductInfo();
            fixture.engine->setProductInfo({"A,1,0,1,1,65"});
            return QList<QByteArray>{fixture.link->deviceAnswer(frame)};
        };
        QVERIFY(fixture.run({"A,1,0"}, 5));
        QVERIFY(sameTranscript(fixture.lines, undisturbed.lines));
        QCOMPARE(fixture.sentText(), undisturbed.sentText());
    }

    void fileWithoutALink()
    {
        g_CONNECTTYPE = 7;
        QTemporaryDir dir;
        ControlCenter engine(EngineHarness::scaledPlatform(dir.path()));
        QStringList lines;
        connect(&engine, &ControlCenter::message, &engine,
                [&](const QStringList &list) { lines.append(list.join('|')); });
        QVERIFY(engine.slotWriteMultBoard(1, 0, QString("image.bin")));
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
