// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/steps/StepTable.h"

#include <QJsonDocument>
#include <QString>
#include <QStringList>

class CommandChannel;
class EngineOutput;
class PackageShelf;
class RunRows;

/** Product-information writes: a record for each row, one after the other. */
class InfoWrite
{
public:
    InfoWrite(RunRows &rows, CommandChannel &channel, const EngineOutput &output,
              const PackageShelf &shelf);

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
    CommandChannel &m_channel;
    const EngineOutput &m_output;
    const PackageShelf &m_shelf;
    QStringList m_given;
    QJsonDocument m_description;
    int m_productInfoIndex = 0;
};
