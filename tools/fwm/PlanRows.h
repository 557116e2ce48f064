// SPDX-License-Identifier: Apache-2.0
#pragma once

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
    /** The device's model, when it is known. */
    std::optional<QString> model;
    /** What would end the run before anything is sent; empty when nothing would. */
    QString obstacle;
    std::optional<Problem> problem;
};

/** One row per line; empty lines and those that start with '#' are passed over. */
PlanRows rowsFromFile(const QString &path);

/** One row for each chip of a simulated device's file. */
PlanRows rowsFromDevice(const QString &path);
