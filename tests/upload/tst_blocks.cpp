// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "upload/BlockPacker.h"
#include "upload/FakeLink.h"

namespace tst_blocks {

namespace mcu = protocol::mcu;
using upload::BlockPacker;

namespace {

/** "number/flags/image bytes/zeros/FFs" of one block payload. */
QString shape(const QByteArray &payload)
{
    const QByteArray data = payload.mid(5);
    int image = 0;
    while (image < data.size() && data.at(image) != '\0' && data.at(image) != '\xFF')
        ++image;
    return QStringLiteral("%1/%2/%3/%4/%5")
        .arg(mcu::wordAt(payload, 2))
        .arg(quint8(payload.at(4)), 2, 16, QLatin1Char('0'))
        .arg(image)
        .arg(data.mid(image).count('\0'))
        .arg(data.mid(image).count('\xFF'));
}

QString packed(BlockPacker &packer, const QByteArray &image, qint64 length)
{
    QStringList blocks;
    if (!packer.start(7, 2, image, length))
        return {};
    blocks.append(shape(packer.payload()));
    packer.firstBlockSent();
    while (packer.moreToSend() && packer.packNext())
        blocks.append(shape(packer.payload()));
    return blocks.join(QLatin1Char(' '));
}

} // namespace

class TestBlocks : public QObject
{
    Q_OBJECT

private slots:
    void sizes_data()
    {
        const tests::DataTable<int, qint64, QString, bool> rows("size", "length", "blocks", "ends");
        const auto whole = [&](int size, const char *blocks, bool ends = true) {
            rows(qPrintable(QString::number(size)), size, size, blocks, ends);
        };
        whole(0, "", false);
        whole(1, "0/00/1/255/0", false);
        whole(100, "0/00/100/156/0", false);
        whole(255, "0/00/255/1/0", false);
        whole(256, "0/40/256/0/0");
        whole(257, "0/00/256/0/0 1/40/1/0/255");
        whole(511, "0/00/256/0/0 1/40/255/0/1");
        whole(512, "0/00/256/0/0 1/40/256/0/0");
        whole(513, "0/00/256/0/0 1/00/256/0/0 2/40/1/0/255");
        whole(700, "0/00/256/0/0 1/00/256/0/0 2/40/188/0/68");
        whole(767, "0/00/256/0/0 1/00/256/0/0 2/40/255/0/1");
        whole(768, "0/00/256/0/0 1/00/256/0/0 2/40/256/0/0");
        rows("negative", 300, -1, "", false);
        rows("most negative", 300, std::numeric_limits<qint64>::min(), "", false);
        rows("length without data", 0, 300, "0/00/0/256/0 1/40/0/44/212", true);
        rows("data ends in block 0", 10, 300, "0/00/10/246/0 1/40/0/44/212", true);
        rows("data ends in block 1", 260, 520, "0/00/256/0/0 1/00/4/252/0 2/40/0/8/248", true);
        rows("more data than length", 700, 300, "0/00/256/0/0 1/40/44/0/212", true);
    }

    void sizes()
    {
        QFETCH(int, size);
        QFETCH(qint64, length);
        QFETCH(bool, ends);
        BlockPacker packer;
        QTEST(packed(packer, imageOf(size), length), "blocks");
        QCOMPARE(packer.moreToSend(), !ends);
        // Nothing is left, whatever the image's size.
        QVERIFY(!packer.packNext());
    }

    void payloadBeginsWithTheChip()
    {
        BlockPacker packer;
        QVERIFY(packer.start(0xAB, 0xCD, imageOf(600), 600));
        QCOMPARE(packer.payload().size(), 261);
        QCOMPARE(packer.payload().left(6).toHex(), QByteArray("abcd00000001"));
        packer.firstBlockSent();
        QVERIFY(packer.packNext());
        // Byte 256 of the image is 1 + 256 % 250.
        QCOMPARE(packer.payload().left(6).toHex(), QByteArray("abcd01000007"));
    }

    void numberTakesTwoBytes()
    {
        constexpr int blocks = 0x10000 + 2;
        const QByteArray image(blocks * 256, 'x');
        BlockPacker packer;
        QVERIFY(packer.start(1, 0, image, image.size()));
        packer.firstBlockSent();
        QStringList seen;
        for (int block = 1; block < blocks; ++block) {
            QVERIFY(packer.packNext());
            if (block == 255 || block == 256 || block >= 0xFFFF)
                seen.append(QString::fromLatin1(packer.payload().mid(2, 2).toHex()));
        }
        // The number has 16 bits and starts again at 0 after its maximum.
        QCOMPARE(seen.join(' '), QStringLiteral("ff00 0001 ffff 0000 0100"));
        QCOMPARE(quint8(packer.payload().at(4)), quint8(0x40));
    }

    void flagsOutliveTheTransfer()
    {
        BlockPacker packer;
        packed(packer, imageOf(300), 300);
        QVERIFY(packer.lastBlockSent());
        packer.release();
        QVERIFY(packer.lastBlockSent());
        // The first block of the next image still finds the old flag, and only then it goes.
        QVERIFY(packer.start(1, 0, imageOf(300), 300));
        QVERIFY(packer.lastBlockSent());
        packer.firstBlockSent();
        QVERIFY(!packer.lastBlockSent());
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestBlocks)

} // namespace tst_blocks

#include "tst_blocks.moc"
