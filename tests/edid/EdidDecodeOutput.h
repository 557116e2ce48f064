// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/VideoFormatStyle.h"
#include "tools/common/ForkedProcess.h"

#include <QMap>
#include <QStringList>

#include <algorithm>
#include <cmath>

/**
 * The output of Debian's edid-decode for a dump, and the report for these facts, made without the
 * code under test.
 */
class EdidDecodeOutput
{
public:
    struct Y420
    {
        QString heading;
        QList<ListedFormat> formats;
    };

    /** Minimum and maximum Hz, minimum and maximum kHz, maximum MHz. */
    QStringList rangeLimits;
    QStringList ctaTimings;
    QList<Y420> y420;
    /** Descriptors that have the native bit without being native. */
    int extraNative = 0;

    /** Runs edid-decode on a file. */
    explicit EdidDecodeOutput(const QString &path)
    {
        ForkedProcess decoder;
        decoder.start("edid-decode", {"--skip-hex-dump", path});
        decoder.waitForFinished();
        const QString text = QString::fromLatin1(decoder.readAllStandardOutput());
        const QStringList blocks = text.split(QRegularExpression("^(?=Block )", multiline));
        for (const QString &block : blocks) {
            if (block.startsWith("Block 0,"))
                m_base = block;
            // A line with less indentation begins a section.
            else if (block.startsWith("Block 1, CTA-861"))
                m_sections = block.split(QRegularExpression("\n  (?=\\S)"));
            if (block.contains("Checksum: "))
                m_sumsValid.append(!block.contains("should be"));
        }
        rangeLimits =
            QRegularExpression(R"((\d+)-(\d+) Hz V, (\d+)-(\d+) kHz H, max dotclock (\d+) MHz)")
                .match(m_base)
                .capturedTexts()
                .mid(1);
        ctaTimings = timingsIn(m_sections.join('\n'));
        for (const QString &section :
             m_sections.filter(QRegularExpression("^YCbCr 4:2:0 (Cap|Vi)")))
            y420.append({section.contains("Capability Map") ? "\r\nY420CMDB Descripter :"
                                                            : "\r\nY420VDB Descripter :",
                         ListedFormat::allIn(section)});
    }

    QString manufacturer() const { return captured(m_base, "Manufacturer: (.*)"); }
    QString productName() const { return captured(m_base, "Display Product Name: '(.*)'"); }

    QString status() const
    {
        const bool baseValid = m_sumsValid.value(0);
        if (!m_base.contains("Extension blocks: "))
            return baseValid ? "DVI EDID" : "DVI EDID\rCheck sum error !";
        const QString bothValid = baseValid ? "\rcheck sum Ok !" : "\rBank1 check sum Ok !";
        return QString("HDMI EDID") + (baseValid ? "" : "\rBank0 check sum error !") +
               (m_sumsValid.value(1) ? bothValid : "\rBank1 check sum error !");
    }

    /** Identification, timings and extension. */
    QStringList items() const
    {
        QStringList timings{timingsIn(m_base).value(0)};
        timings += ctaTimings + shortVideo();
        QString extension;
        for (const QString &entry : audio())
            extension += audioName(entry) + ' ' + audioChannels(entry) + "CH,";
        return {manufacturer() + ',' + productName() + (hdmi().isEmpty() ? ",DVI," : ",HDMI,"),
                timings.join(',') + ',', extension};
    }

    QStringList lines() const
    {
        QStringList lines = baseLines();
        if (!m_sections.isEmpty()) {
            lines += videoLines() + audioLines() + supportLines() + hdmiLines();
            for (const Y420 &block : y420) {
                lines += block.heading;
                for (const ListedFormat &format : block.formats)
                    lines += format.name();
            }
            lines +=
                QString("\r\nHDR :") +
                (section("HDR Static Metadata Data Block:").isEmpty() ? "Not support" : "Support");
        }
        for (QString &line : lines)
            line += "\r\n";
        return lines;
    }

private:
    static constexpr auto multiline = QRegularExpression::MultilineOption;

    static QString captured(const QString &text, const char *pattern)
    {
        return QRegularExpression(pattern).match(text).captured(1);
    }

    /** "DTD 1:  1920x1080i  60.000000 Hz ..." as "1920x1080i@60Hz". */
    static QStringList timingsIn(const QString &text)
    {
        QStringList timings;
        auto matches = QRegularExpression(R"(^ *DTD +\d+: +(\d+x\d+i?) +([\d.]+) Hz)", multiline)
                           .globalMatch(text);
        while (matches.hasNext()) {
            const auto match = matches.next();
            timings += match.captured(1) + '@' +
                       QString::number(std::lround(match.captured(2).toDouble())) + "Hz";
        }
        return timings;
    }

    /** The first section whose title begins so. */
    QString section(const QString &title) const
    {
        const auto found =
            std::find_if(m_sections.begin(), m_sections.end(),
                         [&](const QString &section) { return section.startsWith(title); });
        return found != m_sections.end() ? *found : QString();
    }

    QString hdmi() const { return section("Vendor-Specific Data Block (HDMI),"); }

    QStringList shortVideo() const
    {
        QStringList texts;
        for (const ListedFormat &format : ListedFormat::allIn(section("Video Data Block:")))
            texts += format.name() + (format.native ? " Native" : "");
        return texts;
    }

