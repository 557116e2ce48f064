// SPDX-License-Identifier: Apache-2.0
#include "TestDevice.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_faults {

namespace {

const char *const askProductId = "5a5ba50500000002f8a7";
const char *const productId = "5b5ba50800000002f8485838cb";
const char *const enterAux = "5a5ba5070000000079010124";
const char *const accepted = "5b5ba508000000ffff00790026";

} // namespace

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void spoilsOneReply_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<QByteArray>("reply");

        const auto row = [](const char *fault, const char *host, const char *reply) {
            QTest::newRow(fault) << QString(fault) << QByteArray(host) << QByteArray(reply);
        };
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
        QFETCH(QString, fault);
        QFETCH(QByteArray, host);
        QFETCH(QByteArray, reply);
        TestDevice test;
        test.addFault(fault + (fault.contains(':') ? "," : ":") + "count=once");
        QCOMPARE(test.ask(host), reply);
        // And only one.
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
    }

    void counts()
    {
        const QVector<QPair<QString, int>> cases{
            {"once", 1}, {"twice", 2}, {"three-times", 3}, {"4", 4}, {"0", 0}};
        for (const auto &[word, count] : cases) {
            TestDevice test;
            test.addFault("silent:count=" + word);
            for (int i = 0; i < count; ++i)
                QCOMPARE(test.ask(askProductId), QByteArray());
            QCOMPARE(test.ask(askProductId), QByteArray(productId));
        }
        TestDevice test;
        test.addFault("silent:count=always");
        for (int i = 0; i < 10; ++i)
            QCOMPARE(test.ask(askProductId), QByteArray());
        test.device.faults().clear();
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
    }

    void skips()
    {
        TestDevice test;
        test.addFault("silent:skip=2,count=once");
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
        QCOMPARE(test.ask(askProductId), QByteArray());
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
    }

    void meetsOnlyItsTarget()
    {
        TestDevice test;
        test.addFault("silent:word=enter,type=1,index=1,count=once");
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
        QCOMPARE(test.ask("5a5ba5070000000079000026"), QByteArray(accepted));
        QCOMPARE(test.ask(enterAux), QByteArray());
        QCOMPARE(test.ask(enterAux), QByteArray(accepted));
    }

    void answersLate()
    {
        TestDevice test;
        test.addFault("late:delay=12500,count=once");
        const auto answers = test.device.receive(QByteArray::fromHex(askProductId));
        QCOMPARE(answers.size(), 1);
        QCOMPARE(answers.at(0).delay.count(), 12500);
        QCOMPARE(answers.at(0).bytes.toHex(), QByteArray(productId));
    }

    void answersInOrderWhenBusy()
    {
        TestDevice test;
        test.addFault("busy:word=enter,delay=16000,count=once");
        const auto delays = [&test](const char *question) {
            QByteArray text;
            for (const DeviceAnswer &answer : test.device.receive(QByteArray::fromHex(question)))
                text += answer.bytes.toHex() + '+' +
                        QByteArray::number(qlonglong(answer.delay.count()));
            return text;
        };
        QCOMPARE(delays(enterAux), QByteArray(accepted) + "+16000");
        test.now += std::chrono::seconds(15);
        QCOMPARE(delays(enterAux), QByteArray(accepted) + "+1001");
        QCOMPARE(delays(askProductId), QByteArray(productId) + "+1002");
        test.now += std::chrono::seconds(2);
        QCOMPARE(delays(askProductId), QByteArray(productId) + "+0");
        // A power cycle ends whatever it was busy with.
        test.addFault("busy:word=enter,count=once");
        QCOMPARE(delays(enterAux), QByteArray(accepted) + "+12000");
        test.device.powerCycle();
        QCOMPARE(delays(askProductId), QByteArray(productId) + "+0");
    }

    void splits()
    {
        TestDevice test;
        test.addFault("split:delay=5");
        const auto answers = test.device.receive(QByteArray::fromHex(askProductId));
        QCOMPARE(answers.size(), 13);
        QByteArray joined;
        for (int i = 0; i < answers.size(); ++i) {
            QCOMPARE(answers.at(i).delay.count(), 5 * i);
            joined += answers.at(i).bytes;
        }
        QCOMPARE(joined.toHex(), QByteArray(productId));
    }

    void merges()
    {
        TestDevice test;
        test.addFault("merge:count=once");
        QCOMPARE(test.ask(enterAux), QByteArray());
        QCOMPARE(test.ask(askProductId), QByteArray(accepted) + productId);
    }

    void losesOnlyTheReply()
    {
        TestDevice test;
        test.addFault("lose-reply:word=block,count=once");
        test.ask(enterAux);
        QCOMPARE(test.ask(blockFrame(0, 0x40, 'a').toHex()), QByteArray());
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a'));
        QCOMPARE(test.ask(blockFrame(0, 0x40, 'a').toHex()),
                 QByteArray("5b5ba508000000ffff01790025"));
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a'));
    }

    void refusesOneBlock()
    {
        TestDevice test;
        test.addFault("refuse-block:block=1,count=once,status=1");
        test.ask(enterAux);
        QCOMPARE(test.ask(blockFrame(0, 0, 'a').toHex()), QByteArray("5b5ba508000000ffff01790025"));
        QCOMPARE(test.ask(blockFrame(1, 0, 'b').toHex()), QByteArray("5b5ba508000000ffff01790124"));
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a'));
        QCOMPARE(test.ask(blockFrame(1, 0x40, 'b').toHex()),
                 QByteArray("5b5ba508000000ffff01790025"));
        QCOMPARE(test.device.flash(1, 1), QByteArray(256, 'a') + QByteArray(256, 'b'));
    }

    void diesAtABlock()
    {
        TestDevice test;
        test.addFault("die-at-block:block=1,delay=2000,count=once");
        test.ask(enterAux);
        test.ask(blockFrame(0, 0, 'a').toHex());
        QCOMPARE(test.ask(blockFrame(1, 0, 'b').toHex()), QByteArray());
        QCOMPARE(test.ask(askProductId), QByteArray());
        test.now += std::chrono::seconds(2);
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
        // It has left update mode.
        QCOMPARE(test.ask(blockFrame(1, 0, 'b').toHex()), QByteArray("5b5ba508000000ffff01790322"));
    }

    void diesUntilPowerCycle()
    {
        TestDevice test;
        test.addFault("die-at-block:block=0,count=once");
        test.ask(enterAux);
        test.ask(blockFrame(0, 0, 'a').toHex());
        test.now += std::chrono::hours(24);
        QCOMPARE(test.ask(askProductId), QByteArray());
        test.device.powerCycle();
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
    }

    void neverReturns()
    {
        TestDevice test;
        test.addFault("no-return-after-reboot");
        QCOMPARE(test.ask(askProductId), QByteArray(productId));
        QCOMPARE(test.ask("5a5ba505000000027926"), QByteArray("5b5ba508000000ffff02790024"));
        test.now += std::chrono::hours(24);
        QCOMPARE(test.ask(askProductId), QByteArray());
    }

    void randomNoiseFollowsTheSeed()
    {
        TestDevice first;
        TestDevice second;
        first.addFault("noise:bytes=20");
        second.addFault("noise:bytes=20");
        const QByteArray answer = first.ask(askProductId);
        QCOMPARE(answer.size(), 2 * (20 + 13));
        QVERIFY(answer.endsWith(productId));
        QCOMPARE(second.ask(askProductId), answer);
        QVERIFY(first.ask(askProductId) != answer);
    }

    void refusesWrongText_data()
    {
        QTest::addColumn<QString>("text");
        for (const char *text :
             {"", "quiet", "silent:", "silent:word=F9", "silent:word=none", "silent:type=256",
              "silent:count=-1", "silent:count", "late:delay=soon", "noise:hex=5",
              "noise:hex=", "refuse:status=999", "silent:colour=red"})
            QTest::newRow(text) << QString(text);
    }

    void refusesWrongText()
    {
        QFETCH(QString, text);
        QString error;
        QVERIFY(!Fault::parse(text, &error));
        QVERIFY(!error.isEmpty());
    }

    void helpNamesEveryFault()
    {
        const QStringList help = Fault::help();
        for (const char *name :
             {"silent", "refuse", "late", "busy", "bad-checksum", "wrong-word", "short",
              "duplicate", "echo", "noise", "split", "merge", "wrong-address", "refuse-block",
              "silent-block", "die-at-block", "no-return-after-reboot"}) {
            QCOMPARE(help.filter(QRegularExpression(QStringLiteral("^%1 ").arg(name))).size(), 1);
            QString error;
            QVERIFY(Fault::parse(name, &error));
        }
    }
};

AGENT_TEST(TestFaults)

} // namespace tst_faults

#include "tst_faults.moc"
