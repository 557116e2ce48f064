// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"

namespace engine::tst_parser {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

const QByteArray modelName = mcu::buildFrame(mcu::replyStart, {}, command::readModelName, "HX-8");

/** A connected engine whose device does not answer. */
struct Fixture : Scenario
{
    Fixture()
    {
        link->answerInstead = [](const QByteArray &) { return QList<QByteArray>(); };
        connectPort();
    }
};

} // namespace

/** How the engine takes what comes on the line; tst_channel.cpp has the replies of all forms. */
class TestParser : public QObject
{
    Q_OBJECT

private slots:
    /** The uploader sees every chunk of the reads, and a long one fits it as well as the engine. */
    void longReplyDuringTheReads()
    {
        Scenario fixture;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            const QByteArray answer = fixture.link->deviceAnswer(frame);
            const quint16 word = mcu::wordAt(frame, mcu::wordOffset);
            if (word != command::readProductInformation)
                return QList<QByteArray>{answer};
            const QByteArray data = Reply(answer).payload().leftJustified(4086, '\0');
            return QList<QByteArray>{mcu::buildFrame(mcu::replyStart, {}, word, data)};
        };
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.with("retry"), QStringList());
    }

    void textMode()
    {
        Fixture fixture;
        fixture.engine->slotGetVersion();
        QCOMPARE(fixture.link->sent, QList<QByteArray>{"\r\nA00GET VER INF\r\n"});

        fixture.link->receive("MAIN V1.2");
        QVERIFY(fixture.lines.isEmpty());
        fixture.link->receive(".3\rAUX V2");
        QCOMPARE(fixture.lines, QStringList{"MAIN V1.2.3"});
        fixture.link->receive(".0\r\n\r\nFPGA\r");
        fixture.link->receive("KEY V3\n");
        // Binary replies are not looked for in this mode, and text is not in the other.
        fixture.link->receive(modelName);
        fixture.engine->send(command::readModelName);
        fixture.link->receive("not a line\r");
        QCOMPARE(fixture.lines, QStringList({"MAIN V1.2.3", "AUX V2.0", "FPGA", "KEY V3"}));
    }

    void textModeIsBounded()
    {
        Fixture fixture;
        fixture.engine->slotGetVersion();
        for (int i = 0; i < 100; ++i)
            fixture.link->receive(QByteArray(4096, 'x'));
        fixture.link->receive("\rAUX V2.0\r");
        QCOMPARE(fixture.lines.last(), QString("AUX V2.0"));
        for (const QString &line : qAsConst(fixture.lines))
            QVERIFY(line.size() <= 64 * 1024 + 4096);
    }

    /** A reply after a failed run has no effect. */
    void replyAfterTheRun()
    {
        Scenario fixture;
        fixture.addFault("silent:word=model-name");
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.lines.contains("APPSTATUS|7"));
        const QStringList lines = fixture.lines;
        const QString sent = fixture.sentText();
        QVERIFY(!canRead);
        QCOMPARE(currentCommandKey, quint16(0));
        fixture.link->receive(modelName);
        canRead = true;
        fixture.link->receive(modelName);
        QCOMPARE(fixture.lines, lines);
        QCOMPARE(fixture.sentText(), sent);
    }

    /** Frames before any command was sent, although the flag is set. */
    void unknownMode()
    {
        Fixture fixture;
        canRead = true;
        fixture.link->receive(modelName);
        QVERIFY(fixture.lines.isEmpty());
    }
};

AGENT_TEST(TestParser)

} // namespace engine::tst_parser

#include "tst_parser.moc"
