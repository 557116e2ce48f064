// SPDX-License-Identifier: Apache-2.0
// Intel HEX and S-records, by hand and against objcopy and srec_cat.
#include "fwm/HexText.h"
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

#include <random>

namespace tst_hex_text {

namespace {

/** "0x00000010:616263", one for each segment. */
QString segmentsText(const HexText &read)
{
    QStringList all;
    for (const HexSegment &segment : read.segments)
        all.append(QStringLiteral("%1:%2")
                       .arg(segment.address, 0, 16)
                       .arg(QString::fromLatin1(segment.bytes.toHex())));
    return all.join(QLatin1Char(' '));
}

QByteArray randomBytes(int size, unsigned seed)
{
    std::mt19937 generator(seed);
    QByteArray bytes(size, '\0');
    for (char &byte : bytes)
        byte = char(generator() & 0xffU);
    return bytes;
}

} // namespace

class TestHexText : public QObject
{
    Q_OBJECT

private slots:
    void recognises_data()
    {
        const tests::DataTable<QByteArray, QString> row("bytes", "form");
        row("Intel HEX", ":0100000041BE\n", "Intel HEX");
        row("in lower case, after empty lines", "\r\n\n:0100000041be\n", "Intel HEX");
        row("S-record", "S00600004844521B\n", "S-record");
        row("binary", QByteArray("\x00\x20\x00\x08", 4), "");
        row("a text", "Some text of a person.", "");
        row("a word", "S3 buckets are not records", "");
        row("a colon", ":-) this is fine", "");
        row("empty", QByteArray(), "");
    }

    void recognises()
    {
        QFETCH(QByteArray, bytes);
        QTEST(hexFormText(hexFormOf(bytes)), "form");
    }

    void reads_data()
    {
        const tests::DataTable<QByteArray, QString> row("text", "segments");
        row("one record", ":0100000041BE\n:00000001FF\n", "0:41");
        row("CR LF, and no last line end", ":0100000041BE\r\n:00000001FF", "0:41");
        row("records in any order", ":0100010042BC\n:0100000041BE\n:00000001FF\n", "0:4142");
        row("a gap", ":0100000041BE\n:0100020043BA\n:00000001FF\n", "0:41 2:43");
        row("linear address", ":020000040800F2\n:0100000041BE\n:00000001FF\n", "8000000:41");
        row("segment address", ":020000021000EC\n:0100000041BE\n:00000001FF\n", "10000:41");
        row("start addresses",
            ":0400000508000000EF\n:0400000300003800C1\n:0100000041BE\n:00000001FF\n", "0:41");
        row("S1", "S104000041BA\nS9030000FC\n", "0:41");
        row("S2", "S20508000041B1\nS804080000F3\n", "80000:41");
        row("S3", "S3060800000041B0\nS70508000000F2\n", "8000000:41");
        row("count without an end", "S104000041BA\nS5030001FB\n", "0:41");
        row("title and count", "S00600004844521B\nS104000041BA\nS5030001FB\nS9030000FC\n", "0:41");
    }

    void reads()
    {
        QFETCH(QByteArray, text);
        const HexText read = parseHexText(text);
        QCOMPARE(read.error, QString());
        QTEST(segmentsText(read), "segments");
    }

    void refuses_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<int>("line");
        QTest::addColumn<QString>("error");
        const auto row = [](const char *text, int line, const char *error) {
            QTest::addRow("line %d: %s", line, error)
                << QByteArray(text) << line << QString::fromLatin1(error);
        };
        row("binary", 1, "the file is neither Intel HEX nor S-record");
        row(":0100000041BE\nS9030000FC\n", 2, "a line of Intel HEX begins with ':'");
        row(":0100000041BE\n:00000001FX\n", 2, "'X' is not a hexadecimal digit");
        row(":0100000041BE\n:00000001F\n", 2, "the number of hexadecimal digits is odd");
        row(":0100000041BE\n:\n", 2, "the line has no bytes");
        row(":0200000041BD\n:00000001FF\n", 1,
            "the line does not have the length that it declares");
        row(":0100000041BF\n:00000001FF\n", 1, "the checksum of the line is wrong");
        row(":0100000041BE\n", 1, "the end record is missing; the file is cut short");
        row(":0100000041BE\n:00000001FF\n\n:00000001FF\n", 4,
            "there is a line after the end record");
        row(":00000001FF\n", 1, "there is no data in it");
        row(":0100000041BE\n:0100000042BD\n:00000001FF\n", 2,
            "the address 0x00000000 is given twice");
        row(":02FFFF0041427D\n:00000001FF\n", 1, "the data crosses the end of its 64 KiB");
        row(":0100000606F3\n:00000001FF\n", 1, "there is no record type 6 in Intel HEX");
        row(":0100000408F3\n:00000001FF\n", 1, "a record of type 4 has 2 bytes");
        row("S104000041BA\nS4030000FC\n", 2,
            "a line of an S-record file begins with S0 to S3 or S5 to S9");
        row("S104000041BA\nS5030002FA\nS9030000FC\n", 2,
            "the file counts 2 data records, but has 1");
        row("S104000041BA\nS90400000041BA\n", 2,
            "the line does not have the length that it declares");
        row("S104000041BA\nS904000041BA\n", 2, "a record S9 has no data");
        row("S307FFFFFFFF4142 79\n", 1, "' ' is not a hexadecimal digit");
        row("S307FFFFFFFF414279\nS70500000000FA\n", 1,
            "the data ends after the address 0xffffffff");
    }

