// SPDX-License-Identifier: Apache-2.0
#include "edid/ParseEDID.h"

#include "edid/EdidDecoder.h"
#include "edid/EdidReport.h"
#include "platform/Log.h"

#include <utility>

namespace {

edid::ByteView view(const unsigned char *bytes)
{
    return {bytes, bytes != nullptr ? edid::dumpSize : 0};
}

} // namespace

ParseEDID::ParseEDID(QObject *parent) : QObject(parent) {}

void ParseEDID::setLineSink(LineSink sink)
{
    m_lineSink = std::move(sink);
}

void ParseEDID::parse(const unsigned char *bytes)
{
    if (validate(bytes))
        report(m_bytes);
    else
        emit signalEDID(allItems());
}

void ParseEDID::report(const unsigned char *bytes)
{
    fillReport(bytes);
    emit signalEDID(reportItems());
}

void ParseEDID::parseAutoTiming(const unsigned char *bytes)
{
    if (validate(bytes))
        reportAutoTiming(m_bytes);
    else
        emit signalEDIDAutoTiming(allItems());
}

void ParseEDID::reportAutoTiming(const unsigned char *bytes)
{
    fillReport(bytes);
    emit signalEDIDAutoTiming(reportItems());
}

bool ParseEDID::validate(const unsigned char *bytes)
{
    m_bytes = bytes;
    m_dump.clear();
    m_identification.clear();
    m_timings.clear();
    m_extension.clear();

    const edid::Facts facts = edid::decode(view(bytes));
    m_status = edid::statusText(facts);
    if (facts.valid.header)
        m_dump = edid::hexDump(view(bytes));
    qCDebug(logEdid) << "EDID status:" << m_status;
    return facts.valid.header;
}

void ParseEDID::fillReport(const unsigned char *bytes)
{
    const edid::Report report = edid::writeReport(edid::decode(view(bytes)));
    m_identification = report.identification;
    m_timings = report.timings;
    m_extension = report.extension;
    for (const QString &line : report.lines)
        writeLine(line);
}

void ParseEDID::writeLine(const QString &line)
{
    cVideoInfo = line.toLatin1();
    qCDebug(logEdid) << "EDID line:" << line;
    if (m_lineSink)
        m_lineSink(line);
}

QList<QString> ParseEDID::allItems() const
{
    return {m_status, m_dump, m_identification, m_timings, m_extension};
}

QList<QString> ParseEDID::reportItems() const
{
    return {m_identification, m_timings, m_extension};
}
