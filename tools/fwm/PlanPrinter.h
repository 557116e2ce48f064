// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "planning/RunPlan.h"

#include <QJsonObject>
#include <QString>

/** The result that 'upgrade-console upgrade' would report for a row. */
enum class RowResult { Updated, Current, PackageOlder, NoFit, Failed, NotReached };

/** `end` is the end of the whole run. */
RowResult resultOf(const planning::PlannedRow &row, planning::RunPlan::End end,
                   const QStringList &firmwareList);

/** Its first three fields, "MAIN,0,0". */
QString rowName(const planning::PlannedRow &row);

/** One row for scripts, and for people: a line and the indented reasons for it. */
QJsonObject rowJson(const planning::PlannedRow &row, RowResult result,
                    const QStringList &firmwareList);
QString rowText(const planning::PlannedRow &row, RowResult result, const QStringList &firmwareList);
