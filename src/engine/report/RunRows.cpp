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
    m_state.set({TypeAndIndexTable(rows), 0});
}

void RunRows::replace(const QStringList &rows)
{
    m_state.change([&](State &state) { state.m_TypeAndIndexs = TypeAndIndexTable(rows); });
}

void RunRows::append(const QStringList &rows)
{
    m_state.change([&](State &state) {
        for (const QString &row : rows)
            state.m_TypeAndIndexs.append(row);
    });
}

TypeAndIndexTable RunRows::table() const
{
    return m_state.read(&State::m_TypeAndIndexs);
}

int RunRows::index() const
{
    return m_state.read(&State::m_mcuIndex);
}

void RunRows::setIndex(int line)
{
    m_state.change([=](State &state) { state.m_mcuIndex = line; });
}

void RunRows::advance()
{
    m_state.change([](State &state) { ++state.m_mcuIndex; });
}

void RunRows::setCurrent(int field, const QString &value)
{
    m_state.change(
        [&](State &state) { state.m_TypeAndIndexs.setValue(state.m_mcuIndex, field, value); });
}

RunMcu RunRows::currentMcu(const QString &offeredEntry) const
{
    const QStringList row = currentFields();
    return {row.value(field::name), row.value(field::chipType), row.value(field::chipIndex),
            versionText(row), versionText(offeredEntry.split(QLatin1Char(',')))};
}

void RunRows::setValue(int line, int field, const QString &value)
{
    m_state.change([&](State &state) { state.m_TypeAndIndexs.setValue(line, field, value); });
}

void RunRows::setAllFailed()
{
    m_state.change([](State &state) {
        state.m_TypeAndIndexs.setAll(field::result, QString::fromLatin1(result::failed));
    });
}

double RunRows::overall(double percent) const
{
    return m_state.read([=](const State &state) {
        return (state.m_mcuIndex * wholeProgress + percent) / state.m_TypeAndIndexs.count();
    });
}

} // namespace engine
