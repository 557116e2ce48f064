// SPDX-License-Identifier: Apache-2.0
#include "engine/report/RunRows.h"

#include "planning/VersionRule.h"
#include "protocol/Progress.h"

namespace field = package::field;
namespace result = planning::result;
using planning::TypeAndIndexTable;
using planning::versionText;
using protocol::wholeProgress;

namespace engine {

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

TypeAndIndexTable RunRows::table() const
{
    const Lock lock(m_mutex);
    return m_TypeAndIndexs;
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

} // namespace engine
