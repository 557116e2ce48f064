// SPDX-License-Identifier: Apache-2.0
#include "protocol/BlockPayload.h"
#include "protocol/CommandWords.h"
#include "protocol/FrameAssembler.h"
#include "protocol/McuFrame.h"
#include "protocol/ProductRecord.h"
#include "protocol/Reply.h"
#include "support/TestCase.h"

#include <numeric>
#include <utility>

namespace protocol::tst_frames {

namespace {

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

AssemblerRules engineRules()
{
    AssemblerRules rules;
    rules.startBytes = QByteArray(1, char(mcu::replyStart));
    rules.maxLength = 4091;
    rules.badSum = AssemblerRules::BadSum::ReplaceLast;
    return rules;
}

QList<QByteArray> assemble(FrameAssembler &assembler, const QByteArray &bytes)
{
    QList<QByteArray> frames;
    for (const char byte : bytes) {
        if (assembler.feed(quint8(byte)) == FrameAssembler::Result::Complete)
            frames.append(assembler.frame());
    }
    return frames;
}

const char *const enterAccepted = "5b5ba50800"
                                  "0000ffff007900"
                                  "26";

} // namespace

class TestFrames : public QObject
{
    Q_OBJECT

private slots:
    void buildsGoldenFrames_data()
    {
        const tests::DataTable<quint16, QByteArray, QByteArray> rows("word", "payload", "frame");

        rows("model name", command::readModelName, {}, hex("5a5ba50500000003f9a5"));
        rows("product id", command::readProductId, {}, hex("5a5ba50500000002f8a7"));
        rows("reboot", command::reboot, {},
             hex("5a5ba5050000000279"
                 "26"));
        rows("virtual version", command::readVirtualVersion, {}, hex("5a5ba50500000005f9a3"));
        rows("bootcode 0,0", command::readBootcode, hex("0000"), hex("5a5ba50700000000f90000a6"));
        rows("bootcode 0,1", command::readBootcode, hex("0001"), hex("5a5ba50700000000f90001a5"));
        rows("product information 0,1", command::readProductInformation, hex("0001"),
             hex("5a5ba50700000001f90001a4"));
        rows("version 0,1", command::readVersion, hex("0001"), hex("5a5ba50700000002f90001a3"));
        rows("enter 0,0", command::enterUpdateMode, hex("0000"),
             hex("5a5ba50700000000790000"
                 "26"));
        rows("enter 32,0", command::enterUpdateMode, hex("2000"),
             hex("5a5ba50700000000792000"
                 "06"));
        rows("set virtual version", command::setVirtualVersion, hex("05"),
             hex("5a5ba5060000000579051d"));
    }

    void buildsGoldenFrames()
    {
        QFETCH(quint16, word);
        QFETCH(QByteArray, payload);
        QFETCH(QByteArray, frame);

        QCOMPARE(mcu::buildFrame(mcu::hostStart, {}, word, payload).toHex(), frame.toHex());
    }

    void longPayloads()
    {
        const QList<std::pair<int, QByteArray>> lengths{{249, "fe00"},
                                                        {250, "ff00"},
                                                        {251, "0001"},
                                                        {block::payloadSize, "0a01"},
                                                        {1000, "ed03"}};
        for (const auto &[size, length] : lengths) {
            const QByteArray payload(size, 'x');
            const QByteArray frame =
                mcu::buildFrame(mcu::hostStart, {}, command::writeBlock, payload);
            QCOMPARE(frame.mid(mcu::lengthOffset, 2).toHex(), length);
            QCOMPARE(frame.mid(mcu::payloadOffset, size), payload);
            QCOMPARE(std::accumulate(frame.begin(), frame.end(), 0) & 0xFF, 0);
        }
    }

    void statusFrames()
    {
        const auto frame = [](quint8 start, quint16 word, quint8 status) {
            return mcu::buildStatusFrame(start, {}, word, status).toHex();
        };
        QCOMPARE(frame(0x5B, 0x7901, 0), QByteArray("5b5ba508000000ffff01790025"));
        QCOMPARE(frame(0x5B, 0x7901, 3), QByteArray("5b5ba508000000ffff01790322"));
        QCOMPARE(frame(0x5B, 0x7900, 0), QByteArray(enterAccepted));
        QCOMPARE(frame(0x5B, 0x7905, 0), QByteArray("5b5ba508000000ffff05790021"));
        QCOMPARE(frame(0xAB, 0x7900, 0), QByteArray("ab5ba508000000ffff007900d6"));
        QCOMPARE(frame(0xAB, 0x7901, 3), QByteArray("ab5ba508000000ffff017903d2"));
    }

    void assemblesAtEverySplit()
    {
        const QByteArray frame = hex(enterAccepted);
        for (int split = 0; split <= frame.size(); ++split) {
            FrameAssembler assembler(engineRules());
            QList<QByteArray> frames = assemble(assembler, frame.left(split));
            frames += assemble(assembler, frame.mid(split));
            QCOMPARE(frames, QList<QByteArray>{frame});
            QCOMPARE(assembler.state(), -1);
        }
    }

