// SPDX-License-Identifier: Apache-2.0
// Missing and malformed values of the description. Devices silently read a malformed value as 0 or
// as an empty text, so only this check reports it.
#include "fwm/Findings.h"
#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "protocol/ChipTypes.h"

#include <QJsonArray>
#include <QRegularExpression>

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
    void say(const QString &place, const QString &text)
    {
        m_findings.append({Finding::Severity::Error, QStringLiteral("description-schema"), m_offset,
                           place + QLatin1Char(' ') + text});
    }

    void text(const QJsonObject &object, const QString &place, const QString &key);
    void number(const QJsonObject &object, const QString &place, const QString &key, int least = 0);
    void chip(const QJsonObject &chip, const QString &place);
    void mcu(const QJsonObject &mcu, const QString &place, int chipType);
    void pcb(const QJsonObject &pcb, const QString &place, int chipType);
    void speciality(const QString &value, const QString &place, int chipType);

    /** Calls `check(object, place)` for everything in a list of objects. */
    template<typename Check>
    void objects(const QJsonObject &parent, const QString &place, const QString &key,
                 const Check &check)
    {
        const QString whole = place + key;
        if (!parent.value(key).isArray()) {
            say(whole, QStringLiteral("is missing or no list"));
            return;
        }
        const QJsonArray list = parent.value(key).toArray();
        for (int index = 0; index < list.size(); ++index) {
            const QString item = QStringLiteral("%1[%2]").arg(whole).arg(index);
            if (list.at(index).isObject())
                check(list.at(index).toObject(), item + QLatin1Char('.'));
            else
                say(item, QStringLiteral("is not an object"));
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
        say(place + key, QStringLiteral("is missing or not a string"));
}

void Schema::number(const QJsonObject &object, const QString &place, const QString &key, int least)
{
    static const QRegularExpression decimal(QStringLiteral("\\A[0-9]{1,9}\\z"));
    const QString value = description::text(object, key);
    if (!object.value(key).isString())
        say(place + key, QStringLiteral("is missing or not a string"));
    else if (!decimal.match(value).hasMatch())
        say(place + key, QStringLiteral("\"%1\" is not a decimal number").arg(value));
    else if (value.toInt() < least || value.toInt() > largestNumber)
        say(place + key,
            QStringLiteral("%1 is not within %2 to %3").arg(value).arg(least).arg(largestNumber));
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
    // Devices read their own list by its commas.
    if (description::text(pcb, package::key::name).contains(QLatin1Char(',')))
        say(place + package::key::name,
            QStringLiteral("has a comma, which shifts every later field"));
    number(pcb, place, package::key::pcbVersion, hasVariants(chipType) ? 1 : 0);
    if (pcb.value(package::key::speciality).isString())
        speciality(description::text(pcb, package::key::speciality),
                   place + package::key::speciality, chipType);
    else
        say(place + package::key::speciality, QStringLiteral("is missing or not a string"));
    for (const QString &version : {package::key::ver1, package::key::ver2, package::key::ver3})
        number(pcb, place, version);
}

void Schema::speciality(const QString &value, const QString &place, int chipType)
{
    const bool isLetter =
        value.size() == 1 && value >= QLatin1String("A") && value <= QLatin1String("Z");
    const bool isNeeded = hasVariants(chipType);
    if (!isLetter && (isNeeded || value.size() > 1))
        say(place, QStringLiteral("\"%1\" is not a single letter A to Z").arg(value));
}

} // namespace

QVector<Finding> schemaFindings(const PackageContents &contents)
{
    return Schema(contents.header.jsonOffset).check(contents.description.object);
}
