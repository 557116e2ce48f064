// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/UpgradeModel.h"

#include <QString>
#include <QStringList>
#include <QVector>

/** The rows of an upgrade, as the agent takes them and as people know them. */
struct UpgradeRows
{
    /** NAME,CHIP-TYPE,CHIP-INDEX each; empty with `all`. */
    QStringList rows;
    QVector<WantedMcu> mcus;
    /** What is wrong with a row, for people. */
    QString error;
};

/** Why a row of the command line cannot be sent; empty for a good one. */
QString rowProblem(const QString &row);

/** Every image of a package, in the order in which the agent takes them. `list` holds entries of a
 *  package description: name, chip type, quantity, ..., three version numbers. */
UpgradeRows allRows(const QStringList &list);

/** The rows of a command line; a name alone stands for the package's rows of that name. */
UpgradeRows chosenRows(const QStringList &chosen, const QStringList &list);
