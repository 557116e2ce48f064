// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidTables.h"
#include "edid/VideoFormatStyle.h"
#include "support/TestCase.h"
#include "tools/common/ForkedProcess.h"

#include <QtTest>

namespace tst_tables {

namespace {

QMap<int, QString> listedNames()
{
    ForkedProcess decoder;
    decoder.start("edid-decode", {"--list-vics"});
    decoder.waitForFinished();
    QMap<int, QString> names;
    auto matches =
        ListedFormat::pattern().globalMatch(QString::fromLatin1(decoder.readAllStandardOutput()));
    while (matches.hasNext()) {
        const ListedFormat format = ListedFormat::fromMatch(matches.next());
        names.insert(format.vic, format.name());
    }
    return names;
}

QString row(int vic)
{
    return QString::fromLatin1(edid::VideoSDStr.at(std::size_t(vic) - 1));
}

} // namespace

class TestTables : public QObject
{
    Q_OBJECT

private slots:
    void videoFormatsAgreeWithEdidDecode()
    {
        QMap<int, QString> names = listedNames();
        QCOMPARE(names.size(), 127 + 27);
        // The two rows that deliberately differ from the standard.
        QCOMPARE(names.value(47), QString("1280x720p@120Hz  16:9"));
        QCOMPARE(names.value(55), QString("720(1440)x576i@200Hz  16:9"));
        names[47] = "1280x720@120Hz  16:9";
        names[55] = "720(1440)x576i@200Hz  16:3";

        QCOMPARE(int(edid::VideoSDStr.size()), 219);
        for (int vic = 1; vic <= edid::lastVic; ++vic)
            QCOMPARE(qMakePair(vic, row(vic)), qMakePair(vic, names.value(vic, "")));
    }

    void rowsThatDeviceUsersKnow_data()
    {
        const tests::DataTable<int, QString> rows("vic", "text");
        rows("1", 1, "640x480p@60Hz  4:3");
        rows("6", 6, "720(1440)x480i@60Hz  4:3");
        rows("8", 8, "720(1440)x240p@60Hz  4:3");
        rows("10", 10, "2880x480i@60Hz  4:3");
        rows("14", 14, "1440x480p@60Hz  4:3");
        rows("16", 16, "1920x1080p@60Hz  16:9");
        rows("39", 39, "1920x1080i(1250 total)@50Hz  16:9");
        rows("47", 47, "1280x720@120Hz  16:9");
        rows("54", 54, "720(1440)x576i@200Hz  4:3");
        rows("55", 55, "720(1440)x576i@200Hz  16:3");
        rows("97", 97, "3840x2160p@60Hz  16:9");
        rows("102", 102, "4096x2160p@60Hz  256:135");
        rows("128", 128, "");
        rows("192", 192, "");
        rows("209", 209, "7680x4320p@120Hz  64:27");
        rows("219", 219, "4096x2160p@120Hz  256:135");
    }

    void rowsThatDeviceUsersKnow()
    {
        QFETCH(int, vic);
        QFETCH(QString, text);
        QCOMPARE(row(vic), text);
        QCOMPARE(QString(edid::videoName(vic)), text);
    }

    void namesOutsideTheTable()
    {
        for (const int vic : {-1, 0, 220, 255, 100000})
            QCOMPARE(QString(edid::videoName(vic)), QString());
    }

    void otherTables()
    {
        const auto joined = [](const auto &names) {
            QStringList list;
            for (const char *name : names)
                list.append(name);
            return list.join('|');
        };
        QCOMPARE(
            joined(edid::audioFormatNames),
            QString("Refer to Stream Header.|LPCM.|AC-3.|MPEG1.|MP3(Layer3).|MPEG2.|AAC.|DTS.|"
                    "ATRAC.|OneBitAudio.|Dolby D+.|DTS-HD.|MAT(MLP).|DST.|WMA Pro.|Reserved."));
        QCOMPARE(joined(edid::sampleRateNames),
                 QString("32KHz|44.1KHz|48KHz|88KHz|96KHz|176KHz|192KHz"));
        QCOMPARE(joined(edid::lpcmDepthNames), QString("16Bit|20Bit|24Bit"));
        QCOMPARE(joined(edid::colorDepthNames),
                 QString("|6Bit|8Bit|10Bit|12Bit|14Bit|16Bit|Reserved"));
        QCOMPARE(joined(edid::hdmiVicNames),
                 QString("4Kx2K@30Hz|4Kx2K@25Hz|4Kx2K@24Hz|4Kx2K@24Hz(SMPTE)"));
    }
};

AGENT_TEST(TestTables)

} // namespace tst_tables

#include "tst_tables.moc"
