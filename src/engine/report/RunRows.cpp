// SPDX-License-Identifier: Apache-2.0
#include "engine/report/RunRows.h"

#include "planning/VersionRule.h"
#include "protocol/Progress.h"

using Lock = std::lock_guard<std::mutex>;

void RunRows::reset(const QStringList &rows)
{
    const Lock lock(m_mutex);
    m_TypeAndIndexs = TypeAndIndexTable(rows);
    m_mcuIndex = 0;
}

void RunRows::replace(const QStringList &rows)
{
    const Lock lock(m_mutex);
    m_TypeAndIndexs = TypeAndIndexTable(rows);
}

void RunRows::append(const QStringList &rows)
{
    const Lock lock(m_mutex);
    for (const QString &row : rows)
        m_TypeAndIndexs.append(row);
}

QStringList RunRows::all() const
{
    const Lock lock(m_mutex);
    QStringList rows;
    for (int line = 0; line < m_TypeAndIndexs.count(); ++line)
        rows.append(m_TypeAndIndexs.row(line));
    return rows;
}

TypeAndIndexTable RunRows::table() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs;
}

int RunRows::count() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.count();
}

int RunRows::index() const
{
    const Lock lock(m_mutex);
    return m_mcuIndex;
}

void RunRows::setIndex(int line)
{
    const Lock lock(m_mutex);
    m_mcuIndex = line;
}

void RunRows::advance()
{
    const Lock lock(m_mutex);
    ++m_mcuIndex;
}

bool RunRows::hasCurrent() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.hasRow(m_mcuIndex);
}

bool RunRows::isLast() const
{
    const Lock lock(m_mutex);
    return m_mcuIndex == m_TypeAndIndexs.count() - 1;
}

QString RunRows::current() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.row(m_mcuIndex);
}

QStringList RunRows::currentFields() const
{
    return current().split(QLatin1Char(','));
}

QString RunRows::currentName() const
{
    return currentFields().value(field::name);
}

bool RunRows::currentIsMainMcu() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.isMainMcu(m_mcuIndex);
}

bool RunRows::currentIsFpga() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.isFpga(m_mcuIndex);
}

bool RunRows::currentNamesChip() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.namesChip(m_mcuIndex);
}

int RunRows::currentNumber(int field) const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.number(m_mcuIndex, field);
}

void RunRows::setCurrent(int field, const QString &value)
{
    const Lock lock(m_mutex);
    m_TypeAndIndexs.setValue(m_mcuIndex, field, value);
}

RunMcu RunRows::currentMcu(const QString &offeredEntry) const
{
    const QStringList row = currentFields();
    return {row.value(field::name), row.value(field::chipType), row.value(field::chipIndex),
            versionText(row), versionText(offeredEntry.split(QLatin1Char(',')))};
}

QString RunRows::row(int line) const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.row(line);
}

QString RunRows::value(int line, int field) const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs.value(line, field);
}

void RunRows::setValue(int line, int field, const QString &value)
{
    const Lock lock(m_mutex);
    m_TypeAndIndexs.setValue(line, field, value);
}

void RunRows::setAllFailed()
{
    const Lock lock(m_mutex);
    m_TypeAndIndexs.setAll(field::result, QString::fromLatin1(result::failed));
}

double RunRows::overall(double percent) const
{
    const Lock lock(m_mutex);
    return (m_mcuIndex * wholeProgress + percent) / m_TypeAndIndexs.count();
}
