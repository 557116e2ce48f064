// SPDX-License-Identifier: Apache-2.0
#include "fwm/RequestOf.h"

#include "package/DescriptionKeys.h"
#include "package/PackageLayout.h"

#include <QJsonArray>
#include <QJsonDocument>

#include <algorithm>

using package::ImageEntry;
using package::RecordKey;

namespace {

void setKeyBytes(QJsonObject &pcb, const RecordKey &record)
{
    const auto set = [&pcb](const QString &key, quint8 value) {
        pcb.insert(key, QString::number(value));
    };
    set(package::key::inChipType, record.chipType);
    set(package::key::inChipQuantity, record.chipQuantity);
    set(package::key::inMcuType, record.mcuType);
    set(package::key::inPcbVersion, record.pcbVersion);
    set(package::key::inSpeciality, record.speciality);
    set(package::key::inVer1, record.ver1);
    set(package::key::inVer2, record.ver2);
    set(package::key::inVer3, record.ver3);
}

/** The value at `index` of the list under `key`, replaced. */
QJsonObject replaced(QJsonObject parent, const QString &key, int index, const QJsonObject &value)
{
    QJsonArray list = parent.value(key).toArray();
    list.replace(index, value);
    parent.insert(key, list);
    return parent;
}

QJsonObject withPcb(const QJsonObject &description, const ImageEntry &place, const QJsonObject &pcb)
{
    const QJsonObject chip =
        description.value(package::key::chips).toArray().at(place.chipIndex).toObject();
    const QJsonObject mcu = chip.value(package::key::mcus).toArray().at(place.mcuIndex).toObject();
    return replaced(description, package::key::chips, place.chipIndex,
                    replaced(chip, package::key::mcus, place.mcuIndex,
                             replaced(mcu, package::key::pcbs, place.pcbIndex, pcb)));
}

} // namespace

QByteArray inAscii(const QByteArray &json)
{
    const QString text = QString::fromUtf8(json);
    QByteArray ascii;
    for (const QChar character : text) {
        if (character.unicode() < 0x80)
            ascii += char(character.unicode());
        else
            ascii += "\\u" + QByteArray::number(character.unicode(), 16).rightJustified(4, '0');
    }
    return ascii;
}

QByteArray requestOf(const PackageContents &contents, const QStringList &files)
{
    const bool belongTogether =
        contents.header.jsonLength <= package::longestShortJson &&
        contents.images.size() == contents.entries.size() &&
        std::all_of(contents.images.begin(), contents.images.end(),
                    [](const ImageInfo &image) { return image.entry >= 0; });
    if (!belongTogether)
        return {};
    QJsonObject request = contents.description.object;
    for (int index = 0; index < contents.images.size(); ++index) {
        const ImageInfo &image = contents.images.at(index);
        const ImageEntry &place = contents.entries.at(image.entry);
        QJsonObject pcb = place.pcb;
        pcb.insert(package::key::file, files.at(index));
        setKeyBytes(pcb, image.record.key);
        request = withPcb(request, place, pcb);
    }
    return inAscii(QJsonDocument(request).toJson(QJsonDocument::Compact)) + '\n';
}
