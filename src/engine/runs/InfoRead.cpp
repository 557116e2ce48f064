// SPDX-License-Identifier: Apache-2.0
#include "engine/runs/InfoRead.h"

#include "engine/report/EngineOutput.h"
#include "engine/report/RunRows.h"
#include "planning/ProductReport.h"
#include "platform/Log.h"
#include "protocol/ProductRecord.h"
#include "protocol/WireText.h"

namespace field = package::field;
namespace productReport = planning::productReport;
using platform::logEngine;
using protocol::filled;
using protocol::ProductRecord;

namespace engine {

void InfoRead::begin()
{
    m_output.setReading(true);
    m_lines = QStringList{filled(text::infoHeading)};
    m_rows.reset({QStringLiteral("MAIN,0,0") + QLatin1String(field::nothingKnown)});
}

/** Only a read adds the other MCUs as rows: an upgrade works on the rows of its request. */
void InfoRead::takeMainRecord(const ProductRecord &record)
{
    const QStringList lines = productReport::recordLines(record);
    for (const QString &line : lines)
        qCDebug(logEngine).noquote() << line.trimmed();
    if (!m_output.isReading())
        return;
    m_lines += lines;
    if (m_rows.count() == 1)
        m_rows.append(productReport::auxRows(record));
}

void InfoRead::show()
{
    const QStringList rows = m_rows.all();
    for (const QString &row : rows)
        m_lines.append(productReport::rowText(row.split(QLatin1Char(','))));
    m_output.list(QStringList{QString::fromLatin1(protocol::key::showProductInfo)} + m_lines);
}

} // namespace engine
