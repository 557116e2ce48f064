// SPDX-License-Identifier: Apache-2.0
#include "edid/ExtensionReport.h"

#include "edid/EdidTables.h"
#include "edid/EdidTexts.h"

namespace edid {
namespace {

constexpr int lpcmFormat = 1;

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

QString line(const QString &content)
{
    return latin1(text::plainLine).arg(content);
}

QString shortVideoText(const ShortVideo &video)
{
    return latin1(videoName(video.vic)) + (video.native ? text::native : "");
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
            report.lines += line(latin1(names[bit]));
    }
}

void printTimings(const std::vector<Timing> &timings, Report &report)
{
    int number = 0;
    for (const Timing &timing : timings) {
        const QString content = timingText(timing);
        report.timings += content + text::fieldEnd;
        report.lines += latin1(text::extensionTiming).arg(++number).arg(content);
    }
}

void printShortVideo(const std::vector<ShortVideo> &formats, Report &report)
{
    report.lines += latin1(text::shortVideoHeading);
    for (const ShortVideo &format : formats) {
        const QString content = shortVideoText(format);
        report.timings += content + text::fieldEnd;
        report.lines += line(content);
    }
}

void printAudio(const ShortAudio &audio, Report &report)
{
    const QString format = latin1(audioFormatNames[std::size_t(audio.format)]);
    report.extension += latin1(text::audioEntry).arg(format).arg(audio.channels) + text::fieldEnd;
    report.lines += latin1(text::audioFormat).arg(format);
    report.lines += latin1(text::audioChannels).arg(audio.channels);
    report.lines += latin1(text::sampleFrequency);
    printBits(audio.rates, sampleRateNames, report);
    if (audio.format == lpcmFormat)
        printBits(audio.depths, lpcmDepthNames, report);
}

void printSupport(const Extension &extension, Report &report)
{
    if (extension.basicAudio || extension.ycbcr444 || extension.ycbcr422)
        report.lines += latin1(text::deviceSupport);
    if (extension.basicAudio)
        report.lines += latin1(text::basicAudio);
    if (extension.ycbcr444)
        report.lines += latin1(text::ycbcr444);
    report.lines += latin1(text::nativeTimings).arg(extension.nativeCount);
}

void printHdmi(const HdmiBlock &hdmi, Report &report)
{
    const QString depths = latin1(hdmi.deepColor48 ? text::deepColor48 : "") +
                           (hdmi.deepColor36 ? text::deepColor36 : "") +
                           (hdmi.deepColor30 ? text::deepColor30 : "");
    report.lines += latin1(text::deepColor);
    if (!depths.isEmpty())
        report.lines += line(depths);
    report.lines += latin1(text::deepColorY444).arg(supportText(hdmi.deepColorY444));
    report.lines += latin1(text::video3d).arg(supportText(hdmi.video3d));
    report.lines += latin1(text::extendedResolution);
    for (const int vic : hdmi.vics) {
        if (vic >= 1 && vic <= int(hdmiVicNames.size()))
            report.lines += line(latin1(hdmiVicNames[std::size_t(vic) - 1]));
    }
}

void printY420(const Y420Block &block, Report &report)
{
    const bool isMap = block.kind == Y420Block::Kind::CapabilityMap;
    report.lines += latin1(isMap ? text::y420CapabilityMap : text::y420Video);
    if (block.everyShortVideo)
        report.lines += latin1(text::everyShortVideo);
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
    report.lines += latin1(extension.hdrStaticMetadata ? text::hdrSupport : text::hdrNotSupport);
}

} // namespace edid
