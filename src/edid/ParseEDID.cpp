// SPDX-License-Identifier: Apache-2.0
#include "edid/ParseEDID.h"

#include "edid/EdidDecoder.h"
#include "edid/EdidReport.h"
#include "platform/Log.h"

#include <utility>

using platform::logEdid;

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
    if (!validate(bytes)) {
        emit signalEDID(allItems());
        return;
    }
    fillReport(m_facts);
    emit signalEDID(reportItems());
}

void ParseEDID::report(const unsigned char *bytes)
{
    fillReport(edid::decode(view(bytes)));
    emit signalEDID(reportItems());
}

void ParseEDID::parseAutoTiming(const unsigned char *bytes)
{
    if (!validate(bytes)) {
        emit signalEDIDAutoTiming(allItems());
        return;
    }
    fillReport(m_facts);
    emit signalEDIDAutoTiming(reportItems());
}

void ParseEDID::reportAutoTiming(const unsigned char *bytes)
{
    fillReport(edid::decode(view(bytes)));
    emit signalEDIDAutoTiming(reportItems());
}

bool ParseEDID::validate(const unsigned char *bytes)
{
    m_dump.clear();
    m_identification.clear();
    m_timings.clear();
    m_extension.clear();

    m_facts = edid::decode(view(bytes));
    m_status = edid::statusText(m_facts);
    if (m_facts.valid.header)
        m_dump = edid::hexDump(view(bytes));
    qCDebug(logEdid) << "EDID status:" << m_status;
    return m_facts.valid.header;
}

void ParseEDID::fillReport(const edid::Facts &facts)
{
    const edid::Report report = edid::writeReport(facts);
    m_identification = report.identification;
    m_timings = report.timings;
    m_extension = report.extension;
    writeLines(facts);
}

/** Creating the lines takes most of the time, so they are created only for a reader. */
void ParseEDID::writeLines(const edid::Facts &facts)
{
    m_unwritten.reset();
    if (!m_lineSink && !logEdid().isDebugEnabled()) {
        m_unwritten = facts;
        return;
    }
    const QStringList lines = edid::reportLines(facts);
    for (const QString &line : lines)
        writeLine(line);
}

QByteArray ParseEDID::videoInfo() const
{
    return m_unwritten ? edid::reportLines(*m_unwritten).constLast().toLatin1() : cVideoInfo;
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
