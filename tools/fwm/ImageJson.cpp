// SPDX-License-Identifier: Apache-2.0
#include "fwm/ImageJson.h"

#include "fwm/Words.h"
#include "package/DescriptionKeys.h"

#include <QJsonArray>

namespace description = package::description;
namespace net = package::net;
using package::isBareForm;
using package::PackageHeader;
using package::RecordKey;

QJsonObject netJson(const ImageInfo &image)
{
    return {{QStringLiteral("version"), QString::fromLatin1(image.net->image.version)},
            {QStringLiteral("md5_stored"), QString::fromLatin1(image.net->image.md5Text)},
            {QStringLiteral("md5_computed"), QString::fromLatin1(image.net->computedMd5)},
            {QStringLiteral("verdict"), netVerdict(image)}};
}

QString imageName(const PackageContents &contents, const ImageInfo &image)
{
    if (image.entry < 0)
        return {};
    return description::text(contents.entries.at(image.entry).pcb, package::key::name);
}

QJsonObject imageJson(const PackageContents &contents, int number)
{
    const ImageInfo &image = contents.images.at(number - 1);
    const RecordKey &record = image.record.key;
    QJsonObject json{
        {QStringLiteral("number"), number},
        {QStringLiteral("name"), imageName(contents, image)},
        {QStringLiteral("header_offset"), image.record.headerOffset},
        {QStringLiteral("offset"), image.record.imageOffset},
        {QStringLiteral("size"), image.record.length},
        {QStringLiteral("sha256"), QString::fromLatin1(image.sha256)},
        {QStringLiteral("chip_type"), record.chipType},
        {QStringLiteral("chip_quantity"), record.chipQuantity},
        {QStringLiteral("mcu_type"), record.mcuType},
        {QStringLiteral("pcb_version"), record.pcbVersion},
        {QStringLiteral("speciality"), record.speciality},
        {QStringLiteral("version"), versionText(record)},
    };
    if (image.net)
        json.insert(QStringLiteral("net"), netJson(image));
    return json;
}

QString formText(const PackageHeader &header)
{
    if (header.error != PackageHeader::Error::None)
        return QStringLiteral("unknown");
    return header.form == PackageHeader::Form::Bare ? QStringLiteral("bare")
                                                    : QStringLiteral("current");
}

QJsonObject infoJson(const PackageContents &contents)
{
    QJsonArray images;
    for (int number = 1; number <= contents.images.size(); ++number)
        images.append(imageJson(contents, number));
    const QJsonObject checksum{
        {QStringLiteral("stored"), QString::fromLatin1(contents.checksum.stored)},
        {QStringLiteral("computed"), QString::fromLatin1(contents.checksum.computed)},
        {QStringLiteral("matches"), contents.checksum.matches()}};
    return {{QStringLiteral("size"), contents.size},
            {QStringLiteral("form"), formText(contents.header)},
            {QStringLiteral("package_version"), contents.header.version},
            {QStringLiteral("checksum"), checksum},
            {QStringLiteral("model"), contents.description.model},
            {QStringLiteral("release"), contents.description.version},
            {QStringLiteral("description_offset"), contents.header.jsonOffset},
            {QStringLiteral("description_length"), contents.header.jsonLength},
            {QStringLiteral("images"), images}};
}

QString netVerdict(const ImageInfo &image)
{
    if (image.record.length < net::archiveOffset)
        return QStringLiteral("cut");
    if (!image.net->matches())
        return QStringLiteral("wrong");
    return image.net->installs() ? QStringLiteral("ok") : QStringLiteral("uppercase");
}
