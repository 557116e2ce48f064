// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidDecodeOutput.h"
#include "tools/common/ForkedProcess.h"

#include <QMap>

#include <algorithm>
#include <cmath>

namespace {

QString captured(const QString &line, const char *pattern, int group = 1)
{
    return QRegularExpression(pattern).match(line).captured(group);
}

/** "DTD 1:  1920x1080i  60.000000 Hz ..." as "1920x1080i@60Hz"; empty for any other line. */
QString timing(const QString &line)
{
    const auto match =
        QRegularExpression(R"(^    DTD +\d+: +(\d+x\d+i?) +([\d.]+) Hz)").match(line);
    if (!match.hasMatch())
        return {};
    return match.captured(1) + '@' + QString::number(std::lround(match.captured(2).toDouble())) +
           "Hz";
}

QString audioName(const QString &format)
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
    return names.value(format, format);
}

QStringList reversed(QStringList list)
{
    std::reverse(list.begin(), list.end());
    return list;
}

QString shortVideoText(const ListedFormat &format)
{
    return format.name() + (format.native ? " Native" : "");
}

} // namespace

EdidDecodeOutput EdidDecodeOutput::ofFile(const QString &path)
{
    ForkedProcess decoder;
    decoder.start("edid-decode", {"--skip-hex-dump", path});
    decoder.waitForFinished();
    const QString text = QString::fromLatin1(decoder.readAllStandardOutput());

    EdidDecodeOutput output;
    QString section;
    bool inBase = false;
    bool inCta = false;
    for (const QString &line : text.split('\n')) {
        if (line.startsWith("Block ")) {
            inBase = line.startsWith("Block 0,");
            inCta = line.startsWith("Block 1, CTA-861");
            output.hasCta |= inCta;
        }
        if (line.startsWith("Checksum: "))
            output.sumsValid.append(!line.contains("should be"));
        if (line.startsWith("  ") && line.at(2) != ' ')
            section = line.trimmed();
        if (inBase)
            output.readBaseLine(line);
        else if (inCta)
            output.readCtaLine(section, line);
    }
    return output;
}

void EdidDecodeOutput::readBaseLine(const QString &line)
{
    const QString content = line.trimmed();
    if (content.startsWith("Manufacturer: "))
        manufacturer = content.mid(14);
    else if (content.startsWith("Model: "))
        productCode = content.mid(7);
    else if (content.startsWith("Extension blocks: "))
        hasExtension = true;
    else if (content == "Digital display")
        digital = true;
    else if (content.startsWith("Bits per primary color channel: "))
        bitsPerColor = content.mid(32);
    else if (content.startsWith("Display Product Name: "))
        productName = captured(content, "'(.*)'");
    else if (content.startsWith("Monitor ranges "))
        rangeLimits =
            QRegularExpression(R"((\d+)-(\d+) Hz V, (\d+)-(\d+) kHz H, max dotclock (\d+) MHz)")
                .match(content)
                .capturedTexts()
                .mid(1);
    else if (!timing(line).isEmpty())
        baseTimings.append(timing(line));
}

void EdidDecodeOutput::readCtaLine(const QString &section, const QString &line)
{
    if (!line.startsWith("    ")) {
        readFlag(line.trimmed());
    } else if (!timing(line).isEmpty()) {
        ctaTimings.append(timing(line));
    } else if (section == "Audio Data Block:") {
        readAudio(line);
    } else if (section.startsWith("Vendor-Specific Data Block (HDMI),")) {
        readHdmi(line.trimmed());
    }
    const auto format = ListedFormat::pattern().match(line);
    if (format.hasMatch() && section == "Video Data Block:")
        videoBlocks.last().append(ListedFormat::fromMatch(format));
    if (format.hasMatch() && section.startsWith("YCbCr 4:2:0"))
        y420.last().formats.append(ListedFormat::fromMatch(format));
}

void EdidDecodeOutput::readFlag(const QString &line)
{
    if (line == "Video Data Block:")
        videoBlocks.append(QList<ListedFormat>());
    if (line == "Audio Data Block:")
        audioBlocks.append(QList<Audio>());
    basicAudio |= line == "Basic audio support";
    ycbcr444 |= line == "Supports YCbCr 4:4:4";
    ycbcr422 |= line == "Supports YCbCr 4:2:2";
    hasHdmi |= line.startsWith("Vendor-Specific Data Block (HDMI),");
    hdr |= line == "HDR Static Metadata Data Block:";
    if (line.startsWith("YCbCr 4:2:0"))
        y420.append(Y420{line.contains("Capability Map"), {}});
}

void EdidDecodeOutput::readAudio(const QString &line)
{
    const QString content = line.trimmed();
    QList<Audio> &audio = audioBlocks.last();
    if (!line.startsWith("     "))
        audio.append(Audio{audioName(content), "1", {}, {}});
    else if (content.startsWith("Max channels: "))
        audio.last().channels = content.mid(14);
    else if (content.startsWith("Supported sample rates (kHz): "))
        audio.last().rates = reversed(content.mid(30).split(' '));
    else if (content.startsWith("Supported sample sizes (bits): "))
        audio.last().sizes = reversed(content.mid(31).split(' '));
}

void EdidDecodeOutput::readHdmi(const QString &line)
{
    const QString bits = captured(line, "^DC_(\\d+)bit");
    const auto vic = QRegularExpression(R"(^HDMI VIC (\d+):)").match(line);
    if (!bits.isEmpty())
        hdmi.deepColor.append(bits);
    if (vic.hasMatch())
        hdmi.vics.append(vic.captured(1).toInt());
    hdmi.deepColorY444 |= line == "DC_Y444";
    hdmi.video3d |= line == "3D present";
}

