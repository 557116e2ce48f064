// SPDX-License-Identifier: Apache-2.0
#include "edid/TestDumps.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_extension {

namespace {

const QString heading = "Short Video Descripter:\r\n";
const QString noHdr = "\r\nHDR :Not support\r\n";

QString native(int count)
{
    return QString("Native Timings:%1\r\n").arg(count);
}

/** The lines that the extension adds to those of the base block. */
QStringList linesOf(const DumpBuilder &builder)
{
    const QStringList lines = outcomeOf(builder.bytes()).lines;
    return lines.mid(lines.indexOf("Video Signal Interface:Analog\r\n") + 1);
}

QStringList linesOf(const QByteArray &blocks)
{
    return linesOf(DumpBuilder().extension(blocks));
}

QList<QString> itemsOf(const DumpBuilder &builder)
{
    return outcomeOf(builder.bytes()).emitted.value(0);
}

QList<QString> itemsOf(const QByteArray &blocks)
{
    return itemsOf(DumpBuilder().extension(blocks));
}

/** What a block of HDMI's, or one of the extended tags, adds between native count and HDR. */
QStringList middleLines(const QByteArray &blocks)
{
    const QStringList lines = linesOf(blocks);
    return lines.mid(2, lines.size() - 3);
}

QStringList hdmiLines(const QStringList &depths, const QString &y444, const QString &video3d,
                      const QStringList &resolutions)
{
    return QStringList("Deep Color:\r\n") + depths +
           QStringList{"YCbCr444 DeepColor:" + y444 + "\r\n", "3D video:" + video3d + "\r\n",
                       "Extended Resolution(4Kx2K):\r\n"} +
           resolutions;
}

} // namespace

class TestExtension : public QObject
{
    Q_OBJECT

private slots:
    void readOnlyWhenDeclared()
    {
        const QByteArray blocks = "65030c001000"
                                  "4110"
                                  "23090707";
        const QList<QString> base{"DEL,,DVI,", "0x0@0Hz,", ""};
        QVERIFY(itemsOf(blocks) != base);
        QCOMPARE(itemsOf(DumpBuilder().extension(blocks).set(126, "00")), base);
        QCOMPARE(itemsOf(DumpBuilder().extension(blocks).set(128, "70")), base);
        QCOMPARE(linesOf(DumpBuilder().extension(blocks).set(126, "00")), QStringList());
        QCOMPARE(linesOf(DumpBuilder().extension(blocks).set(128, "70")), QStringList());
        // What kind of extension it is does not touch the status.
        QCOMPARE(outcomeOf(DumpBuilder().extension(blocks).set(128, "70").bytes()).status,
                 QString("HDMI EDID\rcheck sum Ok !"));
    }

    void bareExtension()
    {
        QCOMPARE(itemsOf(QByteArray()), (QList<QString>{"DEL,,DVI,", "0x0@0Hz,", ""}));
        QCOMPARE(linesOf(QByteArray()), (QStringList{heading, native(0), noHdr}));
    }

    void timings()
    {
        DumpBuilder builder;
        builder.set(54, fullHdTiming()).extension().set(132, interlacedTiming() + fullHdTiming());
        QCOMPARE(itemsOf(builder)[1], QString("1920x1080@60Hz,1920x1080i@60Hz,1920x1080@60Hz,"));
        QCOMPARE(linesOf(builder), (QStringList{"Extension Detailed Timing1:1920x1080i@60Hz\r\n",
                                                "Extension Detailed Timing2:1920x1080@60Hz\r\n",
                                                heading, native(0), noHdr}));
    }

    void timingSlots_data()
    {
        const tests::DataTable<int, int, int> rows("d", "offset", "count");
        rows("d 0", 0, 4, 0);
        rows("d 3", 3, 3, 0);
        rows("d 4", 4, 4, 1);
        rows("second slot", 5, 23, 1);
        rows("ends right before the checksum", 109, 109, 1);
        rows("would take in the checksum", 110, 110, 0);
        rows("d 255", 255, 109, 0);
    }

    void timingSlots()
    {
        QFETCH(int, d);
        QFETCH(int, offset);
        QFETCH(int, count);
        DumpBuilder builder;
        builder.extension().set(128 + offset, fullHdTiming()).timingsStart(d);
        QCOMPARE(linesOf(builder).filter("Extension Detailed Timing").size(), count);
        QCOMPARE(itemsOf(builder)[1],
                 QString("0x0@0Hz,") + QString("1920x1080@60Hz,").repeated(count));
    }

