// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandOutcome.h"
#include "common/PackageRows.h"
#include "planning/RunPlan.h"

#include <QStringList>

#include <optional>

struct DeviceDescription;

/** The request of a predicted run, and the chips that answer to it. */
struct PlanRows
{
    /** Without the mode. */
    planning::PlannedRequest request;
    /** Chips of the device without a row, for people. */
    QStringList notAskedFor;
    std::optional<Problem> problem;
};

/** One row per line, each with all values that its chip would answer; empty lines and those that
 *  start with '#' are skipped. */
PlanRows rowsFromFile(const QString &path);

/** These rows - name, chip type, chip index - and the chips that answer to them, but no mode. */
planning::PlannedRequest requestFor(const DeviceDescription &device, const QStringList &rows);

/** The rows that a client makes from the package, and the chips of a device file. */
PlanRows rowsForDevice(const QString &path, const package::PackageDescription &package,
                       Numbering numbering);
