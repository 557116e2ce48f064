// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/steps/StepTable.h"

#include <QJsonDocument>
#include <QString>
#include <QStringList>

#include <functional>

namespace engine {

class EngineOutput;
class RunRows;

/** Product-information writes: a record for each row, one after the other. */
class InfoWrite
{
public:
    /** `send` writes a 0x7903 payload; `storedDescription` is used where none comes along. */
    InfoWrite(RunRows &rows, const EngineOutput &output,
              std::function<void(const QByteArray &payload)> send,
              std::function<QString()> storedDescription);

    /** The rows to write; a description may come along with them. */
    void setRows(const QStringList &rows) { m_given = rows; }
    std::optional<Event> start();
    /** Sends the record of the row that it is at, passing over rows that have none. */
    std::optional<Event> writeCurrent();
    /** The row that it is at is done with. */
    void endCurrent(bool written);

    /** The row that it is at. */
    int index() const { return m_productInfoIndex; }
    /** The 0x7903 payload of a row; empty, and a line said, when the description has none. */
    QByteArray payloadOf(int line) const;

private:
    void takeApart(const QByteArray &text);
    QString currentName() const;
    void report(const char *result) const;

    RunRows &m_rows;
    const EngineOutput &m_output;
    const std::function<void(const QByteArray &payload)> m_send;
    const std::function<QString()> m_storedDescription;
    QStringList m_given;
    QJsonDocument m_description;
    int m_productInfoIndex = 0;
};

} // namespace engine
