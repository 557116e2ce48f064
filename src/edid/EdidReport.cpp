// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidReport.h"

#include "edid/EdidTables.h"
#include "edid/EdidTexts.h"
#include "edid/ExtensionReport.h"

namespace edid {
namespace {

QString latin1(const char *text)
{
    return QString::fromLatin1(text);
}

void printTimings(const Facts &facts, Report &report)
{
    report.timings += timingText(facts.preferred) + text::fieldEnd;
    for (const Timing &timing : facts.detailed)
        report.lines += latin1(text::detailedTiming).arg(timingText(timing));
}

void printIdentification(const Facts &facts, Report &report)
{
    const QString manufacturer =
        QString::fromLatin1(facts.manufacturer.data(), int(facts.manufacturer.size()));
    const QString name =
        QString::fromLatin1(QByteArray::fromStdString(facts.productName.value_or(std::string())));
    const bool isHdmi = facts.extension && facts.extension->hdmi;

    report.lines += latin1(text::manufacturer).arg(manufacturer);
    if (facts.productName)
        report.lines += latin1(text::productName).arg(name);
    for (const QString &field : {manufacturer, name, latin1(isHdmi ? text::hdmi : text::dvi)})
        report.identification += field + text::fieldEnd;
}

void printInput(const Facts &facts, Report &report)
{
    report.lines += latin1(text::productCode).arg(facts.productCode);
    report.lines +=
        latin1(text::videoSignal).arg(latin1(facts.digital ? text::digital : text::analog));
    const QString depth = latin1(colorDepthNames[std::size_t(facts.colorDepthCode)]);
    if (!depth.isEmpty())
        report.lines += latin1(text::colorDepth).arg(depth);
}

void printRangeLimits(const RangeLimits &limits, Report &report)
{
    report.lines += latin1(text::verticalRate).arg(limits.minVerticalHz).arg(limits.maxVerticalHz);
    report.lines +=
        latin1(text::horizontalRate).arg(limits.minHorizontalKHz).arg(limits.maxHorizontalKHz);
    report.lines += latin1(text::maximumPixelClock).arg(limits.maxPixelClockMHz);
}

} // namespace

QString timingText(const Timing &timing)
{
    return latin1(timing.interlaced ? text::interlaced : text::progressive)
        .arg(timing.width)
        .arg(timing.height)
        .arg(timing.refresh);
}

Report writeReport(const Facts &facts)
{
    Report report;
    printTimings(facts, report);
    printIdentification(facts, report);
    printInput(facts, report);
    if (facts.rangeLimits)
        printRangeLimits(*facts.rangeLimits, report);
    if (facts.extension)
        printExtension(*facts.extension, report);
    return report;
}

QString statusText(const Facts &facts)
{
    if (!facts.headerValid)
        return latin1(text::headerError);
    if (facts.extensionCount == 0)
        return latin1(text::dviStatus) + (facts.baseSumValid ? "" : text::sumError);

    const char *const bank0 = facts.baseSumValid ? "" : text::bank0Error;
    const char *const bothOk = facts.baseSumValid ? text::sumOk : text::bank1Ok;
    const char *const bank1 = facts.extensionSumValid ? bothOk : text::bank1Error;
    return latin1(text::hdmiStatus) + bank0 + bank1;
}

QString hexDump(ByteView bytes)
{
    QString dump;
    for (const std::uint8_t byte : bytes)
        dump += QStringLiteral("%1 ").arg(byte, 2, 16, QLatin1Char('0')).toUpper();
    return dump;
}

} // namespace edid
