// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/PackageDescription.h"

#include <QString>
#include <QVector>

/** A chip in the form of a row of an upgrade request. */
struct PackageRow
{
    QString name;
    int chipType = 0;
    int chipIndex = 0;
};

/** How the chips of a device are numbered. */
enum class Numbering {
    /** Index 0 to quantity - 1 of each chip type. */
    FromZero,
    /** The quantity is used as the index, as in the rows that the agent makes for the request
     *  UPGRADEALL. */
    Quantity,
};

/**
 * The rows of a package in the order of its description. From zero there is one row for each chip:
 * index 0 to quantity - 1 of each chip type, regardless of the number of its images. Several chips
 * of a type have the index in their names, "AUX[1]". With quantities there is one row for each
 * image.
 */
QVector<PackageRow> rowsOf(const package::PackageDescription &package, Numbering numbering);
