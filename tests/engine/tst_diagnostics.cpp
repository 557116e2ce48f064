// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "links/LinkState.h"
#include "support/MessageRecorder.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

namespace engine::tst_diagnostics {

namespace mcu = protocol::mcu;

namespace {

const QStringList rows{"MAIN,0,0", "AUX,1,0"};

struct Fixture : Scenario
{
    Fixture()
        : Scenario({testChip("MAIN", 0, 0, "1.0.0"), testChip("AUX", 1, 0, "1.0.0", 2)},
                   {testImage("MAIN", 0, {2, 0, 0}, 1, 700), testImage("AUX", 1, {2, 0, 0}, 2)})
    {
    }

    /** Answers as the device does, and keeps every chunk. */
    void keepChunks()
    {
        link->answerInstead = [this](const QByteArray &frame) {
            const QByteArray answer = link->deviceAnswer(frame);
            if (!answer.isEmpty())
                chunks.append(answer);
            return answer.isEmpty() ? QList<QByteArray>() : QList<QByteArray>{answer};
        };
    }

    QList<QByteArray> chunks;
};

QStringList shown(const char *direction, const QList<QByteArray> &all)
{
    QStringList lines;
    for (const QByteArray &bytes : all)
        lines.append(QString("D %1 \"%2\"").arg(direction, bytes.toHex(' ').constData()));
    return lines;
}

QList<QByteArray> blocksOf(const QList<QByteArray> &frames)
{
    QList<QByteArray> blocks;
    for (const QByteArray &frame : frames) {
        if (mcu::wordAt(frame, mcu::wordOffset) == 0x7901)
            blocks.append(frame);
    }
    return blocks;
}

} // namespace

/** What the engine leaves in the log for the one who looks for a fault. */
class TestDiagnostics : public QObject
{
    Q_OBJECT

private slots:
    /** Each byte that takes the checksum's place and does not fit is another error. */
    void wrongChecksum()
    {
        Fixture fixture;
        const MessageRecorder log("agent.engine", MessageRecorder::Debug::On);
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->send(0xF903);
        QByteArray corrupted = mcu::buildFrame(mcu::replyStart, {}, 0xF903, "HX-8");
        const char right = corrupted.at(corrupted.size() - 1);
        corrupted[corrupted.size() - 1] = char(right + 1);
        MessageRecorder::take();
        fixture.link->receive(corrupted);
        QCOMPARE(MessageRecorder::take().filter("checksum"), QStringList{"D checksumError"});
        fixture.link->receive(QByteArray(1, char(right + 2)));
        QCOMPARE(MessageRecorder::take().filter("checksum"), QStringList{"D checksumError"});
        fixture.link->receive(QByteArray(1, right));
        const QStringList last = MessageRecorder::take().filter("checksum");
        QCOMPARE(last.size(), 1);
        QVERIFY(last.first().startsWith("D checksumOK"));
    }

    void bytesOfTheEngine()
    {
        Fixture fixture;
        fixture.keepChunks();
        const MessageRecorder log("agent.engine.bytes", MessageRecorder::Debug::On);
        QVERIFY(fixture.run(rows, 2));
        QVERIFY(fixture.succeeded());
        const QStringList lines = MessageRecorder::take();
        QList<QByteArray> commands = fixture.link->sent;
        for (const QByteArray &block : blocksOf(fixture.link->sent))
            commands.removeOne(block);
        QVERIFY(commands.size() > 10);
        QCOMPARE(lines.filter("D out"), shown("out", commands));
        QCOMPARE(lines.filter("D in"), shown("in", fixture.chunks));
    }

    void bytesOfTheUploader()
    {
        Fixture fixture;
        fixture.keepChunks();
        const MessageRecorder log("agent.upload.bytes", MessageRecorder::Debug::On);
        QVERIFY(fixture.run(rows, 2));
        const QStringList lines = MessageRecorder::take();
        const QList<QByteArray> blocks = blocksOf(fixture.link->sent);
        QCOMPARE(blocks.size(), 4);
        QCOMPARE(lines.filter("D out"), shown("out", blocks));
        const QByteArray accepted = mcu::buildStatusFrame(mcu::replyStart, {}, 0x7901, 0);
        QCOMPARE(lines.filter("D in"), shown("in", {accepted, accepted, accepted, accepted}));
    }

    void requestsDuringARun_data()
    {
        const tests::DataTable<QString> rows("line");
        rows("read", "W refused while a run is active: read of product information");
        rows("write", "W refused while a run is active: write of product information");
        rows("file", "W refused while a run is active: write of a single file");
    }

    /** The run continues unchanged; without a run nothing is refused. */
    void requestsDuringARun()
    {
        QFETCH(QString, line);
        const auto ask = [&](ControlCenter &engine) {
            if (line.contains("file"))
                QVERIFY(engine.slotWriteMultBoard(1, 0, QString("no.bin")));
            else if (line.contains("read of"))
                engine.getProductInfo();
            else
                engine.setProductInfo({QString("AUX,1,0,2,1,65")});
        };
        Fixture undisturbed;
        QVERIFY(undisturbed.run(rows, 2));

        Fixture fixture;
        const MessageRecorder log("agent.engine");
        bool asked = false;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            if (fixture.link->sent.size() == 3 && !std::exchange(asked, true))
                ask(*fixture.engine);
            return QList<QByteArray>{fixture.link->deviceAnswer(frame)};
        };
        QVERIFY(fixture.run(rows, 2));
        QVERIFY(asked);
        QCOMPARE(MessageRecorder::take(), QStringList{line});
        QVERIFY(sameTranscript(fixture.lines, undisturbed.lines));
        QCOMPARE(fixture.sentText(), undisturbed.sentText());

        ask(*fixture.engine);
        QCOMPARE(MessageRecorder::take(), QStringList());
        fixture.restartEngine();
    }
};

AGENT_TEST(TestDiagnostics)

} // namespace engine::tst_diagnostics

#include "tst_diagnostics.moc"
