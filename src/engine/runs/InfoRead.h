// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QStringList>

class EngineOutput;
class RunRows;
struct ProductRecord;

/** A product-information read: the report that it collects, and the rows that it finds. */
class InfoRead
{
public:
    InfoRead(RunRows &rows, EngineOutput &output) : m_rows(rows), m_output(output) {}

    void begin();
    /** The record of the main MCU, which names the other MCUs. */
    void takeMainRecord(const ProductRecord &record);
    /** Adds every row to the report and sends it. */
    void show();

private:
    RunRows &m_rows;
    EngineOutput &m_output;
    QStringList m_lines;
};
