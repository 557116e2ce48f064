// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/PackageRows.h"
#include "fwm/Outcome.h"

#include <QStringList>
#include <QVector>

#include <optional>

/** The chips that a dry run is about, with everything that a run would have read from them. */
struct PlanRows
{
    /** Nine fields each: name, chip type, chip index, MCU type, PCB version, speciality
     *  (a character code) and the three version numbers. */
    QVector<QStringList> rows;
    /** For each row: the device has no such chip. Empty when the device is not known. */
    QVector<bool> isMissing;
    /** Chips of the device that no row asks for, for people. */
    QStringList notAskedFor;
    /** The device's model, when it is known. */
    std::optional<QString> model;
    /** What would end the run before anything is sent; empty when nothing would. */
    QString obstacle;
    std::optional<Problem> problem;
};

/** One row per line; empty lines and those that start with '#' are passed over. */
PlanRows rowsFromFile(const QString &path);

/** The package's rows, with what a simulated device's file says about their chips. */
PlanRows rowsForDevice(const QString &path, const QVector<PackageRow> &package);
