// SPDX-License-Identifier: Apache-2.0
#include "edid/TestDumps.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_base_block {

namespace {

QStringList linesOf(const DumpBuilder &builder)
{
    return withoutEnds(outcomeOf(builder.bytes()).lines);
}

QStringList itemsOf(const DumpBuilder &builder)
{
    return outcomeOf(builder.bytes()).items;
}

/** The lines of an analog display without a single descriptor. */
const QStringList bareLines{"Manufacture's Name:DEL", "Product Code:0",
                            "Video Signal Interface:Analog"};

QByteArray name(const QByteArray &text)
{
    return "000000fc00" + text.toHex();
}

} // namespace

class TestBaseBlock : public QObject
{
    Q_OBJECT

private slots:
    void headerError()
    {
        for (int offset = 0; offset < 8; ++offset) {
            QByteArray bytes = realDump("v4l-samsung-q800t-hdmi2.1");
            bytes[offset] = 0x55;
            const Outcome outcome = outcomeOf(bytes);
            QCOMPARE(outcome.items, (QStringList{"EDID data header error !", "", "", "", ""}));
            QCOMPARE(outcome.lines, QStringList());
        }
    }

    void statuses_data()
    {
        const tests::DataTable<int, bool, bool, QString> rows("extensions", "bank0", "bank1",
                                                              "status");
        rows("hdmi, both right", 1, true, true, "HDMI EDID\rcheck sum Ok !");
        rows("hdmi, bank 0 wrong", 1, false, true,
             "HDMI EDID\rBank0 check sum error !\rBank1 check sum Ok !");
        rows("hdmi, bank 1 wrong", 1, true, false, "HDMI EDID\rBank1 check sum error !");
        rows("hdmi, both wrong", 1, false, false,
             "HDMI EDID\rBank0 check sum error !\rBank1 check sum error !");
        rows("more extensions", 255, true, true, "HDMI EDID\rcheck sum Ok !");
        rows("dvi, right", 0, true, true, "DVI EDID");
        rows("dvi, wrong", 0, false, true, "DVI EDID\rCheck sum error !");
        rows("dvi, bank 1 is not looked at", 0, true, false, "DVI EDID");
    }

    void statuses()
    {
        QFETCH(int, extensions);
        QFETCH(bool, bank0);
        QFETCH(bool, bank1);
        QFETCH(QString, status);
        QByteArray bytes = DumpBuilder().set(126, QByteArray(1, char(extensions)).toHex()).bytes();
        bytes[127] = char(bytes.at(127) + (bank0 ? 0 : 1));
        bytes[255] = char(bytes.at(255) + (bank1 ? 0 : 1));

        const Outcome outcome = outcomeOf(bytes);
        QCOMPARE(outcome.status, status);
        QCOMPARE(outcome.dump, QString::fromLatin1(bytes.toHex(' ').toUpper() + ' '));
        // A wrong checksum stops nothing.
        QCOMPARE(outcome.items, (QStringList{"DEL,,DVI,", "0x0@0Hz,", ""}));
        QCOMPARE(withoutEnds(outcome.lines), bareLines);
    }

    void manufacturers_data()
    {
        const tests::DataTable<QByteArray, QString> rows("code", "letters");
        rows("DEL", "10ac", "DEL");
        rows("the top bit does not count", "90ac", "DEL");
        rows("zero is not a letter", "0000", "@@@");
        rows("above Z", "7fff", "___");
        rows("27 to 29", "6f9d", "[\\]");
    }

    void manufacturers()
    {
        QFETCH(QByteArray, code);
        QFETCH(QString, letters);
        const DumpBuilder builder = DumpBuilder().set(8, code);
        QCOMPARE(itemsOf(builder)[0], letters + ",,DVI,");
        QCOMPARE(linesOf(builder)[0], "Manufacture's Name:" + letters);
    }

    void productNames_data()
    {
        const tests::DataTable<QByteArray, QString> rows("text", "shown");
        rows("line feed", "HX-8\n        ", "HX-8");
        rows("blanks before the line feed", "HX-8  \n      ", "HX-8");
        rows("blanks to the end", "HX-8         ", "HX-8");
        rows("blanks before the name", "   HX-8\n     ", "HX-8");
        rows("blanks inside stay", " HX  8 \n     ", "HX  8");
        rows("only blanks are trimmed", "\tHX-8\r\n      ", "\tHX-8\r");
        rows("nul", QByteArray("HX-8\0abcdefgh", 13), "HX-8");
        rows("all thirteen", "ABCDEFGHIJKLM", "ABCDEFGHIJKLM");
        rows("not the byte after them", "ABCDEFGHIJKLMN", "ABCDEFGHIJKLM");
        rows("blanks alone", "             ", "");
        rows("empty", "\n            ", "");
        rows("Latin-1", QByteArray("\xc4rger\xff\n     "), QString::fromUtf8("Ärgerÿ"));
        rows("a comma and a per cent sign", "A,%1\n        ", "A,%1");
    }

    void productNames()
    {
        QFETCH(QByteArray, text);
        QFETCH(QString, shown);
        // Right before the second descriptor, so that a fourteenth character would be read from it.
        const DumpBuilder builder = DumpBuilder().set(54, name(text));
        QCOMPARE(itemsOf(builder)[0], "DEL," + shown + ",DVI,");
        QStringList lines = bareLines;
        lines.insert(1, "Display Product Name:" + shown);
        QCOMPARE(linesOf(builder), lines);
    }

