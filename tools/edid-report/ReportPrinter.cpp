// SPDX-License-Identifier: Apache-2.0
#include "ReportPrinter.h"

#include "common/Printable.h"
#include "edid/ParseEDID.h"

#include <QJsonArray>

namespace {

/** A carriage return precedes each verdict of a status. */
QString statusLine(const QString &status)
{
    return status.split('\r').join(QStringLiteral(", "));
}

} // namespace

DumpReport reportDump(const QByteArray &bytes)
{
    DumpReport report;
    ParseEDID edid;
    edid.setLineSink([&report](const QString &line) { report.lines.append(line); });
    edid.parse(reinterpret_cast<const unsigned char *>(bytes.constData()));
    report.status = edid.status();
    report.dump = edid.dump();
    report.identification = edid.identification();
    report.timings = edid.timings();
    report.extension = edid.extension();
    return report;
}

QString reportText(const DumpReport &report)
{
    QStringList text{
        "Status: " + statusLine(report.status),
        "Identification: " + printable(report.identification),
        "Timings: " + printable(report.timings),
        "Extension: " + printable(report.extension),
        QString(),
    };
    for (const QString &line : report.lines) {
        // A few lines have an empty one before them.
        const QStringList parts = line.left(line.size() - 2).split(QStringLiteral("\r\n"));
        for (const QString &part : parts)
            text += printable(part);
    }
    return text.join('\n') + '\n';
}

QJsonObject reportJson(const DumpReport &report)
{
    return {
        {"status", report.status},
        {"dump", report.dump},
        {"identification", report.identification},
        {"timings", report.timings},
        {"extension", report.extension},
        {"lines", QJsonArray::fromStringList(report.lines)},
    };
}
