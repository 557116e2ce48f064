// SPDX-License-Identifier: Apache-2.0
#include "TestDevice.h"
#include "support/TestCase.h"

#include "device-simulator/FlashMemory.h"

#include <QtTest>

namespace tst_flash {

class TestFlash : public QObject
{
    Q_OBJECT

private slots:
    void takesAnImage()
    {
        FlashMemory flash;
        flash.open();
        QVERIFY(flash.write(blockPayload(0, 0, 'a')).accepted);
        QVERIFY(flash.isHalfWritten());
        const auto verdict = flash.write(blockPayload(1, 0x40, 'b'));
        QVERIFY(verdict.accepted && verdict.completed);
        QVERIFY(!flash.isOpen());
        QVERIFY(!flash.isHalfWritten());
        QCOMPARE(flash.bytes(), QByteArray(256, 'a') + QByteArray(256, 'b'));
        QCOMPARE(flash.completedImages(), 1);
    }

    void judgesBlocks_data()
    {
        const tests::DataTable<QByteArray, QString> rows("bytes", "problem");
        rows("number too high", blockPayload(2, 0, 'x'), "block number 2, expected 1");
        rows("number too low", blockPayload(0, 0, 'x'), "block number 0, expected 1");
        rows("flags", blockPayload(1, 0x41, 'x'), "block flags 0x41, must be 0x00 or 0x40");
        rows("short", blockPayload(1, 0, 'x').chopped(1),
             "block payload of 260 bytes, must be 261");
        rows("empty", {}, "block payload of 0 bytes, must be 261");
    }

    void judgesBlocks()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, problem);
        FlashMemory flash;
        flash.open();
        flash.write(blockPayload(0, 0, 'a'));
        const auto verdict = flash.write(bytes);
        QVERIFY(!verdict.accepted);
        QCOMPARE(verdict.problem, problem);
        QCOMPARE(flash.bytes(), QByteArray(256, 'a'));
        QVERIFY(flash.write(blockPayload(1, 0x40, 'b')).accepted);
    }

    void takesTheLastBlockAgain()
    {
        FlashMemory flash;
        flash.open();
        flash.write(blockPayload(0, 0, 'a'));
        QVERIFY(flash.write(blockPayload(0, 0, 'a')).accepted);
        flash.write(blockPayload(1, 0x40, 'b'));
        const auto again = flash.write(blockPayload(1, 0x40, 'b'));
        QVERIFY(again.accepted && !again.completed);
        QCOMPARE(flash.bytes().size(), 512);
        QCOMPARE(flash.completedImages(), 1);
        QVERIFY(!flash.write(blockPayload(2, 0, 'c')).accepted);
    }

    void forgetsOnTheFirstBlockOnly()
    {
        FlashMemory flash;
        flash.open();
        flash.write(blockPayload(0, 0x40, 'a'));
        flash.open();
        QCOMPARE(flash.bytes(), QByteArray(256, 'a'));
        QVERIFY(!flash.isHalfWritten());
        flash.write(blockPayload(0, 0, 'b'));
        QCOMPARE(flash.bytes(), QByteArray(256, 'b'));
        flash.close();
        QVERIFY(flash.isHalfWritten());
        QCOMPARE(flash.write(blockPayload(1, 0, 'b')).problem,
                 QStringLiteral("block without Enter F/W Update Mode"));
    }

    void countsBeyondSixteenBits()
    {
        FlashMemory flash;
        flash.open();
        for (int i = 0; i < 0x10000; ++i)
            QVERIFY(flash.write(blockPayload(i, 0, 'a')).accepted);
        QVERIFY(flash.write(blockPayload(0, 0x40, 'b')).accepted);
        QCOMPARE(flash.bytes().size(), 0x10001 * 256);
    }

    void compares_data()
    {
        const tests::DataTable<QByteArray, QByteArray, QString> rows("flash", "image", "text");
        const QByteArray full(256, 'a');
        const auto padded = [](int size, char padding) {
            return QByteArray(size, 'a') + QByteArray(256 - size, padding);
        };
        rows("one block", full, full, "equal, 256 bytes");
        rows("padded", full + padded(1, '\xff'), full + "a", "equal, 257 bytes");
        rows("wrong padding", full + padded(1, '\0'), full + "a", "byte 257 is 0x00, must be 0xff");
        rows("below one block", padded(3, '\0'), "aaa", "equal, 3 bytes");
        rows("empty", {}, {}, "equal, 0 bytes");
        rows("cut", full, full + "a", "flash holds 256 bytes, must be 512");
        rows("longer", full + full, full, "flash holds 512 bytes, must be 256");
        rows("other byte", full, QByteArray(256, 'b'), "byte 0 is 0x61, must be 0x62");
    }

    void compares()
    {
        QFETCH(QByteArray, flash);
        QFETCH(QByteArray, image);
        QFETCH(QString, text);
        const FlashComparison comparison = compareFlash(flash, image);
        QCOMPARE(comparison.equal, text.startsWith("equal"));
        QCOMPARE(comparison.text, text);
    }
};

AGENT_TEST(TestFlash)

} // namespace tst_flash

#include "tst_flash.moc"
