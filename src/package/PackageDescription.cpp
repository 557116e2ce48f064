// SPDX-License-Identifier: Apache-2.0
#include "package/PackageDescription.h"

#include "package/DescriptionKeys.h"
#include "package/RepeatedKeys.h"
#include "protocol/ChipTypes.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>

namespace chip = protocol::chip;

namespace package {

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
    // Two units, since a character may be a surrogate pair.
    const QByteArray bytes = text.left(2).toUtf8();
    return bytes.isEmpty() ? 0 : quint8(bytes.at(0));
}

} // namespace description

namespace {

using description::number;
using description::text;

QString listEntry(const ImageEntry &entry)
{
    const int numbers[] = {
        chip::fromDescription(number(entry.chip, key::chipType)),
        number(entry.chip, key::chipQuantity),
        number(entry.mcu, key::mcuType),
        number(entry.pcb, key::pcbVersion),
        description::character(text(entry.pcb, key::speciality)),
        number(entry.pcb, key::ver1),
        number(entry.pcb, key::ver2),
        number(entry.pcb, key::ver3),
    };
    QString line = text(entry.pcb, key::name);
    for (const int value : numbers)
        line += QLatin1Char(',') + QString::number(value);
    return line;
}

void appendEntries(ImageEntry entry, QVector<ImageEntry> &entries)
{
    const QJsonArray mcus = entry.chip.value(key::mcus).toArray();
    for (entry.mcuIndex = 0; entry.mcuIndex < mcus.size(); ++entry.mcuIndex) {
        entry.mcu = mcus.at(entry.mcuIndex).toObject();
        const QJsonArray pcbs = entry.mcu.value(key::pcbs).toArray();
        for (entry.pcbIndex = 0; entry.pcbIndex < pcbs.size(); ++entry.pcbIndex) {
            entry.pcb = pcbs.at(entry.pcbIndex).toObject();
            entries.append(entry);
        }
    }
}

} // namespace

PackageDescription parseDescription(const QByteArray &json)
{
    PackageDescription result;
    result.json = json;

    if (const std::optional<QString> key = repeatedKey(json)) {
        result.parseError = QStringLiteral("the key \"%1\" is there twice").arg(*key);
        return result;
    }
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (document.isNull()) {
        result.parseError = QStringLiteral("%1 at byte %2 (line %3)")
                                .arg(parseError.errorString())
                                .arg(parseError.offset)
                                .arg(1 + json.left(parseError.offset).count('\n'));
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

    if (!result.object.value(key::chips).isArray()) {
        result.error = PackageDescription::Error::ChipsNotAnArray;
        return result;
    }
    const QVector<ImageEntry> entries = imageEntries(result.object);
    for (const ImageEntry &entry : entries)
        result.firmwareList.append(listEntry(entry));
    result.error = PackageDescription::Error::None;
    return result;
}

QVector<ImageEntry> imageEntries(const QJsonObject &description)
{
    QVector<ImageEntry> entries;
    const QJsonArray chips = description.value(key::chips).toArray();
    for (int index = 0; index < chips.size(); ++index) {
        ImageEntry entry;
        entry.chip = chips.at(index).toObject();
        entry.chipIndex = index;
        appendEntries(entry, entries);
    }
    return entries;
}

} // namespace package
