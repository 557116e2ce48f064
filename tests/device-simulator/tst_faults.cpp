// SPDX-License-Identifier: Apache-2.0
#include "TestDevice.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_faults {

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void spoilsOneReply_data()
    {
        const tests::DataTable<QByteArray, QByteArray> row("host", "reply");
        row("silent", askProductId, "");
        row("lose-reply", askProductId, "");
        row("refuse", askProductId, "5b5ba508000000ffff02f803a2");
        row("refuse:status=1", askProductId, "5b5ba508000000ffff02f801a4");
        row("bad-checksum", askProductId, "5b5ba50800000002f8485838cc");
        row("wrong-word", askProductId, "5b5ba508000000fff8485838ce");
        row("wrong-word:as=model-name", askProductId, "5b5ba50800000003f9485838c9");
        row("wrong-word:as=7901", enterAux, "5b5ba508000000ffff01790025");
        row("short", askProductId, "5b5ba50500000002f8a6");
        row("short:bytes=1", askProductId, "5b5ba50600000002f8485d");
        row("duplicate", enterAux, "5b5ba508000000ffff007900265b5ba508000000ffff00790026");
        row("echo", askProductId, "5a5ba50500000002f8a75b5ba50800000002f8485838cb");
        row("noise:hex=5b00ff", askProductId, "5b00ff5b5ba50800000002f8485838cb");
        row("wrong-address", askProductId, "5b5ca60800000002f8485838c9");
        row("other-form", enterAux, "5b5ba508000000007900000024");
    }

    void spoilsOneReply()
    {
        QFETCH(QByteArray, host);
        QFETCH(QByteArray, reply);
        const QString fault = QTest::currentDataTag();
        TestDevice test(fault + (fault.contains(':') ? "," : ":") + "count=once");
        QCOMPARE(test.askInTurn({host, askProductId}), (QByteArrayList{reply, productId}));
    }

    void counts()
    {
        const QVector<QPair<QString, int>> cases{{"once", 1}, {"twice", 2}, {"three-times", 3},
                                                 {"4", 4},    {"0", 0},     {"always", 5}};
        for (const auto &[word, count] : cases) {
            TestDevice test("silent:count=" + word);
            for (int i = 0; i < 5; ++i)
                QCOMPARE(test.ask(askProductId), i < count ? QByteArray() : productId);
            test.device.faults().clear();
            QCOMPARE(test.ask(askProductId), productId);
        }
    }

    void skips()
    {
        TestDevice test("silent:skip=2,count=once");
        QCOMPARE(test.askInTurn({askProductId, askProductId, askProductId, askProductId}),
                 (QByteArrayList{productId, productId, "", productId}));
    }

    void meetsOnlyItsTarget()
    {
        TestDevice test("silent:word=enter,type=1,index=1,count=once");
        QCOMPARE(test.askInTurn({askProductId, "5a5ba5070000000079000026", enterAux, enterAux}),
                 (QByteArrayList{productId, accepted, "", accepted}));
    }

    void answersLate()
    {
        TestDevice test("late:delay=12500,count=once");
        QCOMPARE(answersWithDelays(test.device, askProductId), productId + "+12500");
    }

    void answersInOrderWhenBusy()
    {
        TestDevice test("busy:word=enter,delay=16000,count=once");
        QCOMPARE(answersWithDelays(test.device, enterAux), accepted + "+16000");
        test.now += std::chrono::seconds(15);
        QCOMPARE(answersWithDelays(test.device, enterAux), accepted + "+1001");
        QCOMPARE(answersWithDelays(test.device, askProductId), productId + "+1002");
        test.now += std::chrono::seconds(2);
        QCOMPARE(answersWithDelays(test.device, askProductId), productId + "+0");
        // A power cycle ends whatever it was busy with.
        test.addFault("busy:word=enter,count=once");
        QCOMPARE(answersWithDelays(test.device, enterAux), accepted + "+12000");
        test.device.powerCycle();
        QCOMPARE(answersWithDelays(test.device, askProductId), productId + "+0");
    }

    void splits()
    {
        TestDevice test("split:delay=5");
        QCOMPARE(answersWithDelays(test.device, askProductId),
                 "5b+0 5b+5 a5+10 08+15 00+20 00+25 00+30 02+35 f8+40 48+45 58+50 38+55 cb+60");
    }

    void merges()
    {
        TestDevice test("merge:count=once");
        QCOMPARE(test.askInTurn({enterAux, askProductId}),
                 (QByteArrayList{"", accepted + productId}));
    }

    void losesOnlyTheReply()
    {
        TestDevice test("lose-reply:word=block,count=once");
        const QByteArray block = blockFrame(0, 0x40, 'a');
        QCOMPARE(test.askInTurn({enterAux, block}), (QByteArrayList{accepted, ""}));
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a'));
        QCOMPARE(test.ask(block), blockAccepted);
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a'));
    }

    void refusesOneBlock()
    {
        TestDevice test("refuse-block:block=1,count=once,status=1");
        QCOMPARE(test.askInTurn({enterAux, blockFrame(0, 0, 'a'), blockFrame(1, 0, 'b')}),
                 (QByteArrayList{accepted, blockAccepted, "5b5ba508000000ffff01790124"}));
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a'));
        QCOMPARE(test.ask(blockFrame(1, 0x40, 'b')), blockAccepted);
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a') + QByteArray(256, 'b'));
    }

    void diesAtABlock()
    {
        TestDevice test("die-at-block:block=1,delay=2000,count=once");
        const QByteArray second = blockFrame(1, 0, 'b');
        QCOMPARE(test.askInTurn({enterAux, blockFrame(0, 0, 'a'), second, askProductId}),
                 (QByteArrayList{accepted, blockAccepted, "", ""}));
        test.now += std::chrono::seconds(2);
        // It has left update mode.
        QCOMPARE(test.askInTurn({askProductId, second}), (QByteArrayList{productId, blockRefused}));
    }

    void diesUntilPowerCycle()
    {
        TestDevice test("die-at-block:block=0,count=once");
        test.askInTurn({enterAux, blockFrame(0, 0, 'a')});
        test.now += std::chrono::hours(24);
        QCOMPARE(test.ask(askProductId), QByteArray());
        test.device.powerCycle();
        QCOMPARE(test.ask(askProductId), productId);
    }

    void neverReturns()
    {
        TestDevice test("no-return-after-reboot");
        QCOMPARE(test.askInTurn({askProductId, "5a5ba505000000027926"}),
                 (QByteArrayList{productId, "5b5ba508000000ffff02790024"}));
        test.now += std::chrono::hours(24);
        QCOMPARE(test.ask(askProductId), QByteArray());
    }

    void randomNoiseFollowsTheSeed()
    {
        TestDevice first("noise:bytes=20");
        TestDevice second("noise:bytes=20");
        const QByteArray answer = first.ask(askProductId);
        QCOMPARE(answer.size(), 2 * (20 + 13));
        QVERIFY(answer.endsWith(productId));
        QCOMPARE(second.ask(askProductId), answer);
        QVERIFY(first.ask(askProductId) != answer);
    }

    void refusesWrongText()
    {
        for (const char *text :
             {"", "quiet", "silent:", "silent:word=F9", "silent:word=none", "silent:type=256",
              "silent:count=-1", "silent:count", "late:delay=soon", "noise:hex=5",
              "noise:hex=", "refuse:status=999", "silent:colour=red"}) {
            QString error;
            QVERIFY2(!Fault::parse(text, &error), text);
            QVERIFY2(!error.isEmpty(), text);
        }
    }
};

AGENT_TEST(TestFaults)

} // namespace tst_faults

#include "tst_faults.moc"
