// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/FlashMemory.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_flash {

namespace {

QByteArray payload(int number, int flags, char fill)
{
    QByteArray bytes;
    bytes.append('\1').append('\0');
    bytes.append(char(number & 0xFF)).append(char(number >> 8)).append(char(flags));
    return bytes.append(QByteArray(256, fill));
}

} // namespace

class TestFlash : public QObject
{
    Q_OBJECT

private slots:
    void takesAnImage()
    {
        FlashMemory flash;
        flash.open();
        QVERIFY(flash.write(payload(0, 0, 'a')).accepted);
        QVERIFY(flash.isHalfWritten());
        const auto verdict = flash.write(payload(1, 0x40, 'b'));
        QVERIFY(verdict.accepted && verdict.completed);
        QVERIFY(!flash.isOpen());
        QVERIFY(!flash.isHalfWritten());
        QCOMPARE(flash.bytes(), QByteArray(256, 'a') + QByteArray(256, 'b'));
        QCOMPARE(flash.completedImages(), 1);
    }

    void judgesBlocks_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("problem");
        QTest::newRow("number too high") << payload(2, 0, 'x') << "block number 2, expected 1";
        QTest::newRow("number too low") << payload(0, 0, 'x') << "block number 0, expected 1";
        QTest::newRow("flags") << payload(1, 0x41, 'x') << "block flags 0x41, must be 0x00 or 0x40";
        QTest::newRow("short") << payload(1, 0, 'x').chopped(1)
                               << "block payload of 260 bytes, must be 261";
        QTest::newRow("empty") << QByteArray() << "block payload of 0 bytes, must be 261";
    }

    void judgesBlocks()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, problem);
        FlashMemory flash;
        flash.open();
        flash.write(payload(0, 0, 'a'));
        const auto verdict = flash.write(bytes);
        QVERIFY(!verdict.accepted);
        QCOMPARE(verdict.problem, problem);
        QCOMPARE(flash.bytes(), QByteArray(256, 'a'));
        QVERIFY(flash.write(payload(1, 0x40, 'b')).accepted);
    }

    void takesTheLastBlockAgain()
    {
        FlashMemory flash;
        flash.open();
        flash.write(payload(0, 0, 'a'));
        QVERIFY(flash.write(payload(0, 0, 'a')).accepted);
        flash.write(payload(1, 0x40, 'b'));
        const auto again = flash.write(payload(1, 0x40, 'b'));
        QVERIFY(again.accepted && !again.completed);
        QCOMPARE(flash.bytes().size(), 512);
        QCOMPARE(flash.completedImages(), 1);
        QVERIFY(!flash.write(payload(2, 0, 'c')).accepted);
    }

    void forgetsOnTheFirstBlockOnly()
    {
        FlashMemory flash;
        flash.open();
        flash.write(payload(0, 0x40, 'a'));
        flash.open();
        QCOMPARE(flash.bytes(), QByteArray(256, 'a'));
        QVERIFY(!flash.isHalfWritten());
        flash.write(payload(0, 0, 'b'));
        QCOMPARE(flash.bytes(), QByteArray(256, 'b'));
        flash.close();
        QVERIFY(flash.isHalfWritten());
        QCOMPARE(flash.write(payload(1, 0, 'b')).problem,
                 QStringLiteral("block without Enter F/W Update Mode"));
    }

    void countsBeyondSixteenBits()
    {
        FlashMemory flash;
        flash.open();
        for (int i = 0; i < 0x10000; ++i)
            QVERIFY(flash.write(payload(i, 0, 'a')).accepted);
        QVERIFY(flash.write(payload(0, 0x40, 'b')).accepted);
        QCOMPARE(flash.bytes().size(), 0x10001 * 256);
    }

    void compares_data()
    {
        QTest::addColumn<QByteArray>("flash");
        QTest::addColumn<QByteArray>("image");
        QTest::addColumn<bool>("equal");
        QTest::addColumn<QString>("text");

        const QByteArray full(256, 'a');
        const auto padded = [&](int size, char padding) {
            return QByteArray(size, 'a') + QByteArray(256 - size, padding);
        };
        QTest::newRow("one block") << full << full << true << "equal, 256 bytes";
        QTest::newRow("padded") << full + padded(1, '\xff') << full + "a" << true
                                << "equal, 257 bytes";
        QTest::newRow("wrong padding")
            << full + padded(1, '\0') << full + "a" << false << "byte 257 is 0x00, must be 0xff";
        QTest::newRow("below one block")
            << padded(3, '\0') << QByteArray("aaa") << true << "equal, 3 bytes";
        QTest::newRow("empty") << QByteArray() << QByteArray() << true << "equal, 0 bytes";
        QTest::newRow("cut") << full << full + "a" << false << "flash holds 256 bytes, must be 512";
        QTest::newRow("longer") << full + full << full << false
                                << "flash holds 512 bytes, must be 256";
        QTest::newRow("other byte")
            << full << QByteArray(256, 'b') << false << "byte 0 is 0x61, must be 0x62";
    }

    void compares()
    {
        QFETCH(QByteArray, flash);
        QFETCH(QByteArray, image);
        QFETCH(bool, equal);
        QFETCH(QString, text);
        const FlashComparison comparison = compareFlash(flash, image);
        QCOMPARE(comparison.equal, equal);
        QCOMPARE(comparison.text, text);
    }
};

AGENT_TEST(TestFlash)

} // namespace tst_flash

#include "tst_flash.moc"
