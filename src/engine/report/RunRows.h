// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/report/RunEvent.h"
#include "planning/TypeAndIndexTable.h"

#include <mutex>

/**
 * The rows that a run works on, and the one that it is at. The engine writes them; the console's
 * thread may read them and, when a package cannot be listed, marks them.
 */
class RunRows
{
public:
    /** Replaces all rows and goes to the first one. */
    void reset(const QStringList &rows);
    /** Replaces all rows; the position stays. */
    void replace(const QStringList &rows);
    void append(const QStringList &rows);
    QStringList all() const;
    /** A copy that shares the rows until one of both is changed. */
    TypeAndIndexTable table() const;
    int count() const;

    int index() const;
    void setIndex(int line);
    void advance();

    bool hasCurrent() const;
    bool isLast() const;
    QString current() const;
    QStringList currentFields() const;
    QString currentName() const;
    bool currentIsMainMcu() const;
    bool currentIsFpga() const;
    bool currentNamesChip() const;
    int currentNumber(int field) const;
    void setCurrent(int field, const QString &value);
    /** The current row for those who watch over the agent, with an entry of the firmware list. */
    RunMcu currentMcu(const QString &offeredEntry = {}) const;

    QString row(int line) const;
    /** A field of a row; an empty text outside the table. */
    QString value(int line, int field) const;
    void setValue(int line, int field, const QString &value);
    void setAllFailed();
    /** Percent of the whole run, of which the current row has done `percent`. */
    double overall(double percent) const;

private:
    mutable std::mutex m_mutex;
    TypeAndIndexTable m_TypeAndIndexs;
    int m_mcuIndex = 0;
};
