// SPDX-License-Identifier: Apache-2.0
#include "package/NetMerge.h"

#include "bytes/Chunks.h"
#include "package/DescriptionKeys.h"
#include "package/PackageChecksum.h"
#include "package/PackageLayout.h"
#include "protocol/ChipTypes.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>

namespace chip = protocol::chip;
using bytes::ByteSource;
using bytes::forEachChunk;
using bytes::PartSource;

namespace package {

namespace {

/** The network module's number in records and in descriptions. */
constexpr quint8 netChipType = 32;
constexpr quint8 netChipTypeInJson = 33;

constexpr qint64 md5Chunk = 4096;
constexpr int minorOffset = 2;

int netChipIndex(const QJsonArray &chips)
{
    for (int index = 0; index < chips.size(); ++index) {
        if (description::number(chips.at(index).toObject(), key::chipType) == netChipTypeInJson)
            return index;
    }
    return -1;
}

void setNetValues(QJsonObject &pcb, const NetImage &net, const QString &netPath)
{
    pcb.insert(key::name, QStringLiteral("NET"));
    pcb.insert(key::ver1, netMajorVersion(net));
    pcb.insert(key::ver2, netMinorVersion(net));
    pcb.insert(key::ver3, QStringLiteral("00"));
    pcb.insert(key::file, netPath);
}

QJsonObject newNetMcu(const NetImage &net, const QString &netPath)
{
    QJsonObject pcb{{key::pcbVersion, QStringLiteral("0")}, {key::speciality, QString()}};
    setNetValues(pcb, net, netPath);
    return {{key::mcuType, QStringLiteral("0")}, {key::pcbs, QJsonArray{pcb}}};
}

QJsonObject newNetChip(const NetImage &net, const QString &netPath)
{
    return {{key::name, QStringLiteral("NET")},
            {key::chipType, QString::number(chip::toDescription(chip::networkModule))},
            {key::chipQuantity, QStringLiteral("1")},
            {key::mcus, QJsonArray{newNetMcu(net, netPath)}}};
}

/** Updates the first PCB of the first MCU; a chip entry without one gets a new first MCU. */
QJsonObject updatedNetChip(QJsonObject chip, const NetImage &net, const QString &netPath)
{
    QJsonArray mcus = chip.value(key::mcus).toArray();
    QJsonObject mcu = mcus.isEmpty() ? QJsonObject() : mcus.first().toObject();
    QJsonArray pcbs = mcu.value(key::pcbs).toArray();
    if (pcbs.isEmpty()) {
        if (mcus.isEmpty())
            mcus.append(newNetMcu(net, netPath));
        else
            mcus.replace(0, newNetMcu(net, netPath));
    } else {
        QJsonObject pcb = pcbs.first().toObject();
        setNetValues(pcb, net, netPath);
        pcbs.replace(0, pcb);
        mcu.insert(key::pcbs, pcbs);
        mcus.replace(0, mcu);
    }
    chip.insert(key::mcus, mcus);
    return chip;
}

NetMergePlan::Error errorOf(PackageDescription::Error error)
{
    switch (error) {
    case PackageDescription::Error::None:
        break;
    case PackageDescription::Error::NotJson:
        return NetMergePlan::Error::NotJson;
    case PackageDescription::Error::NotAnObject:
        return NetMergePlan::Error::NotAnObject;
    case PackageDescription::Error::ChipsNotAnArray:
        return NetMergePlan::Error::ChipsNotAnArray;
    }
    return NetMergePlan::Error::None;
}

int chipCount(const QJsonObject &description)
{
    return description.value(key::chips).toArray().size();
}

/** Whether every record is complete; also finds the first one of the network module. */
bool walkRecords(ByteSource &package, NetMergePlan &plan)
{
    RecordWalker walker(package, plan.header.recordsOffset());
    while (const std::optional<ImageRecord> record = walker.next()) {
        if (record->key.chipType == netChipType && !plan.oldRecord)
            plan.oldRecord = record;
    }
    return walker.state() == RecordWalker::State::End;
}

} // namespace

bool NetCheck::matches() const
{
    return !computedMd5.isEmpty() && computedMd5.toUpper() == image.md5Text.toUpper();
}

bool NetCheck::installs() const
{
    return !computedMd5.isEmpty() && computedMd5 == image.md5Text;
}

NetCheck checkNetImage(ByteSource &image)
{
    NetCheck check;
    check.image = readNetImage(image);
    const qint64 size = image.size();
    if (size < net::archiveOffset)
        return check;

    QCryptographicHash md5(QCryptographicHash::Md5);
    const auto add = [&md5](const char *bytes, qint64 count) {
        md5.addData(QByteArray::fromRawData(bytes, int(count)));
        return true;
    };
    if (forEachChunk(image, net::archiveOffset, md5Chunk, add) < size)
        return check;
    check.computedMd5 = md5.result().toHex();
    return check;
}

QString netMajorVersion(const NetImage &image)
{
    return QString::fromLatin1(image.version.left(1));
}

QString netMinorVersion(const NetImage &image)
{
    return QString::fromLatin1(image.version.mid(minorOffset));
}

RecordKey netRecordKey(const NetImage &image)
{
    RecordKey record;
    record.chipType = netChipType;
    record.chipQuantity = 1;
    record.ver1 = quint8(netMajorVersion(image).toUInt());
    record.ver2 = quint8(netMinorVersion(image).toUInt());
    return record;
}

QJsonObject withNetEntry(const QJsonObject &description, const NetImage &net,
                         const QString &netPath)
{
    QJsonObject result = description;
    QJsonArray chips = result.value(key::chips).toArray();
    const int index = netChipIndex(chips);
    if (index < 0)
        chips.append(newNetChip(net, netPath));
    else
        chips.replace(index, updatedNetChip(chips.at(index).toObject(), net, netPath));
    result.insert(key::chips, chips);
    return result;
}

NetMergePlan planNetMerge(ByteSource &package, const NetImage &net, const QString &netPath,
                          const QString &newVersion)
{
    using Error = NetMergePlan::Error;
    NetMergePlan plan;
    plan.netKey = netRecordKey(net);
    const auto ended = [&plan](Error error) {
        plan.error = error;
        return plan;
    };

    plan.header = readPackageHeader(package);
    if (plan.header.error != PackageHeader::Error::None)
        return ended(Error::BadHead);
    if (!checkPackage(package).matches())
        return ended(Error::BadChecksum);
    const PackageDescription old = parseDescription(readDescription(package, plan.header));
    if (old.error != PackageDescription::Error::None)
        return ended(errorOf(old.error));
    if (!walkRecords(package, plan))
        return ended(Error::BadRecords);

    QJsonObject updated = withNetEntry(old.object, net, netPath);
    if (!newVersion.isEmpty())
        updated.insert(key::version, newVersion);
    plan.hadNet = netChipIndex(old.object.value(key::chips).toArray()) >= 0;
    plan.chipsBefore = chipCount(old.object);
    plan.chipsAfter = chipCount(updated);
    plan.json = QJsonDocument(updated).toJson(QJsonDocument::Compact);
    if (plan.json.size() > package::longestShortJson)
        return ended(Error::DescriptionTooLong);
    return ended(Error::None);
}

bool writeNetMerge(PackageWriter &writer, const NetMergePlan &plan, ByteSource &package,
                   ByteSource &net)
{
    if (!writer.writeHeader(plan.json, quint16(plan.json.size())))
        return false;
    RecordWalker walker(package, plan.header.recordsOffset());
    while (const std::optional<ImageRecord> record = walker.next()) {
        if (record->key.chipType == netChipType)
            continue;
        PartSource image(package, record->imageOffset, record->length);
        if (!writer.writeRecord(record->key, image))
            return false;
    }
    return walker.state() == RecordWalker::State::End && writer.writeRecord(plan.netKey, net) &&
           writer.finish();
}

} // namespace package
