// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/LinkState.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"

namespace engine::tst_parser {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

const QStringList twoRows{"MAIN,0,0", "AUX,1,0"};

QByteArray reply(quint16 word, const QByteArray &payload = {})
{
    return mcu::buildFrame(mcu::replyStart, {}, word, payload);
}

QByteArray twoImages()
{
    return makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 1, 0}, patternImage(700, 1)},
                        {"AUX", 1, 1, 2, 1, 'A', {1, 0, 1}, patternImage(300, 2)}});
}

/** A harness whose runs are compared with an undisturbed one. */
struct Fixture : EngineHarness
{
    Fixture() : EngineHarness(twoMcus()) { setPackage(twoImages()); }

    bool runUndisturbed() { return run(twoRows, 2) && lines.last() == "APPSTATUS|6"; }

    /** Every reply is changed by `change` into the chunks that arrive. */
    void changeReplies(const std::function<QList<QByteArray>(const QByteArray &)> &change)
    {
        link->answerInstead = [this, change](const QByteArray &frame) {
            const QByteArray answer = link->deviceAnswer(frame);
            return answer.isEmpty() ? QList<QByteArray>() : change(answer);
        };
    }

    /** The first reply to `word` is replaced by `chunks`, all others stay. */
    void changeFirst(quint16 word,
                     const std::function<QList<QByteArray>(const QByteArray &)> &change)
    {
        link->answerInstead = [this, word, change, done = false](const QByteArray &frame) mutable {
            const QByteArray answer = link->deviceAnswer(frame);
            if (done || mcu::wordAt(frame, mcu::wordOffset) != word)
                return QList<QByteArray>{answer};
            done = true;
            return change(answer);
        };
    }
};

} // namespace

/** How replies are put together, paired and taken. */
class TestParser : public QObject
{
    Q_OBJECT

private slots:
    void everySplit_data()
    {
        const tests::DataTable<int> rows("word");
        for (const int word :
             {0xF903, 0xF900, 0xF901, 0xF902, 0x7900, 0x7901, 0xF802, 0x7902, 0x7905})
            rows(qPrintable(QString::number(word, 16)), word);
    }

    void everySplit()
    {
        QFETCH(int, word);
        Fixture whole;
        QVERIFY(whole.runUndisturbed());
        int at = 0;
        int size = 1;
        for (; at < size; ++at) {
            Fixture split;
            split.changeFirst(quint16(word), [&](const QByteArray &answer) {
                size = answer.size();
                return QList<QByteArray>{answer.left(at), answer.mid(at)};
            });
            QVERIFY(split.run(twoRows, 2));
            QVERIFY(sameTranscript(split.lines, whole.lines));
        }
        QVERIFY(at >= 10);
    }

    void noise_data()
    {
        const tests::DataTable<QByteArray> rows("noise");
        rows("zeros", QByteArray(100, '\0'));
        rows("host's start byte", QByteArray::fromHex("5a5a5a5ba5"));
        rows("start byte, other address", QByteArray::fromHex("5b00"));
        rows("address cut", QByteArray::fromHex("5b5b00"));
        rows("length 0", QByteArray::fromHex("5b5ba50000"));
        rows("length 4", QByteArray::fromHex("5b5ba50400"));
        rows("length FFFF", QByteArray::fromHex("5b5ba5ffff"));
        rows("length beyond the buffer", QByteArray::fromHex("5b5ba5fc0f"));
        rows("length 0 and many bytes after it",
             QByteArray::fromHex("5b5ba50000") + QByteArray(2000, 'x'));
    }

    void noise()
    {
        QFETCH(QByteArray, noise);
        Fixture whole;
        QVERIFY(whole.runUndisturbed());
        Fixture noisy;
        noisy.changeReplies(
            [&](const QByteArray &answer) { return QList<QByteArray>{noise + answer}; });
        QVERIFY(noisy.runUndisturbed());
        QVERIFY(sameTranscript(noisy.lines, whole.lines));
    }

    void checksumByteIsReplaced()
    {
        Fixture whole;
        QVERIFY(whole.runUndisturbed());
        Fixture damaged;
        damaged.changeFirst(command::readBootcode, [](const QByteArray &answer) {
            QByteArray bad = answer;
            bad[bad.size() - 1] = char(bad.at(bad.size() - 1) ^ 0x55);
            return QList<QByteArray>{bad, answer.right(1)};
        });
        QVERIFY(damaged.runUndisturbed());
        QVERIFY(sameTranscript(damaged.lines, whole.lines));
    }

    void halfReplyIsForgottenByTheRetry()
    {
        for (int length = 1; length < 17; ++length) {
            Fixture fixture;
            fixture.changeFirst(command::readBootcode, [length](const QByteArray &answer) {
                return QList<QByteArray>{answer.left(length)};
            });
            QVERIFY(fixture.runUndisturbed());
            QCOMPARE(fixture.lines.filter("retry"),
                     QStringList{"Read the bootcode information of 'MAIN' fail, retry 1."});
        }
    }