    void skipsNoise()
    {
        FrameAssembler assembler(engineRules());
        const QByteArray frame = hex(enterAccepted);
        // A host frame's echo, a start byte without an address, then the frame twice.
        const QByteArray noise = hex("5a5ba50500000003f9a5"
                                     "005b00"
                                     "5b5b00");
        QCOMPARE(assemble(assembler, noise + frame + frame), (QList<QByteArray>{frame, frame}));
        // A start byte right before a frame costs that frame: the address no longer fits.
        QCOMPARE(assemble(assembler, hex("5b") + frame), QList<QByteArray>());
        QCOMPARE(assemble(assembler, frame), QList<QByteArray>{frame});
    }

    void refusesLengths_data()
    {
        const tests::DataTable<QByteArray> rows("lengthBytes");
        rows("0", hex("0000"));
        rows("4", hex("0400"));
        rows("above the buffer", hex("fc0f"));
        rows("ffff", hex("ffff"));
    }

    void refusesLengths()
    {
        QFETCH(QByteArray, lengthBytes);
        FrameAssembler assembler(engineRules());
        const QByteArray frame = hex(enterAccepted);
        assemble(assembler, hex("5b5ba5") + lengthBytes);
        QCOMPARE(assembler.state(), -1);
        QCOMPARE(assemble(assembler, QByteArray(2000, '\0') + frame), QList<QByteArray>{frame});
    }

    void replacesABadChecksum()
    {
        FrameAssembler assembler(engineRules());
        const QByteArray frame = hex(enterAccepted);
        QCOMPARE(assemble(assembler, frame.chopped(1) + "\x01\x02" + frame.right(1)),
                 QList<QByteArray>{frame});
    }

    void restartsAfterABadChecksum()
    {
        AssemblerRules rules = engineRules();
        rules.badSum = AssemblerRules::BadSum::Restart;
        FrameAssembler assembler(rules);
        const QByteArray frame = hex(enterAccepted);
        QCOMPARE(assemble(assembler, frame.chopped(1) + "\x01" + frame), QList<QByteArray>{frame});
    }

    void readsReplies()
    {
        const Reply extended(hex(enterAccepted));
        QVERIFY(extended.isExtended());
        QCOMPARE(extended.word(), command::enterUpdateMode);
        QCOMPARE(extended.length(), mcu::extendedLength);
        QVERIFY(extended.has(mcu::resultOffset));
        QVERIFY(!extended.has(mcu::resultOffset + 1));

        const Reply ordinary(mcu::buildFrame(mcu::replyStart, {}, command::readModelName, "HX-8"));
        QVERIFY(!ordinary.isExtended());
        QCOMPARE(ordinary.word(), command::readModelName);
        QCOMPARE(ordinary.payload(), QByteArray("HX-8"));

        // The checksum is not data, and a bare FF FF frame has no second word.
        const Reply bare(mcu::buildFrame(mcu::replyStart, {}, command::escape));
        QVERIFY(!bare.isExtended());
        QVERIFY(!bare.has(9));
        QCOMPARE(int(bare.at(9)), 0);
    }

    void recordRoundTrip()
    {
        ProductRecord record;
        record.pcbVersion = 2;
        record.speciality = 'A';
        record.model = QByteArray("HX-8");
        record.auxChips = {{1, 2, "AUX"}, {16, 1, "FPGA"}};
        const QByteArray bytes = record.encode();
        QCOMPARE(bytes.toHex(), QByteArray("00000241"
                                           "1500"
                                           "00000000000000000000"
                                           "0104"
                                           "48582d38"
                                           "030d"
                                           "01020341"
                                           "5558"
                                           "1001044650"
                                           "4741"));

        const ProductRecord read = ProductRecord::decode(bytes);
        QCOMPARE(read.model.value_or(""), QByteArray("HX-8"));
        QCOMPARE(read.auxChips.size(), 2);
        QCOMPARE(read.auxChips.at(1).name, QByteArray("FPGA"));
        QCOMPARE(read.encode(), bytes);
    }

    void recordShortForm()
    {
        const ProductRecord read = ProductRecord::decode(hex("00000241"
                                                             "0400"
                                                             "48582d38"
                                                             "010203415558"));
        QCOMPARE(read.model.value_or(""), QByteArray("HX-8"));
        QCOMPARE(read.auxChips.size(), 1);
        QCOMPARE(int(read.auxChips.at(0).quantity), 2);
    }

    void recordNeverReadsPastItsEnd()
    {
        ProductRecord record;
        record.model = QByteArray("HX-8");
        record.auxChips = {{1, 2, "AUX"}};
        const QByteArray bytes = record.encode();
        for (int size = 0; size < bytes.size(); ++size)
            QVERIFY(ProductRecord::decode(bytes.left(size)).auxChips.size() <= 1);
        QVERIFY(!ProductRecord::decode(QByteArray(16, '\0')).model);
        QVERIFY(!ProductRecord::decode(hex("0000024104ff41")).model);
    }
};

AGENT_TEST(TestFrames)

} // namespace protocol::tst_frames

#include "tst_frames.moc"