    void productNameIsTheFirst()
    {
        for (const int offset : {54, 72, 90, 108})
            QCOMPARE(itemsOf(DumpBuilder().set(offset, name("FIRST\n")))[0], "DEL,FIRST,DVI,");
        const DumpBuilder two = DumpBuilder().set(72, name("FIRST\n")).set(108, name("SECOND\n"));
        QCOMPARE(itemsOf(two)[0], "DEL,FIRST,DVI,");
        QCOMPARE(linesOf(two).filter("Display Product Name:").size(), 1);

        // A descriptor whose third byte is not 0, or one in the extension, is not a name.
        const DumpBuilder none =
            DumpBuilder().set(54, "000001fc00414243").set(128 + 54, name("EXTENSION\n"));
        QCOMPARE(itemsOf(none)[0], "DEL,,DVI,");
    }

    void preferredTimings_data()
    {
        const tests::DataTable<QByteArray, QString> rows("descriptor", "timing");
        rows("progressive", fullHdTiming(), "1920x1080@60Hz,");
        rows("interlaced, 540 lines", interlacedTiming(), "1920x1080i@60Hz,");
        rows("empty", {}, "0x0@0Hz,");
        rows("no timing", name("ABCDEFGHIJKLM"), "0x1089@0Hz,");
        rows("no width in all", "023a000000382d40", "0x1080@0Hz,");
        rows("no lines in all", "023a801871000000", "1920x0@0Hz,");
        // 65535 x 10 kHz over one pixel.
        rows("largest rate", "ffff010000010000", "1x1@655350016Hz,");
        rows("largest size", "fffffffffffffffffffffffffffffffffffe", "4095x8190i@10Hz,");
        // 1200 kHz over 200 x 100 is 60, over 200 x 99 is 60.6, over 200 x 101 is 59.4.
        rows("60.0", "78006464003232000000", "100x50@60Hz,");
        rows("60.6", "78006464003231000000", "100x50@61Hz,");
        rows("59.4", "78006464003233000000", "100x50@59Hz,");
    }

    void preferredTimings()
    {
        QFETCH(QByteArray, descriptor);
        QFETCH(QString, timing);
        QCOMPARE(itemsOf(DumpBuilder().set(54, descriptor))[1], timing);
    }

    void clockNeedsBothBytes()
    {
        for (const int offset : {72, 90, 108}) {
            const DumpBuilder timing = DumpBuilder().set(offset, fullHdTiming());
            for (const char *clock : {"0074", "ff00", "0000"})
                QCOMPARE(linesOf(DumpBuilder(timing).set(offset, clock)), bareLines);
            QCOMPARE(linesOf(DumpBuilder(timing).set(offset, "0101")),
                     QStringList("Detailed Timing:1920x1080@1Hz") + bareLines);
        }
    }

    void inputs_data()
    {
        const tests::DataTable<QByteArray, QStringList> rows("input", "kindAndDepth");
        rows("analog", "00", {"Analog"});
        rows("analog has no depth", "7f", {"Analog"});
        rows("undefined", "8f", {"Digtal"});
        rows("6", "90", {"Digtal", "Color Bit Depth:6Bit"});
        rows("8", "a0", {"Digtal", "Color Bit Depth:8Bit"});
        rows("10", "b5", {"Digtal", "Color Bit Depth:10Bit"});
        rows("12", "c0", {"Digtal", "Color Bit Depth:12Bit"});
        rows("14", "d0", {"Digtal", "Color Bit Depth:14Bit"});
        rows("16", "e0", {"Digtal", "Color Bit Depth:16Bit"});
        rows("reserved", "f0", {"Digtal", "Color Bit Depth:Reserved"});
    }

    void inputs()
    {
        QFETCH(QByteArray, input);
        QFETCH(QStringList, kindAndDepth);
        kindAndDepth.first().prepend("Video Signal Interface:");
        for (const char *version : {"0103", "0104"})
            QCOMPARE(linesOf(DumpBuilder().set(18, version).set(20, input)),
                     bareLines.mid(0, 2) + kindAndDepth);
    }

    void rangeLimits()
    {
        // The offsets of byte 4 would add 255 to every rate. Only the first descriptor counts.
        QCOMPARE(linesOf(DumpBuilder()
                             .set(90, "000000fd0f18780ff077000a202020202020")
                             .set(108, "000000fd000102030405")),
                 bareLines +
                     QStringList({"Vertical Rate:24Hz--120Hz", "Horizontal Rate:15KHz--240KHz",
                                  "Maximum Pixel Clock:1190MHz"}));
    }

    void orderOfTheLines()
    {
        DumpBuilder builder;
        builder.set(10, "34f2").set(20, "a0").set(54, fullHdTiming()).set(72, interlacedTiming());
        builder.set(90, "000000fd00187810f077000a202020202020").set(108, name("HX-8\n        "));
        QCOMPARE(itemsOf(builder)[1], "1920x1080@60Hz,");
        QCOMPARE(linesOf(builder),
                 (QStringList{"Detailed Timing:1920x1080i@60Hz", "Manufacture's Name:DEL",
                              "Display Product Name:HX-8", "Product Code:62004",
                              "Video Signal Interface:Digtal", "Color Bit Depth:8Bit",
                              "Vertical Rate:24Hz--120Hz", "Horizontal Rate:16KHz--240KHz",
                              "Maximum Pixel Clock:1190MHz"}));
    }
};

AGENT_TEST(TestBaseBlock)

} // namespace tst_base_block

#include "tst_base_block.moc"