    void emptySlotsAreSkipped()
    {
        DumpBuilder builder;
        builder.extension().set(132 + 18, fullHdTiming()).set(132 + 5 * 18, interlacedTiming());
        QCOMPARE(linesOf(builder).mid(0, 3),
                 (QStringList{"Extension Detailed Timing1:1920x1080@60Hz\r\n",
                              "Extension Detailed Timing2:1920x1080i@60Hz\r\n", heading}));
    }

    void timingClockMayHaveAZeroByte()
    {
        for (const char *clock : {"0074", "ff00"}) {
            DumpBuilder builder;
            builder.extension().set(132, fullHdTiming()).set(132, clock);
            QCOMPARE(linesOf(builder).filter("Extension Detailed Timing").size(), 1);
        }
    }

    void shortVideoCodes_data()
    {
        const tests::DataTable<int, QString> rows("code", "text");
        rows("0", 0, "");
        rows("1", 1, "640x480p@60Hz  4:3");
        rows("16", 16, "1920x1080p@60Hz  16:9");
        rows("127", 127, "5120x2160p@100Hz  64:27");
        rows("128", 128, "");
        rows("129", 129, "640x480p@60Hz  4:3 Native");
        rows("144", 144, "1920x1080p@60Hz  16:9 Native");
        rows("192", 192, "1920x1080p@100Hz  16:9 Native");
        rows("193", 193, "5120x2160p@120Hz  64:27");
        rows("219", 219, "4096x2160p@120Hz  256:135");
        rows("220", 220, "");
        rows("255", 255, "");
    }

    void shortVideoCodes()
    {
        QFETCH(int, code);
        QFETCH(QString, text);
        const QByteArray blocks = "41" + QByteArray(1, char(code)).toHex();
        QStringList lines{heading, native(code >= 128 ? 1 : 0), noHdr};
        if (!text.isEmpty())
            lines.insert(1, text + "\r\n");
        QCOMPARE(linesOf(blocks), lines);
        QCOMPARE(itemsOf(blocks)[1], "0x0@0Hz," + (text.isEmpty() ? text : text + ','));
    }

    void firstVideoBlock()
    {
        // Two video blocks after an audio block: the second is neither listed nor counted.
        QCOMPARE(
            linesOf("23090707"
                    "429004"
                    "42a0a1")
                .mid(0, 3),
            (QStringList{heading, "1920x1080p@60Hz  16:9 Native\r\n", "1280x720p@60Hz  16:9\r\n"}));
        QVERIFY(linesOf("23090707"
                        "429004"
                        "42a0a1")
                    .contains(native(1)));
        // An empty first one is the first one.
        QCOMPARE(linesOf("404110"), (QStringList{heading, native(0), noHdr}));
    }

    void orderOfTheTimingsField()
    {
        DumpBuilder builder;
        builder.set(54, fullHdTiming()).extension("429004").set(128 + 7, interlacedTiming());
        QCOMPARE(itemsOf(builder)[1],
                 QString("1920x1080@60Hz,1920x1080i@60Hz,"
                         "1920x1080p@60Hz  16:9 Native,1280x720p@60Hz  16:9,"));
    }

    void audio()
    {
        // LPCM with two channels, AC-3 with six: the third byte of AC-3 is a bit rate.
        const QByteArray blocks = "26090507150700";
        QCOMPARE(itemsOf(blocks)[2], QString("LPCM. 2CH,AC-3. 6CH,"));
        QCOMPARE(linesOf(blocks),
                 (QStringList{heading, "Audio Format:LPCM.\r\n", "Audio Channel(s):2\r\n",
                              "Sample Frequency:\r\n", "32KHz\r\n", "48KHz\r\n", "16Bit\r\n",
                              "20Bit\r\n", "24Bit\r\n", "Audio Format:AC-3.\r\n",
                              "Audio Channel(s):6\r\n", "Sample Frequency:\r\n", "32KHz\r\n",
                              "44.1KHz\r\n", "48KHz\r\n", native(0), noHdr}));
    }

    void audioRates()
    {
        // The top bits of both bytes are reserved.
        QCOMPARE(linesOf("2309ffff").mid(4, 10),
                 (QStringList{"32KHz\r\n", "44.1KHz\r\n", "48KHz\r\n", "88KHz\r\n", "96KHz\r\n",
                              "176KHz\r\n", "192KHz\r\n", "16Bit\r\n", "20Bit\r\n", "24Bit\r\n"}));
        QCOMPARE(linesOf("23098002").mid(3),
                 (QStringList{"Sample Frequency:\r\n", "20Bit\r\n", native(0), noHdr}));
    }

