// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetImageAssembler.h"
#include "support/TestCase.h"

#include <QtTest>

Q_DECLARE_METATYPE(netupgrade::NetBlockRules)

namespace netupgrade::tst_assembler {

namespace {

QByteArray blockOf(int number, int flags, const QByteArray &data)
{
    QByteArray block;
    block.append(char(number & 0xFF)).append(char(number >> 8)).append(char(flags));
    return block + data;
}

QByteArray headOf(const char *version)
{
    return version + QByteArray(1, '\0') + QByteArray(32, 'd') + QByteArray(25, '\0');
}

/** "first", "last", both or none, and the bytes; "refused" for no piece. */
QByteArray described(const std::optional<NetPiece> &piece)
{
    if (!piece)
        return "refused";
    return QByteArray(piece->isFirst ? "first " : "") + (piece->isLast ? "last " : "") +
           piece->bytes;
}

} // namespace

/** An image for the module itself, from the blocks of either sender. */
class TestAssembler : public QObject
{
    Q_OBJECT

private slots:
    void blocks_data()
    {
        QTest::addColumn<NetBlockRules>("rules");
        QTest::addColumn<QByteArray>("block");
        QTest::addColumn<QByteArray>("piece");
        const auto row = [](const char *name, int number, int flags, const QByteArray &data,
                            const QByteArray &console, const QByteArray &device) {
            const QByteArray block = blockOf(number, flags, data);
            QTest::addRow("%s, console", name) << netblocks::fromConsole << block << console;
            QTest::addRow("%s, device", name) << netblocks::fromDevice << block << device;
        };
        const QByteArray head = headOf("1.23");
        row("number 0", 0, 0, head + "abc", "first abc", headOf("1.23") + "abc");
        row("number 1", 1, 0, head + "abc", headOf("1.23") + "abc", "first abc");
        row("number 2", 2, 0, "abc", "abc", "abc");
        row("short first, 0", 0, 0, "1.23", "refused", "1.23");
        row("short first, 1", 1, 0, "1.23", "1.23", "first ");
        row("first and last, 0", 0, 0x40, head + "a\xFF", "first a\xFF",
            "last " + headOf("1.23") + "a");
        row("first and last, 1", 1, 0x40, head + "a\xFF", "last " + headOf("1.23") + "a",
            "first last a");
        row("last", 9, 0x40,
            "a\xFF"
            "b\xFF\xFF",
            "last a\xFF"
            "b",
            "last a\xFF"
            "b");
        row("padding alone", 9, 0x40, "\xFF\xFF", "last ", "last ");
        row("padding of a whole block", 9, 0x40, 'a' + QByteArray(255, '\xFF'), "last a", "last a");
        row("no padding", 9, 0x40, "ab", "last ab", "last ab");
        row("last without data", 9, 0x40, "", "last ", "last ");
        row("other flags", 9, 0xC0, "a\xFF", "a\xFF", "a\xFF");
        row("no data", 9, 0, "", "", "");
        for (const NetBlockRules &rules : {netblocks::fromConsole, netblocks::fromDevice}) {
            for (int size = 0; size < 3; ++size)
                QTest::addRow("%d bytes, first is %d", size, rules.firstNumber)
                    << rules << blockOf(9, 0, {}).left(size) << QByteArray("refused");
        }
    }

    void blocks()
    {
        QFETCH(NetBlockRules, rules);
        QFETCH(QByteArray, block);
        QFETCH(QByteArray, piece);
        QCOMPARE(described(NetImageAssembler(rules).take(block)), piece);
    }

    /** One number of the 65,536 begins an image. */
    void everyNumber()
    {
        for (const NetBlockRules &rules : {netblocks::fromConsole, netblocks::fromDevice}) {
            NetImageAssembler image(rules);
            QList<int> firsts;
            for (int number = 0; number <= 0xFFFF; ++number) {
                if (image.take(blockOf(number, 0, headOf("1.23")))->isFirst)
                    firsts.append(number);
            }
            QCOMPARE(firsts, QList<int>{rules.firstNumber});
        }
    }

    void headOfTheLastFirstBlock()
    {
        NetImageAssembler image(netblocks::fromConsole);
        QCOMPARE(image.head().version, QByteArray(4, '\0'));
        image.take(blockOf(0, 0, headOf("1.23")));
        image.take(blockOf(1, 0x40, headOf("9.99")));
        image.take(blockOf(0, 0, "7.77"));
        QCOMPARE(image.head().version, QByteArray("1.23"));
        QCOMPARE(image.head().md5Text, QByteArray(32, 'd'));
        image.take(blockOf(0, 0, headOf("2.00")));
        QCOMPARE(image.head().version, QByteArray("2.00"));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestAssembler)

} // namespace netupgrade::tst_assembler

#include "tst_assembler.moc"
