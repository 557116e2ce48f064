// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/PackageCopy.h"

#include "bytes/FileSource.h"
#include "package/ImageRecord.h"
#include "package/PackageHeader.h"

#include <algorithm>

using bytes::FileSource;
using package::PackageDescription;
using package::PackageHeader;
using package::parseDescription;
using package::readDescription;
using package::readPackageHeader;
using package::RecordWalker;

PackageCopy PackageCopy::read(const QString &path)
{
    PackageCopy copy;
    FileSource source(path);
    if (!source.open()) {
        copy.error = path + QLatin1String(": ") + source.errorString();
        return copy;
    }
    const PackageHeader header = readPackageHeader(source);
    copy.description = parseDescription(readDescription(source, header));
    if (header.error != PackageHeader::Error::None ||
        copy.description.error != PackageDescription::Error::None) {
        copy.error = path + QLatin1String(": not a firmware package");
        return copy;
    }
    RecordWalker walker(source, header.recordsOffset());
    while (const auto record = walker.next()) {
        qint64 &size = copy.sizes[record->key.chipType];
        size = std::max(size, record->length);
    }
    return copy;
}

bool PackageCopy::describes(const PackageDescription &listed) const
{
    return error.isEmpty() && description.object == listed.object;
}
