// SPDX-License-Identifier: Apache-2.0
#include "edid/TestDumps.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_extension {

namespace {

const QString heading = "Short Video Descripter:";
const QString noHdr = "\r\nHDR :Not support";
const QString preferred = "0x0@0Hz,";
const QString fullHd = "1920x1080p@60Hz  16:9";
const QString hd = "1280x720p@60Hz  16:9";

DumpBuilder dump(const QByteArray &blocks = {}, const QByteArray &support = "00")
{
    return DumpBuilder().extension(blocks, support);
}

QString native(int count)
{
    return QString("Native Timings:%1").arg(count);
}

/** The lines that the extension adds to those of the base block, without their ends. */
QStringList linesOf(const DumpBuilder &builder)
{
    const QStringList lines = withoutEnds(outcomeOf(builder.bytes()).lines);
    return lines.mid(lines.indexOf("Video Signal Interface:Analog") + 1);
}

/** The lines of an extension without short codes whose blocks print these after the native count.
 */
QStringList afterCount(const QStringList &lines)
{
    return QStringList{heading, native(0)} + lines + QStringList{noHdr};
}

QStringList hdmi(const QString &depths, bool y444, bool video3d, const QStringList &resolutions)
{
    const auto support = [](bool yes) { return yes ? "support" : "not support"; };
    QStringList lines{"Deep Color:"};
    if (!depths.isEmpty())
        lines += depths;
    lines += QString("YCbCr444 DeepColor:") + support(y444);
    lines += QString("3D video:") + support(video3d);
    lines += "Extended Resolution(4Kx2K):";
    return lines + resolutions;
}

} // namespace

class TestExtension : public QObject
{
    Q_OBJECT

private slots:
    void readOnlyWhenDeclared()
    {
        const DumpBuilder declared = dump("65030c001000411023090707");
        const QStringList items{"DEL,,HDMI,", preferred + fullHd + ',', "LPCM. 2CH,"};
        QCOMPARE(outcomeOf(declared.bytes()).items, items);
        const QStringList status{"DVI EDID", "HDMI EDID\rcheck sum Ok !"};
        const DumpBuilder others[]{DumpBuilder(declared).set(126, "00"),
                                   DumpBuilder(declared).set(128, "70")};
        for (int isOtherKind : {0, 1}) {
            const Outcome outcome = outcomeOf(others[isOtherKind].bytes());
            QCOMPARE(outcome.items, (QStringList{"DEL,,DVI,", preferred, ""}));
            QCOMPARE(linesOf(others[isOtherKind]), QStringList());
            // What kind of extension it is does not touch the status.
            QCOMPARE(outcome.status, status[isOtherKind]);
        }
    }

    void timings_data()
    {
        const tests::DataTable<DumpBuilder, QString> rows("dump", "timings");
        rows("none", dump(), "");
        rows("two", dump().set(132, interlacedTiming() + fullHdTiming()),
             "1920x1080i@60Hz,1920x1080@60Hz,");
        rows("before the short codes", dump("429004").set(128 + 7, interlacedTiming()),
             "1920x1080i@60Hz,1920x1080p@60Hz  16:9 Native,1280x720p@60Hz  16:9,");
        const auto slot = [](int start, int offset) {
            return dump().set(128 + offset, fullHdTiming()).timingsStart(start);
        };
        const QString one = "1920x1080@60Hz,";
        rows("d 0", slot(0, 4), "");
        rows("d 3", slot(3, 3), "");
        rows("d 4", slot(4, 4), one);
        rows("second slot", slot(5, 23), one);
        rows("ends right before the checksum", slot(109, 109), one);
        rows("would take in the checksum", slot(110, 110), "");
        rows("d 255", slot(255, 109), "");
        rows("low byte of the clock zero", slot(4, 4).set(132, "0074"), "1920x1080@120Hz,");
        rows("high byte of the clock zero", slot(4, 4).set(132, "ff00"), "1920x1080@1Hz,");
        // The last block extends to the checksum and beyond, which are not data.
        DumpBuilder full = dump().timingsStart(255);
        for (int offset = 4; offset < 124; offset += 4)
            full.set(128 + offset, "03000000");
        rows("codes up to the checksum", full.set(128 + 124, "5f1004"), fullHd + ',' + hd + ',');
    }

