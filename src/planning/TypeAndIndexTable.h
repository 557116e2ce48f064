// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/RowFields.h"

#include <QString>
#include <QStringList>

namespace planning {

/** Values of the result field and of an UPGRADERESULT message. */
namespace result {

constexpr char success[] = "1";
constexpr char failed[] = "2";
/** In messages only: the MCU is not older than the package. */
constexpr char notOlder[] = "3";

} // namespace result

/**
 * What the engine knows about the device: one row of comma-separated text for each MCU. Reads
 * outside of the table return an empty text and writes outside of it do nothing, for any rows of a
 * client.
 */
class TypeAndIndexTable
{
public:
    TypeAndIndexTable() = default;
    explicit TypeAndIndexTable(const QStringList &rows) : m_rows(rows) {}

    QStringList rows() const { return m_rows; }
    int count() const { return m_rows.size(); }
    bool hasRow(int line) const { return line >= 0 && line < m_rows.size(); }
    QString row(int line) const { return m_rows.value(line); }
    QStringList fields(int line) const { return row(line).split(QLatin1Char(',')); }
    QString value(int line, int index) const;
    /** The chip type or index of a row as a number, 0 where the field holds none. */
    int number(int line, int index) const { return value(line, index).toInt(); }
    /** True for the row that names the main MCU: chip type 0, index 0. */
    bool isMainMcu(int line) const;
    bool isFpga(int line) const;
    /** True when chip type and index are numbers of one byte each. */
    bool namesChip(int line) const;

    /** Extends a short row with empty fields. */
    void setValue(int line, int index, const QString &value);
    void setAll(int index, const QString &value);
    void append(const QString &row) { m_rows.append(row); }

    /**
     * The rows a client sent, completed with their status fields. Rows for mode 1 carry versions
     * (nine fields, decided by the first row) and get the four last fields; rows for every other
     * mode get the ten after the chip index.
     */
    static QStringList completeRows(const QStringList &rows, int upgradeMode);

private:
    QStringList m_rows;
};

} // namespace planning
