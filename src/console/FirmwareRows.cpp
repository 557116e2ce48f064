// SPDX-License-Identifier: Apache-2.0
#include "console/FirmwareRows.h"

#include "package/DescriptionKeys.h"
#include "package/PackageDescription.h"
#include "platform/Log.h"
#include "protocol/ChipTypes.h"

namespace chip = protocol::chip;
namespace description = package::description;
using package::imageEntries;
using package::ImageEntry;
using package::PackageDescription;
using package::parseDescription;
using platform::logConsole;

namespace console {

namespace {

QString rowOf(const ImageEntry &image)
{
    const int chipType = description::number(image.chip, package::key::chipType);
    const int quantity = description::number(image.chip, package::key::chipQuantity);
    return description::text(image.pcb, package::key::name) + QLatin1Char(',') +
           QString::number(chip::fromDescription(chipType)) + QLatin1Char(',') +
           QString::number(quantity);
}

} // namespace

QStringList firmwareRows(const QString &description)
{
    const PackageDescription package = parseDescription(description.toUtf8());
    if (package.error == PackageDescription::Error::NotJson)
        qCDebug(logConsole) << "===> please check the string " << description;
    else if (package.error == PackageDescription::Error::NotAnObject)
        qCDebug(logConsole) << "Document is not an object or array";
    else
        qCDebug(logConsole) << "Document is an object";

    QStringList rows;
    const QVector<ImageEntry> images = imageEntries(package.object);
    for (const ImageEntry &image : images)
        rows.append(rowOf(image));
    return rows;
}

} // namespace console
