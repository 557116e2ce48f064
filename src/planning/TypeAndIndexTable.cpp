// SPDX-License-Identifier: Apache-2.0
#include "planning/TypeAndIndexTable.h"

#include "planning/UpgradeMode.h"
#include "protocol/ChipTypes.h"

namespace chip = protocol::chip;
namespace field = package::field;

namespace planning {

namespace {

const QChar separator = QLatin1Char(',');
constexpr int mostFields = 1024;
constexpr int mostInOneByte = 255;

} // namespace

QString TypeAndIndexTable::value(int line, int index) const
{
    return fields(line).value(index);
}

bool TypeAndIndexTable::isMainMcu(int line) const
{
    const QStringList row = fields(line);
    return row.value(field::chipType) == QLatin1String("0") &&
           row.value(field::chipIndex) == QLatin1String("0");
}

bool TypeAndIndexTable::isFpga(int line) const
{
    return chip::isFpga(number(line, field::chipType));
}

bool TypeAndIndexTable::namesChip(int line) const
{
    for (const int index : {field::chipType, field::chipIndex}) {
        bool isNumber = false;
        const int number = value(line, index).toInt(&isNumber);
        if (!isNumber || number < 0 || number > mostInOneByte)
            return false;
    }
    return true;
}

void TypeAndIndexTable::setValue(int line, int index, const QString &value)
{
    if (!hasRow(line) || index < 0 || index > mostFields)
        return;
    QStringList row = fields(line);
    while (row.size() <= index)
        row.append(QString());
    row[index] = value;
    m_rows[line] = row.join(separator);
}

void TypeAndIndexTable::setAll(int index, const QString &value)
{
    for (int line = 0; line < m_rows.size(); ++line)
        setValue(line, index, value);
}

QStringList TypeAndIndexTable::completeRows(const QStringList &rows, int upgradeMode)
{
    QStringList completed = rows;
    if (upgradeMode == upgradeMode::imagesOnly) {
        if (rows.isEmpty() || rows.first().split(separator).size() != field::countWithVersions)
            return completed;
        for (QString &row : completed)
            row += QLatin1String(field::noFlags);
        return completed;
    }
    for (QString &row : completed) {
        if (!row.isEmpty())
            row += QLatin1String(field::nothingKnown);
    }
    return completed;
}

} // namespace planning
