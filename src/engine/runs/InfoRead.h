// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>

namespace protocol {
struct ProductRecord;
} // namespace protocol

namespace engine {

class EngineOutput;
class RunRows;

/** A product-information read: its report, and the rows that it finds. */
class InfoRead
{
public:
    InfoRead(RunRows &rows, EngineOutput &output) : m_rows(rows), m_output(output) {}

    void begin();
    /** The record of the main MCU, which names the other MCUs. */
    void takeMainRecord(const protocol::ProductRecord &record);
    /** Adds every row to the report and sends it. */
    void show();

private:
    RunRows &m_rows;
    EngineOutput &m_output;
    QStringList m_lines;
};

} // namespace engine
