// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidReport.h"

#include "edid/EdidTables.h"
#include "edid/EdidTexts.h"
#include "edid/ExtensionReport.h"

namespace edid {
namespace {

constexpr char hexDigits[] = "0123456789ABCDEF";

void printTimings(const Facts &facts, Report &report)
{
    report.timings += timingText(facts.preferred) + text::fieldEnd;
    for (const Timing &timing : facts.detailed)
        report.lines += QString(text::detailedTiming).arg(timingText(timing));
}

void printIdentification(const Facts &facts, Report &report)
{
    const QString manufacturer =
        QString::fromLatin1(facts.manufacturer.data(), int(facts.manufacturer.size()));
    const QString name =
        QString::fromLatin1(QByteArray::fromStdString(facts.productName.value_or(std::string())));
    const bool isHdmi = facts.extension && facts.extension->hdmi;

    report.lines += QString(text::manufacturer).arg(manufacturer);
    if (facts.productName)
        report.lines += QString(text::productName).arg(name);
    for (const QString &field : {manufacturer, name, QString(isHdmi ? text::hdmi : text::dvi)})
        report.identification += field + text::fieldEnd;
}

void printInput(const Facts &facts, Report &report)
{
    report.lines += QString(text::productCode).arg(facts.productCode);
    report.lines +=
        QString(text::videoSignal).arg(QString(facts.digital ? text::digital : text::analog));
    const QString depth = QString(colorDepthNames[std::size_t(facts.colorDepthCode)]);
    if (!depth.isEmpty())
        report.lines += QString(text::colorDepth).arg(depth);
}

void printRangeLimits(const RangeLimits &limits, Report &report)
{
    report.lines += QString(text::verticalRate).arg(limits.minVerticalHz).arg(limits.maxVerticalHz);
    report.lines +=
        QString(text::horizontalRate).arg(limits.minHorizontalKHz).arg(limits.maxHorizontalKHz);
    report.lines += QString(text::maximumPixelClock).arg(limits.maxPixelClockMHz);
}

} // namespace

QString timingText(const Timing &timing)
{
    return QString(timing.interlaced ? text::interlaced : text::progressive)
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
    if (!facts.valid.header)
        return text::headerError;
    if (facts.extensionCount == 0)
        return QString(text::dviStatus) + (facts.valid.baseSum ? "" : text::sumError);

    const char *const bank0 = facts.valid.baseSum ? "" : text::bank0Error;
    const char *const bothOk = facts.valid.baseSum ? text::sumOk : text::bank1Ok;
    const char *const bank1 = facts.valid.extensionSum ? bothOk : text::bank1Error;
    return QString(text::hdmiStatus) + bank0 + bank1;
}

QString hexDump(ByteView bytes)
{
    QString dump;
    dump.reserve(int(bytes.size()) * 3);
    for (const std::uint8_t byte : bytes) {
        dump += QLatin1Char(hexDigits[byte >> 4]);
        dump += QLatin1Char(hexDigits[byte & 0xF]);
        dump += QLatin1Char(' ');
    }
    return dump;
}

} // namespace edid