    void everyAudioFormat()
    {
        const QStringList names{"Refer to Stream Header.",
                                "LPCM.",
                                "AC-3.",
                                "MPEG1.",
                                "MP3(Layer3).",
                                "MPEG2.",
                                "AAC.",
                                "DTS.",
                                "ATRAC.",
                                "OneBitAudio.",
                                "Dolby D+.",
                                "DTS-HD.",
                                "MAT(MLP).",
                                "DST.",
                                "WMA Pro.",
                                "Reserved."};
        for (int code = 0; code < names.size(); ++code) {
            const int channels = code % 8 + 1;
            // The top bit is reserved.
            const QByteArray first(1, char(0x80 | (code << 3) | (channels - 1)));
            const QByteArray blocks = "23" + first.toHex() + "0000";
            QCOMPARE(itemsOf(blocks)[2], QString("%1 %2CH,").arg(names[code]).arg(channels));
            QCOMPARE(linesOf(blocks).value(1), "Audio Format:" + names[code] + "\r\n");
        }
    }

    void partialAudioIsDropped()
    {
        QCOMPARE(itemsOf("220907")[2], QString());
        QCOMPARE(itemsOf("250907071507")[2], QString("LPCM. 2CH,"));
        QCOMPARE(itemsOf("20")[2], QString());
    }

    void firstAudioBlock()
    {
        QCOMPARE(itemsOf("4110"
                         "23090707"
                         "23150700")[2],
                 QString("LPCM. 2CH,"));
    }

    void support_data()
    {
        const tests::DataTable<QByteArray, QStringList> rows("byte", "lines");
        const QString device = "Extension Device Support:\r\n";
        rows("nothing", "8f", {});
        rows("4:2:2 has no line", "10", QStringList{device});
        rows("4:4:4", "20", QStringList{device, "YCbCr4:4:4\r\n"});
        rows("audio", "40", QStringList{device, "Base Audio\r\n"});
        rows("all", "70", QStringList{device, "Base Audio\r\n", "YCbCr4:4:4\r\n"});
    }

    void support()
    {
        QFETCH(QByteArray, byte);
        QFETCH(QStringList, lines);
        QCOMPARE(linesOf(DumpBuilder().extension("", byte)),
                 QStringList(heading) + lines + QStringList({native(0), noHdr}));
    }

    void nativeCount()
    {
        // Bit 7 counts by itself, also in codes that name no format or one that is never native.
        QVERIFY(linesOf("4690048180c1ff").contains(native(5)));
        // Without data blocks there is nothing to count.
        QVERIFY(linesOf(DumpBuilder().extension("4190").timingsStart(4)).contains(native(0)));
    }

    void dataBlocksEnd_data()
    {
        const tests::DataTable<int, bool> rows("d", "isRead");
        for (const int d : {0, 1, 2, 3, 4})
            rows(qPrintable(QString("d %1").arg(d)), d, false);
        for (const int d : {16, 17, 127, 128, 255})
            rows(qPrintable(QString("d %1").arg(d)), d, true);
    }

    void dataBlocksEnd()
    {
        QFETCH(int, d);
        QFETCH(bool, isRead);
        DumpBuilder builder;
        builder.extension("4190"
                          "23090707"
                          "65030c001000");
        builder.timingsStart(d);
        const QList<QString> items = itemsOf(builder);
        QCOMPARE(items[0], QString(isRead ? "DEL,,HDMI," : "DEL,,DVI,"));
        QCOMPARE(items[2], QString(isRead ? "LPCM. 2CH," : ""));
        // Where the timings start at the blocks' own place, these bytes are read as one.
        const QString timing = d == 4 ? "35x7@230Hz," : "";
        const QString shortVideo = isRead ? "1920x1080p@60Hz  16:9 Native," : "";
        QCOMPARE(items[1], "0x0@0Hz," + timing + shortVideo);
    }

