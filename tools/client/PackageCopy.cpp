// SPDX-License-Identifier: Apache-2.0
#include "client/PackageCopy.h"

#include "package/ImageRecord.h"
#include "package/PackageHeader.h"

#include <algorithm>

using bytes::ByteSource;
using package::PackageDescription;
using package::PackageHeader;
using package::parseDescription;
using package::readDescription;
using package::readPackageHeader;
using package::RecordWalker;

namespace client {

PackageCopy PackageCopy::read(ByteSource &source)
{
    PackageCopy copy;
    const PackageHeader header = readPackageHeader(source);
    copy.description = parseDescription(readDescription(source, header));
    copy.isPackage = header.error == PackageHeader::Error::None &&
                     copy.description.error == PackageDescription::Error::None;
    if (!copy.isPackage)
        return copy;
    RecordWalker walker(source, header.recordsOffset());
    while (const auto record = walker.next()) {
        qint64 &size = copy.sizes[record->key.chipType];
        size = std::max(size, record->length);
    }
    return copy;
}

bool PackageCopy::describes(const PackageDescription &listed) const
{
    return isPackage && description.object == listed.object;
}

} // namespace client
