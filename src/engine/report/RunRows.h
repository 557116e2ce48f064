// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvent.h"
#include "planning/TypeAndIndexTable.h"
#include "runtime/Guarded.h"

#include <functional>
#include <type_traits>

namespace engine {

/**
 * The rows that a run works on, and the current one. The engine writes them; the console's thread
 * may read them, and marks them when a package cannot be listed.
 */
class RunRows
{
public:
    /** Replaces all rows and goes to the first one. */
    void reset(const QStringList &rows);
    /** Replaces all rows; the position stays. */
    void replace(const QStringList &rows);
    void append(const QStringList &rows);
    QStringList all() const { return read(&planning::TypeAndIndexTable::rows); }
    /** A copy; it shares the rows until one of the two changes. */
    planning::TypeAndIndexTable table() const;
    int count() const { return read(&planning::TypeAndIndexTable::count); }

    int index() const;
    void setIndex(int line);
    void advance();

    bool hasCurrent() const { return readCurrent(&planning::TypeAndIndexTable::hasRow); }
    QString current() const { return readCurrent(&planning::TypeAndIndexTable::row); }
    QStringList currentFields() const { return readCurrent(&planning::TypeAndIndexTable::fields); }
    QString currentName() const { return currentFields().value(package::field::name); }
    bool currentIsMainMcu() const { return readCurrent(&planning::TypeAndIndexTable::isMainMcu); }
    bool currentIsFpga() const { return readCurrent(&planning::TypeAndIndexTable::isFpga); }
    bool currentNamesChip() const { return readCurrent(&planning::TypeAndIndexTable::namesChip); }
    int currentNumber(int field) const
    {
        return readCurrent(&planning::TypeAndIndexTable::number, field);
    }
    void setCurrent(int field, const QString &value);
    /** The current row, with an entry of the firmware list, for the events of runs. */
    RunMcu currentMcu(const QString &offeredEntry = {}) const;

    /** A field of a row; an empty text outside the table. */
    QString value(int line, int field) const
    {
        return read(&planning::TypeAndIndexTable::value, line, field);
    }
    void setValue(int line, int field, const QString &value);
    void setAllFailed();
    /** Percent of the whole run when the current row is at `percent`. */
    double overall(double percent) const;

private:
    struct State
    {
        planning::TypeAndIndexTable m_TypeAndIndexs;
        int m_mcuIndex = 0;
    };
    template<typename Member, typename... Arguments>
    using Result = std::invoke_result_t<Member, const planning::TypeAndIndexTable &, Arguments...>;

    template<typename Member, typename... Arguments>
    Result<Member, Arguments...> read(Member member, Arguments... arguments) const
    {
        return m_state.read([=](const State &state) {
            return std::invoke(member, state.m_TypeAndIndexs, arguments...);
        });
    }
    template<typename Member, typename... Arguments>
    Result<Member, int, Arguments...> readCurrent(Member member, Arguments... arguments) const
    {
        return m_state.read([=](const State &state) {
            return std::invoke(member, state.m_TypeAndIndexs, state.m_mcuIndex, arguments...);
        });
    }

    runtime::Guarded<State> m_state;
};

} // namespace engine
