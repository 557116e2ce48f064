// SPDX-License-Identifier: Apache-2.0
#include "planning/ProductCommand.h"

#include "package/DescriptionKeys.h"
#include "package/PackageDescription.h"
#include "planning/TypeAndIndexTable.h"
#include "protocol/ChipTypes.h"
#include "protocol/ProductRecord.h"

#include <QJsonArray>
#include <QJsonObject>

#include <optional>

namespace chip = protocol::chip;
namespace description = package::description;
namespace field = package::field;
using protocol::ProductRecord;

namespace planning {

namespace {

struct Pcb
{
    quint8 version = 0;
    quint8 speciality = 0;
    bool matches = false;
};

using description::number;
using description::text;

QJsonArray list(const QJsonObject &object, const QString &key)
{
    return object.value(key).toArray();
}

/** The PCB entry of the row's MCU; without a match, the last one examined. */
std::optional<Pcb> findPcb(const QJsonObject &chip, const QStringList &row)
{
    std::optional<Pcb> found;
    const QJsonArray mcus = list(chip, package::key::mcus);
    for (const QJsonValue &mcu : mcus) {
        if (number(mcu.toObject(), package::key::mcuType) != row.value(field::mcuType).toInt())
            continue;
        const QJsonArray pcbs = list(mcu.toObject(), package::key::pcbs);
        for (const QJsonValue &value : pcbs) {
            const QJsonObject pcb = value.toObject();
            found = Pcb{number(pcb, package::key::pcbVersion),
                        description::character(text(pcb, package::key::speciality))};
            found->matches = found->version == row.value(field::pcbVersion).toInt() &&
                             found->speciality == row.value(field::speciality).toInt();
            if (found->matches)
                return found;
        }
    }
    return found;
}

std::optional<ProductRecord> auxRecord(const QStringList &row, const QJsonArray &chips)
{
    const int chipType = row.value(field::chipType).toInt();
    for (const QJsonValue &value : chips) {
        const QJsonObject chip = value.toObject();
        const int type = chip::fromDescription(number(chip, package::key::chipType));
        if (type == chip::mainMcu || type != chipType)
            continue;
        const auto pcb = findPcb(chip, row);
        if (!pcb || !pcb->matches)
            continue;
        ProductRecord record;
        record.chipType = quint8(chipType);
        record.chipIndex = quint8(row.value(field::chipIndex).toInt());
        record.pcbVersion = pcb->version;
        record.speciality = pcb->speciality;
        return record;
    }
    return std::nullopt;
}

std::optional<ProductRecord> mainRecord(const QStringList &row, const QJsonObject &description)
{
    std::optional<ProductRecord> record;
    const QJsonArray chips = list(description, package::key::chips);
    for (const QJsonValue &value : chips) {
        const QJsonObject chip = value.toObject();
        const int type = chip::fromDescription(number(chip, package::key::chipType));
        if (type == chip::mainMcu) {
            const Pcb pcb = findPcb(chip, row).value_or(Pcb());
            record = ProductRecord();
            record->pcbVersion = pcb.version;
            record->speciality = pcb.speciality;
            record->model = text(description, package::key::model).toUtf8();
        } else if (record) {
            record->auxChips.append({quint8(type), number(chip, package::key::chipQuantity),
                                     text(chip, package::key::name).toUtf8()});
        }
    }
    return record;
}

} // namespace

productCommand::Description productCommand::parse(const QByteArray &text)
{
    QJsonParseError error;
    Description description;
    description.document = QJsonDocument::fromJson(text, &error);
    if (description.document.isNull())
        description.error = error.errorString();
    return description;
}

productCommand::Command productCommand::build(const QStringList &row,
                                              const QJsonDocument &description)
{
    if (!description.isObject())
        return {{}, Error::NotAnObject};
    const QJsonObject object = description.object();
    const auto record = row.value(field::chipType).toInt() == 0
                            ? mainRecord(row, object)
                            : auxRecord(row, list(object, package::key::chips));
    if (!record)
        return {{}, Error::NoMatchingChip};
    return {record->encode(), Error::None};
}

} // namespace planning
