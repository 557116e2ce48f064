// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/PackageDescription.h"

#include <QMap>
#include <QString>

/** What a copy of the device's package says about the images; the agent reports no sizes. */
struct PackageCopy
{
    package::PackageDescription description;
    /** In bytes, by chip type; the largest where a type has several images. */
    QMap<int, qint64> sizes;
    /** Why the file cannot be used, empty when it can. */
    QString error;

    static PackageCopy read(const QString &path);
    /** Whether it is the package that the device has, as far as the description says. */
    bool describes(const package::PackageDescription &listed) const;
};
