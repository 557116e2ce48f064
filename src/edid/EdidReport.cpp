// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidReport.h"

#include "edid/EdidTables.h"
#include "edid/EdidTexts.h"
#include "edid/ExtensionReport.h"

using protocol::filled;

namespace edid {
namespace {

constexpr char hexDigits[] = "0123456789ABCDEF";

QLatin1String manufacturerOf(const Facts &facts)
{
    return QLatin1String(facts.manufacturer.data(), int(facts.manufacturer.size()));
}

QLatin1String nameOf(const Facts &facts)
{
    if (!facts.productName)
        return {};
    return QLatin1String(facts.productName->data(), int(facts.productName->size()));
}

void printIdentification(const Facts &facts, QStringList &lines)
{
    lines += filled(text::manufacturer, QString(manufacturerOf(facts)));
    if (facts.productName)
        lines += filled(text::productName, QString(nameOf(facts)));
}

void printInput(const Facts &facts, QStringList &lines)
{
    lines += filled(text::productCode, QString::number(facts.productCode));
    lines += filled(text::videoSignal, QString(facts.digital ? text::digital : text::analog));
    const QString depth = QString(colorDepthNames[std::size_t(facts.colorDepthCode)]);
    if (!depth.isEmpty())
        lines += filled(text::colorDepth, depth);
}

void printRangeLimits(const RangeLimits &limits, QStringList &lines)
{
    lines += filled(text::verticalRate, QString::number(limits.minVerticalHz),
                    QString::number(limits.maxVerticalHz));
    lines += filled(text::horizontalRate, QString::number(limits.minHorizontalKHz),
                    QString::number(limits.maxHorizontalKHz));
    lines += filled(text::maximumPixelClock, QString::number(limits.maxPixelClockMHz));
}

} // namespace

QString timingText(const Timing &timing)
{
    return filled(timing.interlaced ? text::interlaced : text::progressive,
                  QString::number(timing.width), QString::number(timing.height),
                  QString::number(timing.refresh));
}

Report writeReport(const Facts &facts)
{
    const bool isHdmi = facts.extension && facts.extension->hdmi;
    Report report;
    report.timings = timingText(facts.preferred) + text::fieldEnd;
    for (const QLatin1String field :
         {manufacturerOf(facts), nameOf(facts), QLatin1String(isHdmi ? text::hdmi : text::dvi)})
        (report.identification += field) += QLatin1String(text::fieldEnd);
    if (facts.extension)
        addExtension(*facts.extension, report);
    return report;
}

QStringList reportLines(const Facts &facts)
{
    QStringList lines;
    for (const Timing &timing : facts.detailed)
        lines += filled(text::detailedTiming, timingText(timing));
    printIdentification(facts, lines);
    printInput(facts, lines);
    if (facts.rangeLimits)
        printRangeLimits(*facts.rangeLimits, lines);
    if (facts.extension)
        printExtension(*facts.extension, lines);
    return lines;
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
    QString dump(int(bytes.size()) * 3, Qt::Uninitialized);
    QChar *next = dump.data();
    for (const std::uint8_t byte : bytes) {
        *next++ = QLatin1Char(hexDigits[byte >> 4]);
        *next++ = QLatin1Char(hexDigits[byte & 0xF]);
        *next++ = QLatin1Char(' ');
    }
    return dump;
}

} // namespace edid
