// SPDX-License-Identifier: Apache-2.0
#include "TestDevice.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_frames {

namespace mcu = protocol::mcu;

class TestFrames : public QObject
{
    Q_OBJECT

private slots:
    void answersGoldenFrames_data()
    {
        const tests::DataTable<QByteArray, QByteArray> row("host", "reply");
        row("model name", "5a5ba50500000003f9a5", "5b5ba50900000003f948582d389b");
        row("product id", "5a5ba50500000002f8a7", "5b5ba50800000002f8485838cb");
        row("virtual version", "5a5ba50500000005f9a3", "5b5ba50600000005f9079a");
        row("bootcode main", "5a5ba50700000000f90000a6", "5b5ba50c00000000f9000001000300019b");
        row("bootcode aux", "5a5ba50700000000f90101a4", "5b5ba50c00000000f90101010004010098");
        row("product information main", "5a5ba50700000001f90000a5",
            "5b5ba52300000001f9000002410e0000000000000000000000010448582d38030601020341555830");
        row("product information aux", "5a5ba50700000001f90101a3",
            "5b5ba51500000001f9010105420000000000000000000000004d");
        row("version of three parts", "5a5ba50700000002f90000a4", "5b5ba50a00000002f900000102039a");
        row("version of two parts", "5a5ba50700000002f9110093", "5b5ba50900000002f91100040587");
        row("enter", "5a5ba5070000000079010124", "5b5ba508000000ffff00790026");
        row("reboot", "5a5ba505000000027926", "5b5ba508000000ffff02790024");
        row("set virtual version", "5a5ba5060000000579051d", "5b5ba508000000ffff05790021");
        row("write product information", "5a5ba515000000037901010643000000000000000000000000ca",
            "5b5ba50800000003790101001f");
        row("block without enter", blockFrame(0, 0, 'x'), blockRefused);
        row("status of the host", "5b5ba508000000ffff01790025", "");
    }

    void answersGoldenFrames()
    {
        QFETCH(QByteArray, host);
        QFETCH(QByteArray, reply);
        TestDevice test;
        QCOMPARE(test.ask(host), reply);
    }

    void answersByteByByte()
    {
        TestDevice test;
        const QByteArray host("5a5ba50700000002f90000a4");
        for (int i = 0; i < host.size() - 2; i += 2)
            QCOMPARE(test.ask(host.mid(i, 2)), QByteArray());
        QCOMPARE(test.ask(host.right(2)), QByteArray("5b5ba50a00000002f900000102039a"));
    }

    void namesBrokenFrames_data()
    {
        const tests::DataTable<QByteArray, QByteArray> row("host", "reply");
        row("wrong checksum", "5a5ba50500000003f9a6", "5b5ba508000000ffff03f901a2");
        row("wrong first frame address byte", "5a5ca50500000003f9a4", "");
        row("wrong second frame address byte", "5a5ba60500000003f9a4", "");
        row("length field out of range", "5a5ba5040000", "");
        row("bytes outside of any frame", "0d0a", "");
        row("reserved bytes are not zero", "5a5ba50500010003f9a4", "5b5ba508000000ffff03f903a0");
        row("wrong start byte", "5b5ba50500000003f9a4", "5b5ba508000000ffff03f903a0");
        row("unknown command word", "5a5ba50500000077f931", "");
        row("payload of 1 bytes, must be 0", "5a5ba50600000003f90b99",
            "5b5ba508000000ffff03f903a0");
    }

    void namesBrokenFrames()
    {
        QFETCH(QByteArray, host);
        QFETCH(QByteArray, reply);
        TestDevice test;
        // The next good frame is answered as if nothing had been.
        QCOMPARE(test.askInTurn({host, askProductId}), (QByteArrayList{reply, productId}));
        QCOMPARE(test.device.violationCount(), 1);
        const QString broken = QStringLiteral("BROKEN ") + QTest::currentDataTag();
        QVERIFY2(test.lines.filter(broken).size() == 1, qPrintable(test.lines.join('\n')));
    }

    void givesUpAHalfFrame()
    {
        TestDevice test;
        QCOMPARE(test.ask("5a5ba5050000"), QByteArray());
        test.now += std::chrono::seconds(1);
        QCOMPARE(test.ask(askProductId), productId);
        QCOMPARE(test.device.violationCount(), 1);
    }

    void staysSilentForStrangers()
    {
        TestDevice test;
        // An FPGA has a version, but neither bootcode nor product information.
        QCOMPARE(test.askInTurn({"5a5ba50700000002f905059a", "5a5ba50700000000f9110095"}),
                 (QByteArrayList{"", ""}));
        QCOMPARE(test.device.violationCount(), 2);
    }

    void restartsAfterTheMainImage()
    {
        TestDevice test;
        const QByteArray payload = blockPayload(0, 0x40, 'm').replace(0, 2, QByteArray(2, '\0'));
        const QByteArray block = mcu::buildFrame(0x5A, {}, 0x7901, payload).toHex();
        QCOMPARE(test.askInTurn({"5a5ba5070000000079000026", block, askProductId}),
                 (QByteArrayList{accepted, blockAccepted, ""}));
        QCOMPARE(test.device.flash(0, 0), QByteArray(256, 'm'));
        test.now += std::chrono::seconds(2);
        QCOMPARE(test.askInTurn({askProductId, "5a5ba50700000002f90000a4"}),
                 (QByteArrayList{productId, "5b5ba50a00000002f900000103009c"}));
    }

    void rebootsAndReturns()
    {
        TestDevice test;
        QCOMPARE(test.askInTurn({"5a5ba505000000027926", askProductId}),
                 (QByteArrayList{"5b5ba508000000ffff02790024", ""}));
        QCOMPARE(test.device.rebootCount(), 1);
        test.now += std::chrono::seconds(3);
        QCOMPARE(test.ask(askProductId), productId);
    }

    void halfWrittenChipHasNoVersion()
    {
        TestDevice test;
        test.askInTurn({enterAux, blockFrame(0, 0, 'a')});
        test.device.powerCycle();
        // Bootcode flag set, version 0.0.0.
        QCOMPARE(test.askInTurn({"5a5ba50700000002f90101a2", blockFrame(1, 0, 'a')}),
                 (QByteArrayList{"5b5ba50a00000002f901010000009e", blockRefused}));
    }

    void tracesEveryFrame()
    {
        TestDevice test;
        test.now = std::chrono::microseconds(12'345'678);
        const QByteArray block = blockFrame(0, 0x40, 'a');
        test.askInTurn({"5a5ba50700000002f90000a4", enterAux, block});
        QCOMPARE(
            test.lines,
            (QStringList{"12.345678 host   F902 version type=0 index=0 | 5a5ba50700000002f90000a4",
                         "12.345678 device F902 version data=0000010203"
                         " | 5b5ba50a00000002f900000102039a",
                         "12.345678 host   7900 enter type=1 index=1 | " + enterAux,
                         "12.345678 device 7900 enter status=0 | " + accepted,
                         "12.345678 host   7901 block type=1 index=1 block=0 flags=40 | " + block,
                         "12.345678 note   image of 'AUX' complete, 256 bytes with padding,"
                         " version 0.0.0",
                         "12.345678 device 7901 block status=0 | " + blockAccepted}));
    }
};

AGENT_TEST(TestFrames)

} // namespace tst_frames

#include "tst_frames.moc"
