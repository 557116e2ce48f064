// SPDX-License-Identifier: Apache-2.0
#include "engine/PartBench.h"
#include "engine/device/ImageWriter.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"
#include "upload/CoreUpload.h"

#include <QRegularExpression>

namespace engine::tst_writer {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using platform::Platform;

namespace {

Platform withoutPauses()
{
    Platform platform;
    platform.pauses = {};
    platform.pauses.beforeFirstBlock = std::chrono::milliseconds(0);
    return platform;
}

/** A writer that has begun with the row AUX, whose verdicts a test gives in the uploader's place.
 */
struct WriterBench : PartBench
{
    explicit WriterBench(bool refusesFirst = false)
        : writer(channel, rows, output, report, withoutPauses(), &parent)
    {
        rows.reset({"AUX,1,0"});
        writer.uploader().setLink(link);
        QObject::connect(&writer, &ImageWriter::ended, &parent,
                         [this](bool written) { results += written; });
        QObject::connect(&channel, &CommandChannel::updateModeReplied, &writer,
                         &ImageWriter::takeUpdateModeReply);
        report.begin();
        events.clear();
        link->refusesWrites = refusesFirst;
        writer.write(1, 0, QByteArray(600, 'x'));
    }

    void acceptUpdateMode() { link->deliver(reply(command::enterUpdateMode)); }
    void refuseUpdateMode()
    {
        link->deliver(mcu::buildStatusFrame(mcu::replyStart, {}, command::enterUpdateMode, 3));
    }
    int sentWords(quint16 word) const
    {
        int count = 0;
        for (const QByteArray &frame : link->sent)
            count += mcu::wordAt(frame, mcu::wordOffset) == word;
        return count;
    }

    ImageWriter writer;
    QList<bool> results;
};

} // namespace

class TestWriter : public QObject
{
    Q_OBJECT

private slots:
    void imageIsWritten()
    {
        WriterBench bench;
        QVERIFY(bench.writer.isWaiting());
        bench.acceptUpdateMode();
        QVERIFY(!bench.writer.isWaiting());
        QCOMPARE(bench.sentWords(command::writeBlock), 1);
        bench.writer.takeMessage({"SingleUploadSuccess"});
        QCOMPARE(bench.results, QList<bool>{true});
        QCOMPARE(bench.lines, QStringList({"Send 'Enter F/W Upgrade Mode' command to 'AUX'.",
                                           "'AUX' Enter 'F/W Update Mode' success."}));
    }

    void updateModeIsTriedThreeTimes()
    {
        WriterBench bench;
        for (int i = 0; i < 9; ++i) {
            QVERIFY(bench.results.isEmpty());
            bench.refuseUpdateMode();
        }
        QStringList reported;
        for (const RunEvent &event : qAsConst(bench.events))
            reported += QString("%1 %2").arg(event.attempt).arg(event.text);
        const QStringList enter{"1 'AUX' Enter F/W Update Mode fail, retry 1.",
                                "2 'AUX' Enter F/W Update Mode fail, retry 2.",
                                "0 'AUX' Enter F/W Update Mode fail."};
        QCOMPARE(reported, enter + QStringList{"1 'AUX' F/W update fail, retry 1."} + enter +
                               QStringList{"2 'AUX' F/W update fail, retry 2."} + enter);
        QCOMPARE(bench.results, QList<bool>{false});
        QCOMPARE(bench.sentWords(command::enterUpdateMode), 9);
        QCOMPARE(bench.sentWords(command::writeBlock), 0);
        QStringList lines = bench.lines;
        QCOMPARE(lines.removeAll("Send 'Enter F/W Upgrade Mode' command to 'AUX'."), 9);
        QCOMPARE(lines, reported.replaceInStrings(QRegularExpression("^[012] "), ""));
    }

    void updateModeReplies_data()
    {
        const tests::DataTable<bool, QByteArray, bool> rows("extended", "payload", "accepted");
        rows("extended 0", true, "007900", true);
        rows("extended 3", true, "007903", false);
        rows("extended 1", true, "007901", false);
        rows("extended, no status", true, "0079", true);
        rows("echo and 0", false, "010000", true);
        rows("echo and 3", false, "010003", false);
        rows("echo alone", false, "0100", true);
        rows("status alone, 0", false, "00", true);
        rows("status alone, 3", false, "03", false);
        rows("nothing", false, "", true);
        rows("echo, 0 and more", false, "010000ff", true);
    }

    void updateModeReplies()
    {
        QFETCH(bool, extended);
        QFETCH(QByteArray, payload);
        QFETCH(bool, accepted);
        WriterBench bench;
        bench.link->deliver(bench.reply(extended ? command::escape : command::enterUpdateMode,
                                        QByteArray::fromHex(payload)));
        QCOMPARE(bench.sentWords(command::writeBlock), accepted ? 1 : 0);
        QCOMPARE(bench.sentWords(command::enterUpdateMode), accepted ? 1 : 2);
        QCOMPARE(bench.writer.isWaiting(), !accepted);
        QCOMPARE(bench.lines.mid(1),
                 accepted ? QStringList{"'AUX' Enter 'F/W Update Mode' success."}
                          : QStringList({"'AUX' Enter F/W Update Mode fail, retry 1.",
                                         "Send 'Enter F/W Upgrade Mode' command to 'AUX'."}));
    }

    void silenceInUpdateMode()
    {
        WriterBench bench;
        bench.writer.onUpdateModeTimeOut();
        QCOMPARE(bench.sentWords(command::enterUpdateMode), 2);
        QVERIFY(bench.writer.isWaiting());
        bench.acceptUpdateMode();
        QCOMPARE(bench.sentWords(command::writeBlock), 1);
    }

    void imageIsTriedThreeTimes()
    {
        WriterBench bench;
        for (int i = 0; i < 3; ++i) {
            QVERIFY(bench.results.isEmpty());
            bench.acceptUpdateMode();
            bench.writer.takeMessage({"SingleUploadFail"});
        }
        QCOMPARE(bench.results, QList<bool>{false});
        QCOMPARE(bench.sentWords(command::writeBlock), 3);
    }

    void repeatedBlocksArePassedOn()
    {
        WriterBench bench;
        bench.lines.clear();
        bench.writer.takeMessage({"retry 1"});
        QCOMPARE(bench.lines, QStringList({"retry 1"}));
        QVERIFY(bench.results.isEmpty());
    }

    void cancelledImageHasNoResult()
    {
        WriterBench bench;
        bench.acceptUpdateMode();
        bench.writer.cancel();
        QVERIFY(!bench.writer.isWaiting());
        QVERIFY(!bench.writer.uploader().awaitsAcknowledgement());
        QVERIFY(bench.results.isEmpty());
    }

    void frameThatIsNotSentIsNotReported()
    {
        WriterBench bench(true);
        QVERIFY(bench.lines.isEmpty());
        QVERIFY(bench.writer.isWaiting());
        bench.link->refusesWrites = false;
        bench.writer.onUpdateModeTimeOut();
        bench.acceptUpdateMode();
        QCOMPARE(bench.sentWords(command::writeBlock), 1);
    }
};

AGENT_TEST(TestWriter)

} // namespace engine::tst_writer

#include "tst_writer.moc"