    void shortReplies_data()
    {
        const tests::DataTable<int, int, QString> rows("word", "payload", "retry");
        const QString none;
        const QString boot = QString("Read the bootcode information of 'MAIN' fail, retry 1.");
        const QString info = QString("Read the product information of 'MAIN' fail, retry 1.");
        const QString version = QString("Read the version information of 'MAIN' fail, retry 1.");
        const QString virtualVersion = QString("Set virtual version fail, retry 1.");
        for (const int size : {0, 1, 2, 3, 6})
            rows(qPrintable(QString("F900 %1").arg(size)), 0xF900, size, boot);
        rows("F900 7", 0xF900, 7, none);
        for (const int size : {0, 1, 3})
            rows(qPrintable(QString("F901 %1").arg(size)), 0xF901, size, info);
        rows("F901 4", 0xF901, 4, none);
        for (const int size : {0, 3})
            rows(qPrintable(QString("F902 %1").arg(size)), 0xF902, size, version);
        rows("F902 4", 0xF902, 4, none);
        rows("F802 0", 0xF802, 0, none);
        rows("7902 0", 0x7902, 0, none);
        for (const int size : {0, 2, 7})
            rows(qPrintable(QString("7905 %1").arg(size)), 0x7905, size, virtualVersion);
    }

    /** A field that a reply does not have is never read out of an earlier one. */
    void shortReplies()
    {
        QFETCH(int, word);
        QFETCH(int, payload);
        QFETCH(QString, retry);
        Fixture fixture;
        fixture.changeFirst(quint16(word), [=](const QByteArray &answer) {
            const QByteArray data = Reply(answer).payload().left(payload);
            return QList<QByteArray>{reply(quint16(word), data.leftJustified(payload, '\0'))};
        });
        QVERIFY(fixture.run(twoRows, 2));
        const QStringList retries = fixture.lines.filter("retry");
        QCOMPARE(retries, retry.isEmpty() ? QStringList() : QStringList{retry});
        QCOMPARE(fixture.lines.last(), QString("APPSTATUS|6"));
    }

    /** The uploader sees every chunk of the reads, and a long one fits it as well as the engine. */
    void longReplyDuringTheReads()
    {
        Fixture fixture;
        fixture.changeFirst(command::readProductInformation, [](const QByteArray &answer) {
            const QByteArray data = Reply(answer).payload().leftJustified(506, '\0');
            return QList<QByteArray>{reply(command::readProductInformation, data)};
        });
        QVERIFY(fixture.runUndisturbed());
        QVERIFY(fixture.lines.filter("retry").isEmpty());

        Fixture longest;
        longest.changeFirst(command::readProductInformation, [](const QByteArray &answer) {
            const QByteArray data = Reply(answer).payload().leftJustified(4086, '\0');
            return QList<QByteArray>{reply(command::readProductInformation, data)};
        });
        QVERIFY(longest.runUndisturbed());
        QVERIFY(longest.lines.filter("retry").isEmpty());
    }

    void textMode()
    {
        Fixture fixture;
        fixture.link->answerInstead = [](const QByteArray &) { return QList<QByteArray>(); };
        fixture.engine->slotConnect("ttyS2");
        fixture.clear();
        fixture.engine->slotGetVersion();
        QCOMPARE(fixture.link->sent, QList<QByteArray>{"\r\nA00GET VER INF\r\n"});

        fixture.link->receive("MAIN V1.2");
        QVERIFY(fixture.lines.isEmpty());
        fixture.link->receive(".3\rAUX V2");
        QCOMPARE(fixture.lines, QStringList{"MAIN V1.2.3"});
        fixture.link->receive(".0\r\n\r\nFPGA\r");
        QCOMPARE(fixture.lines, QStringList({"MAIN V1.2.3", "AUX V2.0", "FPGA"}));
        fixture.link->receive("KEY V3\n");
        QCOMPARE(fixture.lines.last(), QString("KEY V3"));
        fixture.lines.removeLast();
        // Binary replies are not looked for in this mode.
        fixture.link->receive(reply(0xF903, "HX-8"));
        QCOMPARE(fixture.lines.size(), 3);
        fixture.engine->send(0xF903);
        fixture.link->receive("not a line\r");
        QCOMPARE(fixture.lines.size(), 3);
    }

    void textModeIsBounded()
    {
        Fixture fixture;
        fixture.link->answerInstead = [](const QByteArray &) { return QList<QByteArray>(); };
        fixture.engine->slotConnect("ttyS2");
        fixture.clear();
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
        Fixture fixture;
        fixture.addFault("silent:word=model-name");
        QVERIFY(fixture.run(twoRows, 2));
        QVERIFY(fixture.lines.contains("APPSTATUS|7"));
        const QStringList lines = fixture.lines;
        const QString sent = fixture.sentText();
        QVERIFY(!canRead);
        QCOMPARE(currentCommandKey, quint16(0));
        fixture.link->receive(reply(0xF903, "HX-8"));
        canRead = true;
        fixture.link->receive(reply(0xF903, "HX-8"));
        QCOMPARE(fixture.lines, lines);
        QCOMPARE(fixture.sentText(), sent);
    }

    /** Frames before any command was sent, although the flag is set. */
    void unknownMode()
    {
        Fixture fixture;
        fixture.engine->slotConnect("ttyS2");
        fixture.clear();
        canRead = true;
        fixture.link->receive(reply(0xF903, "HX-8"));
        QVERIFY(fixture.lines.isEmpty());
    }
};

AGENT_TEST(TestParser)

} // namespace engine::tst_parser

#include "tst_parser.moc"
