// SPDX-License-Identifier: Apache-2.0
#include "device-check/Commands.h"
#include "device-check/StepWatch.h"
#include "support/TestCase.h"

#include "protocol/CommandWords.h"

#include <QtTest>

namespace devicecheck::tst_watch {

using std::chrono::milliseconds;

namespace {

/** Bytes as hexadecimal text, each group at the time before it: "100 5b5ba5 200 0900". */
Exchange received(const Step &step, const QString &traffic)
{
    StepWatch watch(step);
    watch.sent(step.pieces.first().bytes, milliseconds(1000));
    const QStringList words = traffic.split(' ', Qt::SkipEmptyParts);
    for (int i = 0; i + 1 < words.size(); i += 2)
        watch.received(QByteArray::fromHex(words.at(i + 1).toLatin1()),
                       milliseconds(words.at(i).toInt()));
    return watch.exchange();
}

} // namespace

/** The verdict on recorded bytes alone: no device, no port, no clock. */
class TestWatch : public QObject
{
    Q_OBJECT

private slots:
    void judgesVersions_data()
    {
        const tests::DataTable<QString> rows("problem");
        rows("1001 5b5ba50a00000002f900000100009f", "");
        rows("1001 5b5ba50900000002f90000010260",
             "no answer within 10 s; received: a frame with the checksum 60, must be 9E");
        rows("1001 0d0a5b5ba50900000002f90000010260",
             "no answer within 10 s; received: a frame with the checksum 60, must be 9E");
        rows("1001 5b5ba50900000002f9000001029e", "");
        rows("1001 5b5ba509 9000 00000002f9000001029e", "");
        rows("11001 5b5ba50900000002f9000001029e",
             "the answer came after 10.001 s, must be within 10 s");
        rows("", "no answer within 10 s");
        rows("1001 5b5ba5",
             "no answer within 10 s; received: only the first 3 bytes of a frame: 5b 5b a5");
        rows("1001 5a5ba50700000002f90000a4",
             "no answer within 10 s; received: the host's own bytes");
        rows("1001 5a5ba50700000002f90000a4 1002 5b5ba50900000002f9000001029e", "");
        rows("1001 5b5ca60900000002f9000001029c",
             "no answer within 10 s; received: a frame with the address 5C A6, must be 5B A5");
        rows("1001 5b5ba50900000003f9000001029d",
             "no answer within 10 s; received: a frame with the command word F903, not F902");
        rows("1001 5b5ba50900010002f9000001029d", "the reserved bytes are 01 00, must be 00 00");
        rows("1001 5b5ba50800000002f9000001a1", "the answer has 3 data bytes, must have 4 to 5");
        rows("1001 5b5ba508000000ffff02f903a1",
             "the answer has the extended form with status 3, must be the ordinary form");
        rows("1001 00112233445566778899aabbccddeeff0011",
             "no answer within 10 s; received: 18 bytes that are not a frame: 00 11 22 33 44 55 66 "
             "77 88 99 aa bb cc dd ee ff ...");
    }

    void judgesVersions()
    {
        QFETCH(QString, problem);
        QCOMPARE(received(readVersion({0, 0}), QTest::currentDataTag()).problem, problem);
    }

    void judgesStatuses_data()
    {
        const tests::DataTable<QString> rows("problem");
        rows("1001 5b5ba508000000ffff00790026", "");
        rows("1001 5b5ba508000000ffff00790125", "the status is 1, must be 0");
        rows("1001 5b5ba50600000000790026",
             "the answer has the ordinary form, must be the extended form");
        rows("1001 5b5ba509000000ffff0079000025", "the length is 9, must be 8");
    }

    void judgesStatuses()
    {
        QFETCH(QString, problem);
        QCOMPARE(received(enterUpdateMode({0, 0}), QTest::currentDataTag()).problem, problem);
    }

    void judgesSilence()
    {
        const Step none = askNothing("no chip", hostFrame(0xF902, "\5\5"));
        QCOMPARE(received(none, "").problem, QString());
        QCOMPARE(received(none, "1001 5b5ba50900000002f9050501021e").problem, QString());
        QCOMPARE(received(none, "1001 5b5ba50900000002f90505010294").problem,
                 QStringLiteral("there is an answer, must be none"));
        const Step asked = mayAsk("no command", hostFrame(0xF903), refusal(0xF903));
        QCOMPARE(received(asked, "").problem, QString());
        QCOMPARE(received(asked, "1001 5b5ba508000000ffff03f903a0").problem, QString());
        QCOMPARE(received(asked, "1001 5b5ba508000000ffff03f900a3").problem,
                 QStringLiteral("the command was accepted, must be refused"));
    }

    void judgesTwoAnswers()
    {
        Step step = enterUpdateMode({0, 0});
        step.answers.append(step.answers.first());
        step.limitBetween = milliseconds(250);
        const QString done = QStringLiteral("5b5ba508000000ffff00790026");
        QCOMPARE(received(step, "1001 " + done).problem, QStringLiteral("only 1 of 2 answers"));
        QCOMPARE(received(step, "1001 " + done + done).problem, QString());
        QCOMPARE(received(step, "1001 " + done + " 1251 " + done).problem, QString());
        QCOMPARE(received(step, "1001 " + done + " 1252 " + done).problem,
                 QStringLiteral("the answer came after 0.251 s, must be within 0.25 s"));
    }

    void measures()
    {
        const Step step = readVersion({0, 0});
        const QString answer = QStringLiteral("5b5ba50900000002f9000001029e");
        const Exchange exchange = received(
            step, "1100 0d0a 1200 5b5ba509 1350 00000002f9000001029e 1400 " + answer + "0a");
        QCOMPARE(exchange.problem, QString());
        QCOMPARE(exchange.answerTime, milliseconds(350));
        QCOMPARE(exchange.gap, milliseconds(150));
        QCOMPARE(exchange.strayBytes.toHex(), QByteArray("0d0a0a"));
        QCOMPARE(exchange.extraFrames.size(), 1);
        QCOMPARE(exchange.traffic.size(), 5);
    }

    void keepsALimitedNumberOfBytes()
    {
        const Step step = readVersion({0, 0});
        StepWatch watch(step);
        watch.sent(step.pieces.first().bytes, milliseconds(0));
        for (int i = 0; i < 1000; ++i)
            watch.received(QByteArray(1000, 'x'), milliseconds(i));
        QCOMPARE(watch.exchange().strayBytes.size(), 65'536);
        int kept = 0;
        for (const Traffic &traffic : watch.exchange().traffic)
            kept += traffic.isFromHost ? 0 : traffic.bytes.size();
        QCOMPARE(kept, 65'536);
    }
};

AGENT_TEST(TestWatch)

} // namespace devicecheck::tst_watch

#include "tst_watch.moc"
