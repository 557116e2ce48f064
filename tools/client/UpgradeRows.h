// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/UpgradeModel.h"
#include "common/PackageRows.h"

#include <QString>
#include <QStringList>
#include <QVector>

namespace client {

/** The rows of an upgrade, as the agent takes them and as people know them. */
struct UpgradeRows
{
    /** NAME,CHIP-TYPE,CHIP-INDEX each, as they are sent; empty where the agent makes the rows. The
     *  agent's lines contain only the name, so rows of the same name are sent with different
     *  names: "AUX(1.0)". */
    QStringList rows;
    QVector<WantedMcu> mcus;
    /** What is wrong with a row, for people, and why nothing can be sent. */
    QString error;
    ProblemId cause = ProblemId::None;
};

/** Why a row of the command line cannot be sent; empty for a good one. */
QString rowProblem(const QString &row);

/** A row for each chip of the package, index 0 to quantity - 1. */
UpgradeRows packageRows(const package::PackageDescription &package);

/** The rows that the agent makes for UPGRADEALL: one for each image, with the quantity as the
 *  index. */
UpgradeRows requestedRows(const package::PackageDescription &package);

/** The rows of a command line; a name alone stands for the package's chips of that name. A chip
 *  type that the package does not have is an error. */
UpgradeRows chosenRows(const QStringList &chosen, const package::PackageDescription &package);

} // namespace client
