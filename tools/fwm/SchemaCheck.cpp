// SPDX-License-Identifier: Apache-2.0
// Missing and malformed values of the description. Devices silently read a malformed value as 0 or
// as an empty text, so only this check reports it.
#include "fwm/Findings.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "protocol/ChipTypes.h"

#include <QJsonArray>

namespace chip = protocol::chip;
namespace description = package::description;

namespace {

/** Whether a chip has variants, which its MCU type, PCB version and speciality distinguish. */
bool hasVariants(int chipTypeInDescription)
{
    return !chip::isFpga(chip::fromDescription(chipTypeInDescription));
}

constexpr int largestNumber = 255;

class Schema
{
public:
    explicit Schema(qint64 offset) : m_offset(offset) {}

    QVector<Finding> check(const QJsonObject &description);

private:
    /** `allowed` follows "it must be". */
    void say(const QString &place, const QJsonValue &value, const QString &allowed)
    {
        m_findings.append(
            {Finding::Severity::Error, QStringLiteral("description-schema"), m_offset,
             QStringLiteral("%1 is %2; it must be %3").arg(place, valueText(value), allowed),
             place});
    }

    void text(const QJsonObject &object, const QString &place, const QString &key);
    void number(const QJsonObject &object, const QString &place, const QString &key, int least = 0);
    void chip(const QJsonObject &chip, const QString &place);
    void mcu(const QJsonObject &mcu, const QString &place, int chipType);
    void pcb(const QJsonObject &pcb, const QString &place, int chipType);
    void speciality(const QJsonValue &value, const QString &place, int chipType);

    /** Calls `check(object, place)` for everything in a list of objects. */
    template<typename Check>
    void objects(const QJsonObject &parent, const QString &place, const QString &key,
                 const Check &check)
    {
        const QString whole = place + key;
        if (!parent.value(key).isArray()) {
            say(whole, parent.value(key), QStringLiteral("a list"));
            return;
        }
        const QJsonArray list = parent.value(key).toArray();
        for (int index = 0; index < list.size(); ++index) {
            const QString item = QStringLiteral("%1[%2]").arg(whole).arg(index);
            if (list.at(index).isObject())
                check(list.at(index).toObject(), item + QLatin1Char('.'));
            else
                say(item, list.at(index), QStringLiteral("an object"));
        }
    }

    qint64 m_offset;
    QVector<Finding> m_findings;
};

QVector<Finding> Schema::check(const QJsonObject &description)
{
    text(description, {}, package::key::model);
    text(description, {}, package::key::version);
    objects(description, {}, package::key::chips,
            [this](const QJsonObject &object, const QString &place) { chip(object, place); });
    return m_findings;
}

void Schema::text(const QJsonObject &object, const QString &place, const QString &key)
{
    if (!object.value(key).isString())
        say(place + key, object.value(key), QStringLiteral("a string"));
}

void Schema::number(const QJsonObject &object, const QString &place, const QString &key, int least)
{
    if (!isDecimal(description::text(object, key), least, largestNumber))
        say(place + key, object.value(key), decimalText(least, largestNumber));
}

void Schema::chip(const QJsonObject &chip, const QString &place)
{
    text(chip, place, package::key::name);
    number(chip, place, package::key::chipType, 1);
    number(chip, place, package::key::chipQuantity, 1);
    const int chipType = description::number(chip, package::key::chipType);
    objects(chip, place, package::key::mcus,
            [this, chipType](const QJsonObject &object, const QString &inner) {
                mcu(object, inner, chipType);
            });
}

void Schema::mcu(const QJsonObject &mcu, const QString &place, int chipType)
{
    number(mcu, place, package::key::mcuType, hasVariants(chipType) ? 1 : 0);
    objects(mcu, place, package::key::pcbs,
            [this, chipType](const QJsonObject &object, const QString &inner) {
                pcb(object, inner, chipType);
            });
}

void Schema::pcb(const QJsonObject &pcb, const QString &place, int chipType)
{
    text(pcb, place, package::key::name);
    number(pcb, place, package::key::pcbVersion, hasVariants(chipType) ? 1 : 0);
    speciality(pcb.value(package::key::speciality), place + package::key::speciality, chipType);
    for (const QString &version : {package::key::ver1, package::key::ver2, package::key::ver3})
        number(pcb, place, version);
}

void Schema::speciality(const QJsonValue &value, const QString &place, int chipType)
{
    const QString text = value.toString();
    const bool isLetter =
        text.size() == 1 && text >= QLatin1String("A") && text <= QLatin1String("Z");
    const bool isNeeded = hasVariants(chipType);
    if (!value.isString() || (!isLetter && (isNeeded || text.size() > 1)))
        say(place, value,
            isNeeded ? QStringLiteral("one letter from \"A\" to \"Z\"")
                     : QStringLiteral("one letter, or \"\""));
}

} // namespace

QVector<Finding> schemaFindings(const PackageContents &contents)
{
    return Schema(contents.header.jsonOffset).check(contents.description.object);
}