    void refuses()
    {
        QFETCH(QByteArray, text);
        const HexText read = parseHexText(text);
        QTEST(read.error, "error");
        QTEST(read.line, "line");
        QVERIFY(read.segments.isEmpty());
    }

    void fillsGaps()
    {
        const HexText read = parseHexText(":0100100041AE\n:0100130043A9\n:00000001FF\n");
        QCOMPARE(read.baseAddress(), quint32(0x10));
        QCOMPARE(read.imageSize(), qint64(4));
        QCOMPARE(read.image(char(0xff)), QByteArray("A\xff\xff"
                                                    "C"));
    }

    void agreesWithOtherPrograms_data()
    {
        const tests::DataTable<int, qint64> row("size", "base");
        row("objcopy -I binary -O ihex bin text", 70'000, 0);
        row("objcopy -I binary -O ihex --change-addresses 0x08004000 bin text", 70'000,
            0x0800'4000);
        row("objcopy -I binary -O srec bin text", 300, 0);
        row("objcopy -I binary -O srec --srec-forceS3 --change-addresses 0x08004000 bin text",
            70'000, 0x0800'4000);
        row("srec_cat bin -binary -o text -intel", 70'000, 0);
        row("srec_cat bin -binary -offset 0x3000 -o text -intel -address-length=3", 70'000, 0x3000);
        row("srec_cat bin -binary -offset 0x3000 -o text -motorola -address-length=3", 70'000,
            0x3000);
        row("srec_cat bin -binary -offset 0xfffffe00 -o text -motorola -line-length=200", 512,
            0xffff'fe00);
    }

    void agreesWithOtherPrograms()
    {
        QFETCH(int, size);
        QFETCH(qint64, base);
        const Fwm fwm;
        const QString command = QTest::currentDataTag();
        const QString program = command.section(' ', 0, 0);
        if (fwm.shell("command -v " + program).status != 0)
            QSKIP(qPrintable(program + QStringLiteral(" is not installed")));
        const QByteArray image = randomBytes(size, unsigned(size));
        fwm.write("bin", image);
        QCOMPARE(fwm.shell(command).status, 0);
        const HexText read = parseHexText(fwm.read("text"));
        QCOMPARE(read.error, QString());
        QCOMPARE(qint64(read.baseAddress()), base);
        QCOMPARE(read.segments.size(), 1);
        QCOMPARE(read.image(char(0xff)), image);
    }

    void refusesEachCutAndEachChangedDigit()
    {
        const QByteArray texts[] = {":020000040800F2\n:0400100041424344E2\n:00000001FF\n",
                                    "S1070010414243 44DE\nS5030001FB\nS9030000FC\n"};
        for (QByteArray text : texts) {
            text.replace(" ", "");
            QCOMPARE(parseHexText(text).error, QString());
            for (int i = 0; i < text.size(); ++i) {
                if (text.at(i) == '\n') {
                    const QByteArray cut = text.left(i - 1);
                    QVERIFY2(!parseHexText(cut).error.isEmpty(), cut.constData());
                    continue;
                }
                QByteArray changed = text;
                changed[i] = text.at(i) == '7' ? '6' : '7';
                QVERIFY2(!parseHexText(changed).error.isEmpty(), changed.constData());
            }
        }
    }
};

AGENT_TEST(TestHexText)

} // namespace tst_hex_text

#include "tst_hex_text.moc"
