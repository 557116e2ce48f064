// SPDX-License-Identifier: Apache-2.0
#include "fwm/RequestFindings.h"

#include "common/NearestWord.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "protocol/ChipTypes.h"

#include <QJsonArray>

#include <algorithm>
#include <tuple>

namespace chip = protocol::chip;
namespace description = package::description;
namespace key = package::key;
using package::ImageEntry;
using package::MergeImage;
using package::MergeRequest;
using package::parseDescription;
using package::RecordKey;

namespace {

using Severity = Finding::Severity;

const QString requestErrorName = QStringLiteral("request-value");
/** A request is not a package, and has no offsets. */
constexpr qint64 noOffset = 0;
constexpr int largestValue = 255;

const QStringList descriptionKeys{key::model, key::version, key::chips};
const QStringList chipKeys{key::name, key::chipType, key::chipQuantity, key::mcus};
const QStringList mcuKeys{key::mcuType, key::pcbs};
const QStringList pcbKeys{
    key::name,         key::pcbVersion,   key::speciality, key::ver1,           key::ver2,
    key::ver3,         key::file,         key::inChipType, key::inChipQuantity, key::inMcuType,
    key::inPcbVersion, key::inSpeciality, key::inVer1,     key::inVer2,         key::inVer3};

QString chipPlace(const ImageEntry &entry)
{
    return QStringLiteral("chips[%1]").arg(entry.chipIndex);
}

/** A key of the image and the one of the entry from which it follows. */
struct Pair
{
    const QString &inKey;
    const QString &entryKey;
    const QJsonObject &entryObject;
    QString entryPlace;
    quint8 stored;
    quint8 described;
};

QVector<Pair> pairsOf(const MergeImage &image, const RecordKey &entry)
{
    const auto &[chip, mcu, pcb] = std::tie(image.entry.chip, image.entry.mcu, image.entry.pcb);
    const QString chipAt = chipPlace(image.entry);
    const QString mcuAt = chipAt + QStringLiteral(".mcus[%1]").arg(image.entry.mcuIndex);
    const QString pcbAt = placeText(image.entry);
    const RecordKey &record = image.key;
    return {
        {key::inChipType, key::chipType, chip, chipAt, record.chipType, entry.chipType},
        {key::inChipQuantity, key::chipQuantity, chip, chipAt, record.chipQuantity,
         entry.chipQuantity},
        {key::inMcuType, key::mcuType, mcu, mcuAt, record.mcuType, entry.mcuType},
        {key::inPcbVersion, key::pcbVersion, pcb, pcbAt, record.pcbVersion, entry.pcbVersion},
        {key::inSpeciality, key::speciality, pcb, pcbAt, record.speciality, entry.speciality},
        {key::inVer1, key::ver1, pcb, pcbAt, record.ver1, entry.ver1},
        {key::inVer2, key::ver2, pcb, pcbAt, record.ver2, entry.ver2},
        {key::inVer3, key::ver3, pcb, pcbAt, record.ver3, entry.ver3},
    };
}

QString quoted(const QString &name)
{
    return QLatin1Char('"') + name + QLatin1Char('"');
}

/** The values of a pair that do not fit, and what would. */
QString pairText(const Pair &pair, const QJsonObject &pcb)
{
    const QString stored = valueText(pcb.value(pair.inKey));
    const QString described = valueText(pair.entryObject.value(pair.entryKey));
    if (pair.entryKey != key::chipType)
        return QStringLiteral("%1 is %2, but %3 is %4; both must be the same")
            .arg(quoted(pair.inKey), stored, quoted(pair.entryKey), described);
    const QString rule = QStringLiteral("\"chip_type\" counts from 1 and must be \"in_chip_type\" "
                                        "plus one");
    if (stored == described)
        return QStringLiteral("\"in_chip_type\" and \"chip_type\" are both %1; %2")
            .arg(stored, rule);
    return QStringLiteral("\"in_chip_type\" is %1, but \"chip_type\" is %2; %3")
        .arg(stored, described, rule);
}

/** Of the key that keeps an image out of every package. */
Finding mergeError(const MergeImage &image)
{
    using Error = MergeImage::Error;
    const auto at = [](const QString &place, const QJsonObject &object, const QString &name,
                       const QString &allowed) {
        const QString whole = place + QLatin1Char('.') + name;
        return requestError(whole, QStringLiteral("%1 is %2; it must be %3")
                                       .arg(whole, valueText(object.value(name)), allowed));
    };
    const QJsonObject &pcb = image.entry.pcb;
    const QString place = placeText(image.entry);
    const QString number = decimalText(1, largestValue);
    switch (image.error) {
    case Error::ChipType:
        return at(chipPlace(image.entry), image.entry.chip, key::chipType, number);
    case Error::ChipQuantity:
        return at(place, pcb, key::inChipQuantity, number);
    case Error::McuType:
        return at(place, pcb, key::inMcuType, number);
    case Error::PcbVersion:
        return at(place, pcb, key::inPcbVersion, number);
    case Error::Speciality:
        return at(place, pcb, pcb.contains(key::inSpeciality) ? key::inSpeciality : key::speciality,
                  QStringLiteral("one letter from \"A\" to \"Z\", or its code from \"65\" to "
                                 "\"90\""));
    case Error::NeedVer3:
    case Error::None:
        break;
    }
    return at(place, pcb, key::ver3, decimalText(0, largestValue));
}

bool isAbout(const QVector<Finding> &findings, const QString &place)
{
    return std::any_of(findings.begin(), findings.end(),
                       [&place](const Finding &one) { return one.place == place; });
}

/**
 * Values of the record that have another form, or do not fit the entry; those for which a value is
 * wrong already are left out.
 */
void findDifferences(const MergeImage &image, QVector<Finding> &findings)
{
    const QString place = placeText(image.entry) + QLatin1Char('.');
    const QJsonObject &pcb = image.entry.pcb;
    const QVector<Pair> pairs = pairsOf(image, keyOfEntry(image.entry));
    for (const Pair &pair : pairs) {
        const QString whole = place + pair.inKey;
        const bool isNumber = pair.inKey != key::inSpeciality;
        const bool isWrongForm = isNumber && pcb.contains(pair.inKey) &&
                                 !isDecimal(description::text(pcb, pair.inKey), 0, largestValue);
        if (isAbout(findings, whole) ||
            isAbout(findings, pair.entryPlace + QLatin1Char('.') + pair.entryKey))
            continue;
        if (isWrongForm)
            findings.append(
                {Severity::Error, QStringLiteral("description-schema"), noOffset,
                 QStringLiteral("%1 is %2; it must be %3")
                     .arg(whole, valueText(pcb.value(pair.inKey)), decimalText(0, largestValue)),
                 whole});
        else if (pair.stored != pair.described)
            findings.append({Severity::Error, QStringLiteral("record-differs"), noOffset,
                             pairText(pair, pcb), whole});
    }
}

/** Calls `visit(object, place)` for the objects in a list. */
template<typename Visit>
void forEachObject(const QJsonObject &parent, const QString &place, const Visit &visit)
{
    const QString name = place.section(QLatin1Char('.'), -1);
    const QJsonArray list = parent.value(name).toArray();
    for (int index = 0; index < list.size(); ++index)
        visit(list.at(index).toObject(), QStringLiteral("%1[%2]").arg(place).arg(index));
}

void findUnknownKeysOfAll(const QJsonObject &request, QVector<Finding> &findings)
{
    findUnknownKeys(request, {}, QStringLiteral("a request"), descriptionKeys, findings);
    const auto visitPcb = [&](const QJsonObject &pcb, const QString &place) {
        findUnknownKeys(pcb, place, QStringLiteral("a PCB"), pcbKeys, findings);
    };
    const auto visitMcu = [&](const QJsonObject &mcu, const QString &place) {
        findUnknownKeys(mcu, place, QStringLiteral("an MCU"), mcuKeys, findings);
        forEachObject(mcu, place + QLatin1Char('.') + key::pcbs, visitPcb);
    };
    const auto visitChip = [&](const QJsonObject &chip, const QString &place) {
        findUnknownKeys(chip, place, QStringLiteral("a chip"), chipKeys, findings);
        forEachObject(chip, place + QLatin1Char('.') + key::mcus, visitMcu);
    };
    forEachObject(request, key::chips, visitChip);
}

} // namespace

