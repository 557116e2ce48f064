// SPDX-License-Identifier: Apache-2.0
#include "edid/ExtensionReport.h"

#include "edid/EdidTables.h"
#include "edid/EdidTexts.h"

namespace edid {
namespace {

constexpr int lpcmFormat = 1;

QString line(const QString &content)
{
    return QString(text::plainLine).arg(content);
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
void printBits(std::uint8_t bits, const Names &names, Report &report)
{
    for (std::size_t bit = 0; bit < names.size(); ++bit) {
        if (((bits >> bit) & 1) != 0)
            report.lines += line(QString(names[bit]));
    }
}

void printTimings(const std::vector<Timing> &timings, Report &report)
{
    int number = 0;
    for (const Timing &timing : timings) {
        const QString content = timingText(timing);
        report.timings += content + text::fieldEnd;
        report.lines += QString(text::extensionTiming).arg(++number).arg(content);
    }
}

void printShortVideo(const std::vector<ShortVideo> &formats, Report &report)
{
    report.lines += QString(text::shortVideoHeading);
    for (const ShortVideo &format : formats) {
        const QString content = shortVideoText(format);
        report.timings += content + text::fieldEnd;
        report.lines += line(content);
    }
}

void printAudio(const ShortAudio &audio, Report &report)
{
    const QString format = QString(audioFormatNames[std::size_t(audio.format)]);
    report.extension += QString(text::audioEntry).arg(format).arg(audio.channels) + text::fieldEnd;
    report.lines += QString(text::audioFormat).arg(format);
    report.lines += QString(text::audioChannels).arg(audio.channels);
    report.lines += QString(text::sampleFrequency);
    printBits(audio.rates, sampleRateNames, report);
    if (audio.format == lpcmFormat)
        printBits(audio.depths, lpcmDepthNames, report);
}

void printSupport(const Extension &extension, Report &report)
{
    if (extension.basicAudio || extension.ycbcr444 || extension.ycbcr422)
        report.lines += QString(text::deviceSupport);
    if (extension.basicAudio)
        report.lines += QString(text::basicAudio);
    if (extension.ycbcr444)
        report.lines += QString(text::ycbcr444);
    report.lines += QString(text::nativeTimings).arg(extension.nativeCount);
}

void printHdmi(const HdmiBlock &hdmi, Report &report)
{
    const QString depths = QString(hdmi.deepColor48 ? text::deepColor48 : "") +
                           (hdmi.deepColor36 ? text::deepColor36 : "") +
                           (hdmi.deepColor30 ? text::deepColor30 : "");
    report.lines += QString(text::deepColor);
    if (!depths.isEmpty())
        report.lines += line(depths);
    report.lines += QString(text::deepColorY444).arg(supportText(hdmi.deepColorY444));
    report.lines += QString(text::video3d).arg(supportText(hdmi.video3d));
    report.lines += QString(text::extendedResolution);
    for (const int vic : hdmi.vics) {
        if (vic >= 1 && vic <= int(hdmiVicNames.size()))
            report.lines += line(QString(hdmiVicNames[std::size_t(vic) - 1]));
    }
}

void printY420(const Y420Block &block, Report &report)
{
    const bool isMap = block.kind == Y420Block::Kind::CapabilityMap;
    report.lines += QString(isMap ? text::y420CapabilityMap : text::y420Video);
    if (block.everyShortVideo)
        report.lines += QString(text::everyShortVideo);
    for (const ShortVideo &format : block.formats)
        report.lines += line(shortVideoText(format));
}

} // namespace

void printExtension(const Extension &extension, Report &report)
{
    printTimings(extension.timings, report);
    printShortVideo(extension.shortVideo, report);
    for (const ShortAudio &audio : extension.audio)
        printAudio(audio, report);
    printSupport(extension, report);
    if (extension.hdmi)
        printHdmi(*extension.hdmi, report);
    for (const Y420Block &block : extension.y420)
        printY420(block, report);
    report.lines += QString(extension.hdrStaticMetadata ? text::hdrSupport : text::hdrNotSupport);
}

} // namespace edid
