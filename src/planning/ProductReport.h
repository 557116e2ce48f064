// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/ProductRecord.h"

#include <QStringList>

/** The product-information report: text lines, each with a line end. */
namespace planning::productReport {

/** The device according to the main MCU's record: its model, and each auxiliary chip. */
QStringList recordLines(const protocol::ProductRecord &record);

/** One table row for each auxiliary MCU in the main MCU's record. */
QStringList auxRows(const protocol::ProductRecord &record);

/** The eleven labelled lines of one row, as one text. */
QString rowText(const QStringList &fields);

} // namespace planning::productReport
