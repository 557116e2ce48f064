// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>

/** All parts of the report of a dump. */
struct DumpReport
{
    QString status;
    QString dump;
    QString identification;
    QString timings;
    QString extension;
    /** Each with its "\r\n". */
    QStringList lines;
};

/** Makes the report of 256 bytes with the code of the agent. */
DumpReport reportDump(const QByteArray &bytes);

/**
 * The report for a terminal: the fields, a blank line, the lines. Line ends are plain line feeds,
 * and characters of a display's name that are not printable show as their codes.
 */
QString reportText(const DumpReport &report);

/** The report as members of a JSON document, every text exactly as the agent has it. */
QJsonObject reportJson(const DumpReport &report);
