// SPDX-License-Identifier: Apache-2.0
#include "package/MergeRequest.h"

#include "package/BuildTexts.h"
#include "package/DescriptionKeys.h"
#include "protocol/ChipTypes.h"

namespace chip = protocol::chip;

namespace package {

namespace {

using description::number;
using description::text;

/** A decimal number or a single letter; without the key, the letter that the list shows. */
quint8 specialityOf(const QJsonObject &pcb)
{
    if (!pcb.contains(key::inSpeciality))
        return description::character(text(pcb, key::speciality));
    const QString value = text(pcb, key::inSpeciality);
    bool isNumber = false;
    const qint64 code = value.toLongLong(&isNumber);
    if (isNumber)
        return quint8(code);
    return value.size() == 1 ? description::character(value) : 0;
}

RecordKey keyOf(const QJsonObject &pcb)
{
    RecordKey record;
    record.chipType = number(pcb, key::inChipType);
    record.chipQuantity = number(pcb, key::inChipQuantity);
    record.mcuType = number(pcb, key::inMcuType);
    record.pcbVersion = number(pcb, key::inPcbVersion);
    record.speciality = specialityOf(pcb);
    record.ver1 = number(pcb, key::inVer1);
    record.ver2 = number(pcb, key::inVer2);
    record.ver3 = number(pcb, key::inVer3);
    return record;
}

MergeImage::Error check(const ImageEntry &entry, const RecordKey &record)
{
    using Error = MergeImage::Error;
    if (!entry.pcb.contains(key::ver3))
        return Error::NeedVer3;
    // The number in the description: the main MCU is 1 there, but 0 in its record.
    const int chipType = number(entry.chip, key::chipType);
    if (chipType == 0)
        return Error::ChipType;
    if (record.chipQuantity == 0)
        return Error::ChipQuantity;
    if (chip::isFpga(chip::fromDescription(chipType)))
        return Error::None;
    if (record.mcuType == 0)
        return Error::McuType;
    if (record.pcbVersion == 0)
        return Error::PcbVersion;
    if (record.speciality < 'A' || record.speciality > 'Z')
        return Error::Speciality;
    return Error::None;
}

} // namespace

QString mergeErrorText(MergeImage::Error error)
{
    switch (error) {
    case MergeImage::Error::None:
        break;
    case MergeImage::Error::NeedVer3:
        return QString::fromLatin1(buildtext::needVer3);
    case MergeImage::Error::ChipType:
        return QString::fromLatin1(buildtext::chipType);
    case MergeImage::Error::ChipQuantity:
        return QString::fromLatin1(buildtext::chipQuantity);
    case MergeImage::Error::McuType:
        return QString::fromLatin1(buildtext::mcuType);
    case MergeImage::Error::PcbVersion:
        return QString::fromLatin1(buildtext::pcbVersion);
    case MergeImage::Error::Speciality:
        return QString::fromLatin1(buildtext::speciality);
    }
    return {};
}

MergeRequest parseMergeRequest(const QString &text)
{
    MergeRequest request;
    request.json = text.toUtf8();
    request.jsonLength = quint16(text.size());

    const PackageDescription description = parseDescription(request.json);
    request.error = description.error;
    request.parseError = description.parseError;
    if (request.error != MergeRequest::Error::None)
        return request;

    const QVector<ImageEntry> entries = imageEntries(description.object);
    for (const ImageEntry &entry : entries) {
        MergeImage image;
        image.entry = entry;
        image.key = keyOf(entry.pcb);
        image.file = description::text(entry.pcb, key::file);
        image.error = check(entry, image.key);
        request.images.append(image);
    }
    return request;
}

} // namespace package
