// SPDX-License-Identifier: Apache-2.0
#include "package/PackageDescription.h"

#include "package/DescriptionKeys.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

namespace description {

QString text(const QJsonObject &object, const QString &key)
{
    return object.value(key).toString();
}

quint8 number(const QJsonObject &object, const QString &key)
{
    return quint8(text(object, key).toLongLong());
}

quint8 character(const QString &text)
{
    // Two units, since a character beyond the basic plane takes both.
    const QByteArray bytes = text.left(2).toUtf8();
    return bytes.isEmpty() ? 0 : quint8(bytes.at(0));
}

} // namespace description

namespace {

using description::number;
using description::text;

QString listEntry(const QJsonObject &chip, const QJsonObject &mcu, const QJsonObject &pcb)
{
    const int numbers[] = {
        number(chip, key::chipType) - 1,
        number(chip, key::chipQuantity),
        number(mcu, key::mcuType),
        number(pcb, key::pcbVersion),
        description::character(text(pcb, key::speciality)),
        number(pcb, key::ver1),
        number(pcb, key::ver2),
        number(pcb, key::ver3),
    };
    QString entry = text(pcb, key::name);
    for (const int value : numbers)
        entry += QLatin1Char(',') + QString::number(value);
    return entry;
}

void listChip(const QJsonObject &chip, QStringList &list)
{
    const QJsonArray mcus = chip.value(key::mcus).toArray();
    for (const QJsonValue &mcuValue : mcus) {
        const QJsonObject mcu = mcuValue.toObject();
        const QJsonArray pcbs = mcu.value(key::pcbs).toArray();
        for (const QJsonValue &pcb : pcbs)
            list.append(listEntry(chip, mcu, pcb.toObject()));
    }
}

} // namespace

PackageDescription parseDescription(const QByteArray &json)
{
    PackageDescription result;
    result.json = json;

    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (document.isNull()) {
        result.parseError =
            QStringLiteral("%1 at byte %2").arg(parseError.errorString()).arg(parseError.offset);
        return result;
    }
    if (!document.isObject()) {
        result.error = PackageDescription::Error::NotAnObject;
        return result;
    }
    result.object = document.object();
    result.hasModel = result.object.value(key::model).isString();
    result.model = text(result.object, key::model);
    result.hasVersion = result.object.value(key::version).isString();
    result.version = text(result.object, key::version);

    const QJsonValue chips = result.object.value(key::chips);
    if (!chips.isArray()) {
        result.error = PackageDescription::Error::ChipsNotAnArray;
        return result;
    }
    const QJsonArray chipArray = chips.toArray();
    for (const QJsonValue &chip : chipArray)
        listChip(chip.toObject(), result.firmwareList);
    result.error = PackageDescription::Error::None;
    return result;
}
