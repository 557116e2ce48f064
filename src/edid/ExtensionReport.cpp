// SPDX-License-Identifier: Apache-2.0
#include "edid/ExtensionReport.h"

#include "edid/EdidTables.h"
#include "edid/EdidTexts.h"

using protocol::filled;

namespace edid {
namespace {

constexpr int lpcmFormat = 1;

QString line(const QString &content)
{
    return filled(text::plainLine, content);
}

QString shortVideoText(const ShortVideo &video)
{
    return QString(videoName(video.vic)) + (video.native ? text::native : "");
}

const char *supportText(bool supported)
{
    return supported ? text::support : text::notSupport;
}

/** One line for every set bit of `bits` that has a name. */
template<typename Names>
void printBits(std::uint8_t bits, const Names &names, QStringList &lines)
{
    for (std::size_t bit = 0; bit < names.size(); ++bit) {
        if (((bits >> bit) & 1) != 0)
            lines += line(QString(names[bit]));
    }
}

void printTimings(const std::vector<Timing> &timings, QStringList &lines)
{
    int number = 0;
    for (const Timing &timing : timings)
        lines += filled(text::extensionTiming, QString::number(++number), timingText(timing));
}

void printShortVideo(const std::vector<ShortVideo> &formats, QStringList &lines)
{
    lines += QString(text::shortVideoHeading);
    for (const ShortVideo &format : formats)
        lines += line(shortVideoText(format));
}

QString formatName(const ShortAudio &audio)
{
    return audioFormatNames[std::size_t(audio.format)];
}

void printAudio(const ShortAudio &audio, QStringList &lines)
{
    lines += filled(text::audioFormat, formatName(audio));
    lines += filled(text::audioChannels, QString::number(audio.channels));
    lines += QString(text::sampleFrequency);
    printBits(audio.rates, sampleRateNames, lines);
    if (audio.format == lpcmFormat)
        printBits(audio.depths, lpcmDepthNames, lines);
}

void printSupport(const Extension &extension, QStringList &lines)
{
    if (extension.basicAudio || extension.ycbcr444 || extension.ycbcr422)
        lines += QString(text::deviceSupport);
    if (extension.basicAudio)
        lines += QString(text::basicAudio);
    if (extension.ycbcr444)
        lines += QString(text::ycbcr444);
    lines += QString(text::nativeTimings).arg(extension.nativeCount);
}

void printHdmi(const HdmiBlock &hdmi, QStringList &lines)
{
    const QString depths = QString(hdmi.deepColor48 ? text::deepColor48 : "") +
                           (hdmi.deepColor36 ? text::deepColor36 : "") +
                           (hdmi.deepColor30 ? text::deepColor30 : "");
    lines += QString(text::deepColor);
    if (!depths.isEmpty())
        lines += line(depths);
    lines += QString(text::deepColorY444).arg(supportText(hdmi.deepColorY444));
    lines += QString(text::video3d).arg(supportText(hdmi.video3d));
    lines += QString(text::extendedResolution);
    for (const int vic : hdmi.vics) {
        if (vic >= 1 && vic <= int(hdmiVicNames.size()))
            lines += line(QString(hdmiVicNames[std::size_t(vic) - 1]));
    }
}

void printY420(const Y420Block &block, QStringList &lines)
{
    const bool isMap = block.kind == Y420Block::Kind::CapabilityMap;
    lines += QString(isMap ? text::y420CapabilityMap : text::y420Video);
    if (block.everyShortVideo)
        lines += QString(text::everyShortVideo);
    for (const ShortVideo &format : block.formats)
        lines += line(shortVideoText(format));
}

} // namespace

void addExtension(const Extension &extension, Report &report)
{
    for (const Timing &timing : extension.timings)
        (report.timings += timingText(timing)) += QLatin1String(text::fieldEnd);
    for (const ShortVideo &format : extension.shortVideo) {
        report.timings += QLatin1String(videoName(format.vic));
        report.timings += QLatin1String(format.native ? text::native : "");
        report.timings += QLatin1String(text::fieldEnd);
    }
    for (const ShortAudio &audio : extension.audio) {
        report.extension +=
            filled(text::audioEntry, formatName(audio), QString::number(audio.channels));
        report.extension += QLatin1String(text::fieldEnd);
    }
}

void printExtension(const Extension &extension, QStringList &lines)
{
    printTimings(extension.timings, lines);
    printShortVideo(extension.shortVideo, lines);
    for (const ShortAudio &audio : extension.audio)
        printAudio(audio, lines);
    printSupport(extension, lines);
    if (extension.hdmi)
        printHdmi(*extension.hdmi, lines);
    for (const Y420Block &block : extension.y420)
        printY420(block, lines);
    lines += QString(extension.hdrStaticMetadata ? text::hdrSupport : text::hdrNotSupport);
}

} // namespace edid
