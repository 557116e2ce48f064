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
    /** `send` writes a 0x7903 payload; `storedDescription` is used when none is sent with the
     *  rows. */
    InfoWrite(RunRows &rows, const EngineOutput &output,
              std::function<void(const QByteArray &payload)> send,
              std::function<QString()> storedDescription);

    /** The rows to write; a description may be sent with them. */
    void setRows(const QStringList &rows) { m_given = rows; }
    std::optional<Event> start();
    /** Sends the record of the current row, skipping rows without one. */
    std::optional<Event> writeCurrent();
    /** Ends the current row. */
    void endCurrent(bool written);

    int index() const { return m_productInfoIndex; }
    /** The 0x7903 payload of a row; empty, with a message, when the description has none. */
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