    void timings()
    {
        QFETCH(DumpBuilder, dump);
        QFETCH(QString, timings);
        QCOMPARE(outcomeOf(dump.bytes()).items,
                 (QStringList{"DEL,,DVI,", preferred + timings, ""}));
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
        const DumpBuilder one = dump("41" + QByteArray(1, char(code)).toHex());
        QStringList lines{heading, native(code >= 128 ? 1 : 0), noHdr};
        if (!text.isEmpty())
            lines.insert(1, text);
        QCOMPARE(linesOf(one), lines);
        QCOMPARE(outcomeOf(one.bytes()).items[1], preferred + (text.isEmpty() ? text : text + ','));
    }

    void audioFormats()
    {
        const QStringList names =
            QString(
                "Refer to Stream Header.|LPCM.|AC-3.|MPEG1.|MP3(Layer3).|MPEG2.|AAC.|DTS.|ATRAC."
                "|OneBitAudio.|Dolby D+.|DTS-HD.|MAT(MLP).|DST.|WMA Pro.|Reserved.")
                .split('|');
        for (int code = 0; code < names.size(); ++code) {
            const int channels = code % 8 + 1;
            // The top bit is reserved.
            const QByteArray first(1, char(0x80 | (code << 3) | (channels - 1)));
            const DumpBuilder one = dump("23" + first.toHex() + "0000");
            QCOMPARE(outcomeOf(one.bytes()).items[2],
                     QString("%1 %2CH,").arg(names[code]).arg(channels));
            QCOMPARE(linesOf(one).value(1), "Audio Format:" + names[code]);
        }
    }

    void audioBlocks_data()
    {
        const tests::DataTable<DumpBuilder, QString> rows("dump", "audio");
        rows("two formats", dump("26090507150700"), "LPCM. 2CH,AC-3. 6CH,");
        rows("no whole descriptor", dump("220907"), "");
        rows("one and two thirds", dump("250907071507"), "LPCM. 2CH,");
        rows("empty", dump("20"), "");
        rows("the first of two blocks", dump("411023090707 23150700"), "LPCM. 2CH,");
        rows("cut after a descriptor", dump("26090707150700").timingsStart(10), "LPCM. 2CH,");
        rows("cut after its header", dump("26090707150700").timingsStart(5), "");
    }

    void audioBlocks()
    {
        QFETCH(DumpBuilder, dump);
        QFETCH(QString, audio);
        QCOMPARE(outcomeOf(dump.bytes()).items[2], audio);
    }

    void dataBlocksEnd()
    {
        for (const int d : {0, 1, 2, 3, 4, 16, 17, 127, 128, 255}) {
            const bool isRead = d >= 16;
            // Where the timings start at the blocks' own place, these bytes are read as one.
            const QString timing = d == 4 ? "35x7@230Hz," : "";
            const QString video = isRead ? fullHd + " Native," : "";
            const QByteArray bytes = dump("4190 23090707 65030c001000").timingsStart(d).bytes();
            QCOMPARE(outcomeOf(bytes).items,
                     (QStringList{isRead ? "DEL,,HDMI," : "DEL,,DVI,", preferred + timing + video,
                                  isRead ? "LPCM. 2CH," : ""}));
        }
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
        const Outcome outcome = outcomeOf(dump(blocks).bytes());
        QCOMPARE(outcome.items[0], "DEL,," + kind + ',');
        QCOMPARE(linesOf(dump(blocks)).contains("Deep Color:"), kind == "HDMI");
        // The status depends only on the extension count.
        QCOMPARE(outcome.status, QString("HDMI EDID\rcheck sum Ok !"));
    }

