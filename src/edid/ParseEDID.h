// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/EdidFacts.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

/**
 * Turns a dump of 256 bytes, an EDID base block and its first extension block, into a report.
 *
 * The report is emitted by signalEDID as three lists of fields that each end in ",":
 * identification, timings, extension. A dump without the EDID header gives five items instead: the
 * error and four empty strings. A wrong checksum only changes status().
 */
class ParseEDID : public QObject
{
    Q_OBJECT

public:
    /** Called with every human-readable line, with its "\r\n", in the order of the report. */
    using LineSink = std::function<void(const QString &line)>;

    explicit ParseEDID(QObject *parent = nullptr);

    void setLineSink(LineSink sink);

    /** Checks and reports 256 bytes, which must outlive the call; emits signalEDID once. */
    void parse(const unsigned char *bytes);
    /** The report without the check: emits signalEDID with its three items. */
    void report(const unsigned char *bytes);

    /** As parse() and report(), answered by signalEDIDAutoTiming. */
    void parseAutoTiming(const unsigned char *bytes);
    void reportAutoTiming(const unsigned char *bytes);

    /** Header error, or "HDMI EDID" / "DVI EDID" and the checksum verdicts, "\r" before each. */
    QString status() const { return m_status; }
    /** Every byte as two uppercase digits and a space. */
    QString dump() const { return m_dump; }
    QString identification() const { return m_identification; }
    QString timings() const { return m_timings; }
    QString extension() const { return m_extension; }
    /** The line written last, Latin-1. */
    QByteArray videoInfo() const;

signals:
    void signalEDID(QList<QString> result);
    void signalEDIDAutoTiming(QList<QString> result);

private:
    bool validate(const unsigned char *bytes);
    void fillReport(const edid::Facts &facts);
    void writeLines(const edid::Facts &facts);
    void writeLine(const QString &line);
    QList<QString> allItems() const;
    QList<QString> reportItems() const;

    /** Of the dump that was checked last. */
    edid::Facts m_facts;
    QString m_status;
    QString m_dump;
    QString m_identification;
    QString m_timings;
    QString m_extension;
    QByteArray cVideoInfo;
    /** What was reported last, when no line of it was written. */
    std::optional<edid::Facts> m_unwritten;
    LineSink m_lineSink;
};
