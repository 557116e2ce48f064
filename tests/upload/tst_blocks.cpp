// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "upload/BlockPacker.h"
#include "upload/FakeLink.h"

#include <QtTest>

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
        const tests::DataTable<int, QString, bool> rows("size", "blocks", "ends");

        rows("0", 0, "", false);
        rows("1", 1, "0/00/1/255/0", false);
        rows("100", 100, "0/00/100/156/0", false);
        rows("255", 255, "0/00/255/1/0", false);
        rows("256", 256, "0/40/256/0/0", true);
        rows("257", 257, "0/00/256/0/0 1/40/1/0/255", true);
        rows("511", 511, "0/00/256/0/0 1/40/255/0/1", true);
        rows("512", 512, "0/00/256/0/0 1/40/256/0/0", true);
        rows("513", 513, "0/00/256/0/0 1/00/256/0/0 2/40/1/0/255", true);
        rows("700", 700, "0/00/256/0/0 1/00/256/0/0 2/40/188/0/68", true);
        rows("767", 767, "0/00/256/0/0 1/00/256/0/0 2/40/255/0/1", true);
        rows("768", 768, "0/00/256/0/0 1/00/256/0/0 2/40/256/0/0", true);
    }

    void sizes()
    {
        QFETCH(int, size);
        QFETCH(QString, blocks);
        QFETCH(bool, ends);

        BlockPacker packer;
        QCOMPARE(packed(packer, imageOf(size), size), blocks);
        QCOMPARE(packer.moreToSend(), !ends);
        // Nothing is left, whatever the image's size.
        QVERIFY(!packer.packNext());
    }

    void everyByteArrives()
    {
        for (const int size : {256, 257, 511, 512, 700, 65'536, 65'537}) {
            const QByteArray image = imageOf(size);
            BlockPacker packer;
            QVERIFY(packer.start(0, 0, image, size));
            QByteArray flash = packer.payload().mid(5);
            packer.firstBlockSent();
            while (packer.packNext())
                flash += packer.payload().mid(5);
            QCOMPARE(flash.left(size), image);
            QCOMPARE(flash.mid(size), QByteArray(flash.size() - size, '\xFF'));
            QCOMPARE(flash.size(), (size + 255) / 256 * 256);
        }
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

    void lengthAndDataDisagree_data()
    {
        const tests::DataTable<int, qint64, QString> rows("size", "length", "blocks");

        rows("negative", 300, qint64(-1), "");
        rows("most negative", 300, std::numeric_limits<qint64>::min(), "");
        rows("length without data", 0, qint64(300), "0/00/0/256/0 1/40/0/44/212");
        rows("data ends in block 0", 10, qint64(300), "0/00/10/246/0 1/40/0/44/212");
        rows("data ends in block 1", 260, qint64(520), "0/00/256/0/0 1/00/4/252/0 2/40/0/8/248");
        rows("more data than length", 700, qint64(300), "0/00/256/0/0 1/40/44/0/212");
    }

    void lengthAndDataDisagree()
    {
        QFETCH(int, size);
        QFETCH(qint64, length);
        QFETCH(QString, blocks);
        BlockPacker packer;
        QCOMPARE(packed(packer, imageOf(size), length), blocks);
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

    void percentages()
    {
        BlockPacker packer;
        QVERIFY(packer.start(1, 0, imageOf(700), 700));
        QCOMPARE(packer.firstPercent(), 255.0 / 700.0 * 100.0);
        packer.firstBlockSent();
        QVERIFY(packer.packNext());
        QVERIFY(packer.blockIsFull());
        // Single precision, widened: not the same number as in double precision.
        QCOMPARE(packer.percent(), double(512.0F / 700.0F * 100.0F));
        QVERIFY(packer.percent() != 512.0 / 700.0 * 100.0);
        QVERIFY(packer.packNext());
        QVERIFY(!packer.blockIsFull());
    }
};

AGENT_TEST(TestBlocks)

} // namespace tst_blocks

#include "tst_blocks.moc"