    void lines_data()
    {
        const tests::DataTable<DumpBuilder, QStringList> rows("dump", "lines");
        const QString nativeFullHd = fullHd + " Native";
        rows("none", dump(), afterCount({}));
        rows("timings, empty slots between them",
             dump().set(132 + 18, fullHdTiming()).set(132 + 5 * 18, interlacedTiming()),
             QStringList{"Extension Detailed Timing1:1920x1080@60Hz",
                         "Extension Detailed Timing2:1920x1080i@60Hz"} +
                 afterCount({}));
        rows("first of two video blocks", dump("429004 42a0a1"),
             {heading, nativeFullHd, hd, native(1), noHdr});
        rows("first video block empty", dump("404110"), afterCount({}));
        // LPCM with two channels, AC-3 with six: the third byte of AC-3 is a bit rate.
        rows("audio", dump("26090507150700"),
             {heading, "Audio Format:LPCM.", "Audio Channel(s):2", "Sample Frequency:", "32KHz",
              "48KHz", "16Bit", "20Bit", "24Bit", "Audio Format:AC-3.", "Audio Channel(s):6",
              "Sample Frequency:", "32KHz", "44.1KHz", "48KHz", native(0), noHdr});
        rows("all rates and sizes; the top bits are reserved", dump("2309ffff"),
             {heading, "Audio Format:LPCM.", "Audio Channel(s):2", "Sample Frequency:", "32KHz",
              "44.1KHz", "48KHz", "88KHz", "96KHz", "176KHz", "192KHz", "16Bit", "20Bit", "24Bit",
              native(0), noHdr});
        rows("no rate, one size", dump("23098002"),
             {heading, "Audio Format:LPCM.", "Audio Channel(s):2", "Sample Frequency:", "20Bit",
              native(0), noHdr});
        const QString device = "Extension Device Support:";
        rows("support of nothing", dump("", "8f"), afterCount({}));
        rows("4:2:2 has no line", dump("", "10"), {heading, device, native(0), noHdr});
        rows("4:4:4", dump("", "20"), {heading, device, "YCbCr4:4:4", native(0), noHdr});
        rows("basic audio", dump("", "40"), {heading, device, "Base Audio", native(0), noHdr});
        rows("all support", dump("", "70"),
             {heading, device, "Base Audio", "YCbCr4:4:4", native(0), noHdr});
        // Bit 7 counts by itself, also in codes that name no format or one that is never native.
        rows("native codes", dump("4690048180c1ff"),
             {heading, nativeFullHd, hd, "640x480p@60Hz  4:3 Native", "5120x2160p@120Hz  64:27",
              native(5), noHdr});
        rows("native code outside the blocks", dump("4190").timingsStart(4),
             QStringList("Extension Detailed Timing1:0x0@0Hz") + afterCount({}));
        rows("HDR static metadata", dump("e3060d01"), {heading, native(0), "\r\nHDR :Support"});
        rows("HDR tag alone", dump("e106"), {heading, native(0), "\r\nHDR :Support"});
        rows("HDR of length 0", dump("e006"), afterCount({}));
        rows("HDR dynamic metadata", dump("e3070d01"), afterCount({}));
        rows("HDR with another tag", dump("c3060d01"), afterCount({}));
        // The blocks stand in the reverse order of their lines.
        rows("order",
             dump("e3060d01 e10f 66030c00100010 23100000 4104", "40").set(132 + 19, fullHdTiming()),
             QStringList{"Extension Detailed Timing1:1920x1080@60Hz", heading, hd,
                         "Audio Format:AC-3.", "Audio Channel(s):1", "Sample Frequency:", device,
                         "Base Audio", native(0)} +
                 hdmi("30Bit ", false, false, {}) +
                 QStringList{"\r\nY420CMDB Descripter :", "All SVDs do support YUV420",
                             "\r\nHDR :Support"});
    }

    void lines()
    {
        QFETCH(DumpBuilder, dump);
        QFETCH(QStringList, lines);
        QCOMPARE(linesOf(dump), lines);
    }