QString EdidDecodeOutput::status() const
{
    const bool baseValid = sumsValid.value(0);
    if (!hasExtension)
        return baseValid ? "DVI EDID" : "DVI EDID\rCheck sum error !";
    if (!sumsValid.value(1))
        return QString("HDMI EDID") + (baseValid ? "" : "\rBank0 check sum error !") +
               "\rBank1 check sum error !";
    return baseValid ? "HDMI EDID\rcheck sum Ok !"
                     : "HDMI EDID\rBank0 check sum error !\rBank1 check sum Ok !";
}

QString EdidDecodeOutput::identification() const
{
    return manufacturer + ',' + productName + ',' + (hasHdmi ? "HDMI," : "DVI,");
}

QString EdidDecodeOutput::timings() const
{
    QStringList entries{baseTimings.value(0)};
    entries += ctaTimings;
    if (!videoBlocks.isEmpty()) {
        for (const ListedFormat &format : videoBlocks.first())
            entries += shortVideoText(format);
    }
    return entries.join(',') + ',';
}

QString EdidDecodeOutput::extension() const
{
    QString entries;
    for (const Audio &entry : audioBlocks.value(0))
        entries += entry.format + ' ' + entry.channels + "CH,";
    return entries;
}

QStringList EdidDecodeOutput::lines() const
{
    QStringList lines = baseLines();
    if (hasCta) {
        lines += shortVideoLines() + audioLines() + hdmiLines() + y420Lines();
        lines += QString("\r\nHDR :") + (hdr ? "Support" : "Not support");
    }
    for (QString &line : lines)
        line += "\r\n";
    return lines;
}

QStringList EdidDecodeOutput::baseLines() const
{
    QStringList lines;
    for (const QString &timing : baseTimings.mid(1))
        lines += "Detailed Timing:" + timing;
    lines += "Manufacture's Name:" + manufacturer;
    if (!productName.isEmpty())
        lines += "Display Product Name:" + productName;
    lines += "Product Code:" + productCode;
    lines += QString("Video Signal Interface:") + (digital ? "Digtal" : "Analog");
    if (!bitsPerColor.isEmpty())
        lines += "Color Bit Depth:" + bitsPerColor + "Bit";
    if (rangeLimits.size() == 5) {
        lines += "Vertical Rate:" + rangeLimits[0] + "Hz--" + rangeLimits[1] + "Hz";
        lines += "Horizontal Rate:" + rangeLimits[2] + "KHz--" + rangeLimits[3] + "KHz";
        lines += "Maximum Pixel Clock:" + rangeLimits[4] + "MHz";
    }
    return lines;
}

QStringList EdidDecodeOutput::shortVideoLines() const
{
    QStringList lines;
    for (int i = 0; i < ctaTimings.size(); ++i)
        lines += QString("Extension Detailed Timing%1:").arg(i + 1) + ctaTimings[i];
    lines += "Short Video Descripter:";
    for (const ListedFormat &format : videoBlocks.value(0))
        lines += shortVideoText(format);
    return lines;
}

QStringList EdidDecodeOutput::audioLines() const
{
    QStringList lines;
    for (const Audio &entry : audioBlocks.value(0)) {
        lines += "Audio Format:" + entry.format;
        lines += "Audio Channel(s):" + entry.channels;
        lines += "Sample Frequency:";
        for (const QString &rate : entry.rates)
            lines += (rate == "44.1" ? rate : rate.section('.', 0, 0)) + "KHz";
        for (const QString &size : entry.sizes)
            lines += size + "Bit";
    }
    if (basicAudio || ycbcr444 || ycbcr422)
        lines += "Extension Device Support:";
    if (basicAudio)
        lines += "Base Audio";
    if (ycbcr444)
        lines += "YCbCr4:4:4";
    const QList<ListedFormat> formats = videoBlocks.value(0);
    lines += QString("Native Timings:%1")
                 .arg(extraNative +
                      std::count_if(formats.begin(), formats.end(),
                                    [](const ListedFormat &format) { return format.native; }));
    return lines;
}

QStringList EdidDecodeOutput::hdmiLines() const
{
    if (!hasHdmi)
        return {};
    const auto support = [](bool supported) { return supported ? "support" : "not support"; };
    static const QStringList vicNames{"", "4Kx2K@30Hz", "4Kx2K@25Hz", "4Kx2K@24Hz",
                                      "4Kx2K@24Hz(SMPTE)"};
    QStringList lines{"Deep Color:"};
    if (!hdmi.deepColor.isEmpty())
        lines += hdmi.deepColor.join("Bit ") + "Bit ";
    lines += QString("YCbCr444 DeepColor:") + support(hdmi.deepColorY444);
    lines += QString("3D video:") + support(hdmi.video3d);
    lines += "Extended Resolution(4Kx2K):";
    for (const int vic : hdmi.vics)
        lines += vicNames.value(vic);
    return lines;
}

QStringList EdidDecodeOutput::y420Lines() const
{
    QStringList lines;
    for (const Y420 &block : y420) {
        lines += block.isMap ? "\r\nY420CMDB Descripter :" : "\r\nY420VDB Descripter :";
        for (const ListedFormat &format : block.formats)
            lines += format.name();
    }
    return lines;
}