    void blocksAreClipped()
    {
        // d cuts a block in two: the first of its two descriptors is left.
        const QByteArray audio = "26090707150700";
        QCOMPARE(itemsOf(DumpBuilder().extension(audio).timingsStart(10))[2],
                 QString("LPCM. 2CH,"));
        QCOMPARE(itemsOf(DumpBuilder().extension(audio).timingsStart(5))[2], QString());
        // The last block extends to the checksum and beyond, which are not data.
        DumpBuilder atEnd;
        atEnd.extension().set(130, "ff");
        for (int offset = 4; offset < 124; offset += 4)
            atEnd.set(128 + offset, "03000000");
        atEnd.set(128 + 124, "5f1004");
        QCOMPARE(itemsOf(atEnd)[1], QString("0x0@0Hz,1920x1080p@60Hz  16:9,1280x720p@60Hz  16:9,"));
    }

    void hdmiIdentification_data()
    {
        const tests::DataTable<QByteArray, QString> rows("blocks", "kind");
        rows("alone", "63030c00", "HDMI");
        rows("after another vendor", "63d85dc463030c00", "HDMI");
        rows("another vendor", "67d85dc401788003", "DVI");
        rows("another tag", "83030c00", "DVI");
        rows("too short for an identifier", "62030c00", "DVI");
        rows("inside another block", "8463030c00", "DVI");
    }

    void hdmiIdentification()
    {
        QFETCH(QByteArray, blocks);
        QFETCH(QString, kind);
        QCOMPARE(itemsOf(blocks)[0], "DEL,," + kind + ',');
        QCOMPARE(linesOf(blocks).contains("Deep Color:\r\n"), kind == "HDMI");
        // The status depends only on the extension count.
        QCOMPARE(outcomeOf(DumpBuilder().extension(blocks).bytes()).status,
                 QString("HDMI EDID\rcheck sum Ok !"));
    }

    void hdmiBlocks_data()
    {
        const tests::DataTable<QByteArray, QStringList> rows("blocks", "lines");
        const QString yes = "support";
        const QString no = "not support";
        const QStringList all{"4Kx2K@30Hz\r\n", "4Kx2K@25Hz\r\n", "4Kx2K@24Hz\r\n",
                              "4Kx2K@24Hz(SMPTE)\r\n"};
        rows("bare", "63030c00", hdmiLines({}, no, no, {}));
        rows("sixth byte absent", "65030c001000", hdmiLines({}, no, no, {}));
        rows("30", "66030c00100010", hdmiLines({"30Bit \r\n"}, no, no, {}));
        rows("all depths", "66030c00100078", hdmiLines({"48Bit 36Bit 30Bit \r\n"}, yes, no, {}));
        rows("other bits", "66030c00100087", hdmiLines({}, no, no, {}));
        rows("no video details",
             QByteArray("6d030c001000000000"
                        "80800102"
                        "03"),
             hdmiLines({}, no, no, {}));
        rows("3D, no VICs",
             QByteArray("6a030c00100000002080"
                        "00"),
             hdmiLines({}, no, yes, {}));
        rows("3D bit is the last byte", "69030c00100000002080", hdmiLines({}, no, yes, {}));
        rows("details absent", "68030c001000000020", hdmiLines({}, no, no, {}));
        rows("four VICs", "6e030c001000000020008001020304", hdmiLines({}, no, no, all));
        rows("order of the display", "6e030c001000000020008004030201",
             hdmiLines({}, no, no, {all[3], all[2], all[1], all[0]}));
        rows("other VICs", "6e030c0010000000200080000502ff", hdmiLines({}, no, no, {all[1]}));
        rows("fewer VICs than bytes", "6e030c001000000020002001020304",
             hdmiLines({}, no, no, {all[0]}));
        rows("more VICs than bytes", QByteArray("6c030c00100000002000e00102") + "410f",
             hdmiLines({}, no, no, {all[0], all[1]}));
        rows("latencies skipped", "6e030c0010000000a0ffff80200304",
             hdmiLines({}, no, yes, {all[2]}));
        rows("both latencies skipped", "70030c0010000000e0ffff000080400304",
             hdmiLines({}, no, yes, {all[2], all[3]}));
        rows("interlaced latency alone", "6e030c001000000060ffff80200304",
             hdmiLines({}, no, yes, {all[2]}));
    }

    void hdmiBlocks()
    {
        QFETCH(QByteArray, blocks);
        QFETCH(QStringList, lines);
        QStringList middle = middleLines(blocks);
        // A row that ends with a video block has the line of that block first.
        if (blocks.endsWith("410f"))
            middle.removeFirst();
        QCOMPARE(middle, lines);
    }

    void firstHdmiBlock()
    {
        QCOMPARE(middleLines("66030c00100010"
                             "66030c00100078"),
                 hdmiLines({"30Bit \r\n"}, "not support", "not support", {}));
    }