    void hdmiBlocks_data()
    {
        const tests::DataTable<QByteArray, QStringList> rows("blocks", "lines");
        const QString k30 = "4Kx2K@30Hz";
        const QString k25 = "4Kx2K@25Hz";
        const QString k24 = "4Kx2K@24Hz";
        const QString cinema = "4Kx2K@24Hz(SMPTE)";
        const QStringList nothing = hdmi("", false, false, {});
        const auto vics = [](const QStringList &names) { return hdmi("", false, false, names); };
        const auto with3d = [](const QStringList &names) { return hdmi("", false, true, names); };
        rows("bare", "63030c00", nothing);
        rows("sixth byte absent", "65030c001000", nothing);
        rows("30", "66030c00100010", hdmi("30Bit ", false, false, {}));
        rows("all depths", "66030c00100078", hdmi("48Bit 36Bit 30Bit ", true, false, {}));
        rows("other bits", "66030c00100087", nothing);
        rows("the first of two", "66030c00100010 66030c00100078", hdmi("30Bit ", false, false, {}));
        rows("no video details", "6d030c0010000000008080010203", nothing);
        rows("3D, no VICs", "6a030c0010000000208000", with3d({}));
        rows("3D bit is the last byte", "69030c00100000002080", with3d({}));
        rows("details absent", "68030c001000000020", nothing);
        rows("four VICs", "6e030c001000000020008001020304", vics({k30, k25, k24, cinema}));
        rows("order of the display", "6e030c001000000020008004030201",
             vics({cinema, k24, k25, k30}));
        rows("other VICs", "6e030c0010000000200080000502ff", vics({k25}));
        rows("fewer VICs than bytes", "6e030c001000000020002001020304", vics({k30}));
        rows("more VICs than bytes", "6c030c00100000002000e00102 010f", vics({k30, k25}));
        rows("latencies skipped", "6e030c0010000000a0ffff80200304", with3d({k24}));
        rows("both latencies skipped", "70030c0010000000e0ffff000080400304", with3d({k24, cinema}));
        rows("interlaced latency alone", "6e030c001000000060ffff80200304", with3d({k24}));
    }

    void hdmiBlocks()
    {
        QFETCH(QByteArray, blocks);
        QFETCH(QStringList, lines);
        QCOMPARE(linesOf(dump(blocks)), afterCount(lines));
    }

    void y420_data()
    {
        const tests::DataTable<DumpBuilder, QStringList> rows("dump", "lines");
        const QString video = "\r\nY420VDB Descripter :";
        const QString map = "\r\nY420CMDB Descripter :";
        const QString all = "All SVDs do support YUV420";
        const QString uhd60 = "3840x2160p@60Hz  16:9";
        const QString uhd50 = "3840x2160p@50Hz  16:9";
        rows("video", dump("e30e6160"), {video, uhd60, uhd50});
        rows("video without codes", dump("e10e"), {video});
        rows("video codes as in the short list", dump("e70e0080dcff90db"),
             {video, fullHd + " Native", "4096x2160p@120Hz  256:135"});
        rows("map without a bitmap", dump("e10f"), {map, all});
        rows("map without a video block", dump("e20fff"), {map});
        // A map without its bitmap does not apply to every format.
        rows("map that is cut before its bitmap", dump("e20f"), {map});
        rows("two of each", dump("e20e61e10fe20e60e10f"),
             {video, uhd60, map, all, video, uhd50, map, all});
        rows("length 0", dump("e00f0000"), {});
        rows("other extended tags", dump("e20d61e30561e0"), {});
    }

    void y420()
    {
        QFETCH(DumpBuilder, dump);
        QFETCH(QStringList, lines);
        QCOMPARE(linesOf(dump), afterCount(lines));
    }

    void y420MapCountsOverAllVideoBlocks()
    {
        const auto mapped = [](const QByteArray &blocks) {
            const QStringList lines = linesOf(dump(blocks));
            return lines.mid(lines.indexOf("\r\nY420CMDB Descripter :") + 1);
        };
        // Numbers 0, 2, 7 and 8; the map precedes the blocks that it refers to.
        QCOMPARE(
            mapped("e30f8501 4490020304 45050607e110"),
            (QStringList{fullHd, "720x480p@60Hz  16:9", "3840x2160p@60Hz  16:9", fullHd, noHdr}));
        // Codes that name no format keep their number; bits beyond the list name nothing.
        QCOMPARE(mapped("e20fff 43008010"), (QStringList{fullHd, noHdr}));
    }
};

AGENT_TEST(TestExtension)

} // namespace tst_extension

#include "tst_extension.moc"
