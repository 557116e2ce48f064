// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "package/PackageDescription.h"

#include <QMap>
#include <QString>

namespace client {

/** Sizes of the images from a copy of the device's package; the agent reports no sizes. */
struct PackageCopy
{
    package::PackageDescription description;
    /** In bytes, by chip type; the largest one if a type has several images. */
    QMap<int, qint64> sizes;
    /** False for bytes that are not a firmware package. */
    bool isPackage = false;

    static PackageCopy read(bytes::ByteSource &source);
    /** Whether it is the package that the device has, as far as the description says. */
    bool describes(const package::PackageDescription &listed) const;
};

} // namespace client