Finding requestError(const QString &place, const QString &text)
{
    return {Severity::Error, requestErrorName, noOffset, text, place};
}

bool isRequestError(const Finding &finding)
{
    return finding.name == requestErrorName;
}

void findUnknownKeys(const QJsonObject &object, const QString &place, const QString &what,
                     const QStringList &known, QVector<Finding> &findings)
{
    for (const QString &name : object.keys()) {
        if (known.contains(name))
            continue;
        const QString whole = place.isEmpty() ? name : place + QLatin1Char('.') + name;
        const QString nearest = nearestWord(name, known);
        if (nearest.isEmpty())
            findings.append(
                {Severity::Warning, QStringLiteral("key-unknown"), noOffset,
                 QStringLiteral("\"%1\" is not a key of %2, and is ignored").arg(name, what),
                 whole});
        else
            findings.append({Severity::Error, QStringLiteral("key-misspelt"), noOffset,
                             QStringLiteral("\"%1\" is not a key of %2; did you mean \"%3\"?")
                                 .arg(name, what, nearest),
                             whole});
    }
}

QVector<Finding> requestFindings(const MergeRequest &request)
{
    QVector<Finding> findings;
    PackageContents contents;
    contents.description = parseDescription(request.json);
    for (const MergeImage &image : request.images) {
        contents.entries.append(image.entry);
        if (image.error != MergeImage::Error::None)
            findings.append(mergeError(image));
    }
    // The same value may be wrong in more than one respect; the first one says enough.
    const QVector<Finding> others = schemaFindings(contents) + nameFindings(contents);
    for (const Finding &other : others) {
        if (!isAbout(findings, other.place))
            findings.append(other);
    }
    for (const MergeImage &image : request.images)
        findDifferences(image, findings);
    findUnknownKeysOfAll(contents.description.object, findings);
    return findings;
}