    void y420_data()
    {
        const tests::DataTable<QByteArray, QStringList> rows("blocks", "lines");
        const QString video = "\r\nY420VDB Descripter :\r\n";
        const QString map = "\r\nY420CMDB Descripter :\r\n";
        const QString all = "All SVDs do support YUV420\r\n";
        const QString uhd60 = "3840x2160p@60Hz  16:9\r\n";
        const QString uhd50 = "3840x2160p@50Hz  16:9\r\n";

        rows("video", "e30e6160", QStringList{video, uhd60, uhd50});
        rows("video without codes", "e10e", QStringList{video});
        rows("video codes as in the short list", "e70e0080dcff90db",
             QStringList{video, "1920x1080p@60Hz  16:9 Native\r\n",
                         "4096x2160p@120Hz  256:135\r\n"});
        rows("map without a bitmap", "e10f", QStringList{map, all});
        rows("map without a video block", "e20fff", QStringList{map});
        rows("two of each", "e20e61e10fe20e60e10f",
             QStringList{video, uhd60, map, all, video, uhd50, map, all});
        rows("length 0", "e00f0000", {});
        rows("other extended tags", "e20d61e30561e0", {});
    }

    void y420()
    {
        QFETCH(QByteArray, blocks);
        QFETCH(QStringList, lines);
        QCOMPARE(middleLines(blocks), lines);
    }

    void y420MapCountsOverAllVideoBlocks()
    {
        const auto mapLines = [](const QByteArray &blocks) {
            const QStringList lines = linesOf(blocks);
            return lines.mid(lines.indexOf("\r\nY420CMDB Descripter :\r\n") + 1);
        };
        // Numbers 0, 2, 7 and 8; the map precedes the blocks that it refers to.
        const QByteArray map = "e30f8501";
        const QByteArray first = "4490020304";
        const QByteArray second = "45050607e110";
        QCOMPARE(mapLines(map + first + second),
                 (QStringList{"1920x1080p@60Hz  16:9\r\n", "720x480p@60Hz  16:9\r\n",
                              "3840x2160p@60Hz  16:9\r\n", "1920x1080p@60Hz  16:9\r\n", noHdr}));
        // Codes that name no format keep their number; bits beyond the list name nothing.
        QCOMPARE(mapLines("e20fff"
                          "43008010"),
                 (QStringList{"1920x1080p@60Hz  16:9\r\n", noHdr}));
        // A map without its bitmap does not apply to every format.
        QCOMPARE(mapLines(DumpBuilder()
                              .extension("4110e30fffff")
                              .timingsStart(8)
                              .bytes()
                              .mid(132, 4)
                              .toHex()),
                 (QStringList{noHdr}));
    }

    void hdr_data()
    {
        const tests::DataTable<QByteArray, bool> rows("blocks", "supported");
        rows("static metadata", "e3060d01", true);
        rows("tag alone", "e106", true);
        rows("length 0", "e006", false);
        rows("dynamic metadata", "e3070d01", false);
        rows("other tag", "c3060d01", false);
    }

    void hdr()
    {
        QFETCH(QByteArray, blocks);
        QFETCH(bool, supported);
        QCOMPARE(linesOf(blocks).last(), supported ? QString("\r\nHDR :Support\r\n") : noHdr);
    }

    void orderOfTheLines()
    {
        // The blocks stand in the reverse order of their lines.
        const QByteArray blocks = "e3060d01"
                                  "e10f"
                                  "66030c00100010"
                                  "23100000"
                                  "4104";
        DumpBuilder builder;
        builder.extension(blocks, "40").set(132 + blocks.size() / 2, fullHdTiming());
        QCOMPARE(linesOf(builder),
                 QStringList({"Extension Detailed Timing1:1920x1080@60Hz\r\n", heading,
                              "1280x720p@60Hz  16:9\r\n", "Audio Format:AC-3.\r\n",
                              "Audio Channel(s):1\r\n", "Sample Frequency:\r\n",
                              "Extension Device Support:\r\n", "Base Audio\r\n", native(0)}) +
                     hdmiLines({"30Bit \r\n"}, "not support", "not support", {}) +
                     QStringList({"\r\nY420CMDB Descripter :\r\n", "All SVDs do support YUV420\r\n",
                                  "\r\nHDR :Support\r\n"}));
    }
};

AGENT_TEST(TestExtension)

} // namespace tst_extension

#include "tst_extension.moc"