    /** The part of each audio format. */
    QStringList audio() const
    {
        return section("Audio Data Block:").split(QRegularExpression("\n    (?=\\S)")).mid(1);
    }

    static QString audioName(const QString &entry)
    {
        static const QMap<QString, QString> names{
            {"Linear PCM:", "LPCM."},
            {"AC-3:", "AC-3."},
            {"MPEG 1 (Layers 1 & 2):", "MPEG1."},
            {"MPEG 1 Layer 3 (MP3):", "MP3(Layer3)."},
            {"MPEG2 (multichannel):", "MPEG2."},
            {"AAC LC:", "AAC."},
            {"DTS:", "DTS."},
            {"Enhanced AC-3 (DD+):", "Dolby D+."},
            {"DTS-HD:", "DTS-HD."},
            {"MAT (MLP):", "MAT(MLP)."},
            // All zeros; no details follow.
            {"Reserved (0x00)", "Refer to Stream Header."},
            // Formats of the extended list, all with code 15.
            {"AC-4:", "Reserved."},
        };
        const QString format = entry.section('\n', 0, 0);
        return names.value(format, format);
    }

    static QString audioChannels(const QString &entry)
    {
        return entry.contains("Max channels: ") ? captured(entry, "Max channels: (\\d+)") : "1";
    }

    QStringList baseLines() const
    {
        QStringList lines;
        for (const QString &timing : timingsIn(m_base).mid(1))
            lines += "Detailed Timing:" + timing;
        lines += "Manufacture's Name:" + manufacturer();
        if (!productName().isEmpty())
            lines += "Display Product Name:" + productName();
        lines += "Product Code:" + captured(m_base, "Model: (\\d+)");
        const bool isDigital = m_base.contains("Digital display\n");
        lines += QString("Video Signal Interface:") + (isDigital ? "Digtal" : "Analog");
        const QString bits = captured(m_base, "Bits per primary color channel: (\\d+)");
        if (!bits.isEmpty())
            lines += "Color Bit Depth:" + bits + "Bit";
        if (rangeLimits.size() == 5) {
            lines += "Vertical Rate:" + rangeLimits[0] + "Hz--" + rangeLimits[1] + "Hz";
            lines += "Horizontal Rate:" + rangeLimits[2] + "KHz--" + rangeLimits[3] + "KHz";
            lines += "Maximum Pixel Clock:" + rangeLimits[4] + "MHz";
        }
        return lines;
    }

    QStringList videoLines() const
    {
        QStringList lines;
        for (int i = 0; i < ctaTimings.size(); ++i)
            lines += QString("Extension Detailed Timing%1:").arg(i + 1) + ctaTimings[i];
        return lines + QStringList("Short Video Descripter:") + shortVideo();
    }

    QStringList audioLines() const
    {
        const auto lowestFirst = [](const QString &numbers) {
            QStringList list = numbers.split(' ', Qt::SkipEmptyParts);
            std::reverse(list.begin(), list.end());
            return list;
        };
        QStringList lines;
        for (const QString &entry : audio()) {
            lines += "Audio Format:" + audioName(entry);
            lines += "Audio Channel(s):" + audioChannels(entry);
            lines += "Sample Frequency:";
            for (const QString &rate : lowestFirst(captured(entry, "rates \\(kHz\\): (.*)")))
                lines += (rate == "44.1" ? rate : rate.section('.', 0, 0)) + "KHz";
            for (const QString &size : lowestFirst(captured(entry, "sizes \\(bits\\): (.*)")))
                lines += size + "Bit";
        }
        return lines;
    }

    QStringList supportLines() const
    {
        QStringList lines;
        if (m_sections.contains("Basic audio support"))
            lines += "Base Audio";
        if (m_sections.contains("Supports YCbCr 4:4:4"))
            lines += "YCbCr4:4:4";
        if (!lines.isEmpty() || m_sections.contains("Supports YCbCr 4:2:2"))
            lines.prepend("Extension Device Support:");
        const int natives = shortVideo().filter(" Native").size();
        return lines + QStringList(QString("Native Timings:%1").arg(extraNative + natives));
    }

    QStringList hdmiLines() const
    {
        if (hdmi().isEmpty())
            return {};
        static const QStringList vicNames{"", "4Kx2K@30Hz", "4Kx2K@25Hz", "4Kx2K@24Hz",
                                          "4Kx2K@24Hz(SMPTE)"};
        QString depths;
        QStringList resolutions;
        for (const QString &line : hdmi().split('\n')) {
            const QString bits = captured(line, "^ *DC_(\\d+)bit");
            const QString vic = captured(line, "^ *HDMI VIC (\\d+):");
            depths += bits.isEmpty() ? "" : bits + "Bit ";
            if (!vic.isEmpty())
                resolutions += vicNames.value(vic.toInt());
        }
        const auto support = [this](const char *feature) {
            return hdmi().contains(feature) ? "support" : "not support";
        };
        return QStringList("Deep Color:") +
               (depths.isEmpty() ? QStringList() : QStringList(depths)) +
               QStringList{QString("YCbCr444 DeepColor:") + support("DC_Y444"),
                           QString("3D video:") + support("3D present"),
                           "Extended Resolution(4Kx2K):"} +
               resolutions;
    }

    QString m_base;
    /** Of the CTA-861 extension. */
    QStringList m_sections;
    /** Of the base block and the extension. */
    QList<bool> m_sumsValid;
};
