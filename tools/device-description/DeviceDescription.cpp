// SPDX-License-Identifier: Apache-2.0
#include "device-description/DeviceDescription.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
#include <QSet>
#include <QStringList>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

using protocol::AuxChip;

namespace {

/** Reads the values of one object and records its first error. */
class ObjectReader
{
public:
    ObjectReader(QJsonObject object, QString place)
        : m_object(std::move(object)), m_place(std::move(place))
    {
    }

    int number(const QString &key, int fallback, int least, int most)
    {
        const QJsonValue value = take(key);
        if (value.isUndefined())
            return fallback;
        const double read = value.toDouble(NAN);
        if (!(read >= least && read <= most) || read != std::floor(read))
            fail(key, QStringLiteral("must be a whole number from %1 to %2").arg(least).arg(most));
        return m_error.isEmpty() ? int(read) : fallback;
    }

    quint8 byte(const QString &key, quint8 fallback)
    {
        return quint8(number(key, fallback, 0, 255));
    }

    bool has(const QString &key) const { return m_object.contains(key); }

    bool flag(const QString &key, bool fallback)
    {
        const QJsonValue value = take(key);
        if (!value.isUndefined() && !value.isBool())
            fail(key, QStringLiteral("must be true or false"));
        return value.toBool(fallback);
    }

    QString text(const QString &key, const QString &fallback = QString())
    {
        const QJsonValue value = take(key);
        if (!value.isUndefined() && (!value.isString() || value.toString().size() > 255))
            fail(key, QStringLiteral("must be a text of at most 255 characters"));
        return value.toString(fallback);
    }

    std::chrono::milliseconds time(const QString &key, std::chrono::milliseconds fallback)
    {
        return std::chrono::milliseconds(number(key, int(fallback.count()), 0, 3'600'000));
    }

    std::optional<ChipVersion> version(const QString &key)
    {
        const QString written = text(key);
        const auto read = ChipVersion::parse(written);
        if (!written.isEmpty() && !read)
            fail(key, QStringLiteral("must be like \"1.2\" or \"1.2.3\", each number up to 255"));
        return read;
    }

    QList<ObjectReader> objects(const QString &key)
    {
        const QJsonValue value = take(key);
        if (!value.isUndefined() && !value.isArray())
            fail(key, QStringLiteral("must be an array"));
        QList<ObjectReader> readers;
        const QJsonArray items = value.toArray();
        for (const auto &item : items) {
            if (!item.isObject())
                fail(key, QStringLiteral("must hold objects"));
            readers.append(
                {item.toObject(), place(key) + QStringLiteral("[%1]").arg(readers.size())});
        }
        return readers;
    }

    void fail(const QString &key, const QString &what)
    {
        if (m_error.isEmpty())
            m_error = place(key) + QLatin1Char(' ') + what;
    }

    /** The first error, or the first unknown key. */
    QString error()
    {
        const QStringList keys = m_object.keys();
        for (const QString &key : keys) {
            if (!m_taken.contains(key))
                fail(key, QStringLiteral("is not a known key"));
        }
        return m_error;
    }

private:
    QString place(const QString &key) const
    {
        return m_place.isEmpty() ? key : m_place + QLatin1Char('.') + key;
    }

    QJsonValue take(const QString &key)
    {
        m_taken.insert(key);
        return m_object.value(key);
    }

    QJsonObject m_object;
    QString m_place;
    QSet<QString> m_taken;
    QString m_error;
};

ChipDescription readChip(ObjectReader &reader)
{
    ChipDescription chip;
    chip.name = reader.text(QStringLiteral("name"));
    chip.chipType = reader.byte(QStringLiteral("chip_type"), chip.chipType);
    chip.hasIndex = reader.has(QStringLiteral("chip_index"));
    chip.chipIndex = reader.byte(QStringLiteral("chip_index"), chip.chipIndex);
    chip.mcuType = reader.byte(QStringLiteral("mcu_type"), chip.mcuType);
    chip.pcbVersion = reader.byte(QStringLiteral("pcb_version"), chip.pcbVersion);
    const QString speciality = reader.text(QStringLiteral("speciality"), QStringLiteral("A"));
    if (speciality.size() != 1 || speciality.at(0).unicode() > 0x7F)
        reader.fail(QStringLiteral("speciality"), QStringLiteral("must be one ASCII character"));
    else
        chip.speciality = quint8(speciality.at(0).unicode());
    chip.version = reader.version(QStringLiteral("version")).value_or(ChipVersion());
    chip.upgradesTo = reader.version(QStringLiteral("upgrades_to"));
    chip.bootcode = reader.flag(QStringLiteral("bootcode"), chip.bootcode);
    chip.bootcodeClears = reader.flag(QStringLiteral("bootcode_clears"), chip.bootcodeClears);
    chip.productInformation =
        reader.flag(QStringLiteral("product_information"), chip.productInformation);
    return chip;
}

AuxChip readAux(ObjectReader &reader)
{
    AuxChip aux;
    aux.name = reader.text(QStringLiteral("name")).toLatin1();
    aux.chipType = reader.byte(QStringLiteral("chip_type"), aux.chipType);
    aux.quantity = reader.byte(QStringLiteral("quantity"), 1);
    return aux;
}

/** Reads an array of objects with `readOne`; the first error of an item becomes the array's. */
template<typename Item>
QVector<Item> readItems(ObjectReader &parent, const QString &key, Item (*readOne)(ObjectReader &),
                        QString *error)
{
    QVector<Item> items;
    const QList<ObjectReader> objects = parent.objects(key);
    for (ObjectReader reader : objects) {
        items.append(readOne(reader));
        if (error->isEmpty())
            *error = reader.error();
    }
    return items;
}

/** The quantity of a chip type in the main MCU's record; 1 if the type is not in it. */
quint8 quantityOf(quint8 chipType, const QVector<AuxChip> &auxChips)
{
    const auto found =
        std::find_if(auxChips.begin(), auxChips.end(),
                     [chipType](const AuxChip &aux) { return aux.chipType == chipType; });
    return found == auxChips.end() ? quint8(1) : found->quantity;
}

/** With the numbering "quantity" the quantity is the index. */
void numberByQuantity(DeviceDescription &device)
{
    for (ChipDescription &chip : device.chips) {
        if (!chip.hasIndex)
            chip.chipIndex = quantityOf(chip.chipType, device.auxChips);
    }
}

QString findDoubleChip(const QVector<ChipDescription> &chips)
{
    QSet<int> seen;
    for (const ChipDescription &chip : chips) {
        const int place = chip.chipType * 256 + chip.chipIndex;
        if (seen.contains(place))
            return QStringLiteral("chips: type %1, index %2 is there twice")
                .arg(chip.chipType)
                .arg(chip.chipIndex);
        seen.insert(place);
    }
    return {};
}

} // namespace

std::optional<ChipVersion> ChipVersion::parse(const QString &text)
{
    const QStringList parts = text.split(QLatin1Char('.'));
    if (parts.size() != 2 && parts.size() != 3)
        return std::nullopt;
    std::array<quint8, 3> numbers{};
    for (int i = 0; i < parts.size(); ++i) {
        bool isNumber = false;
        const uint number = parts.at(i).toUInt(&isNumber);
        if (!isNumber || number > 255)
            return std::nullopt;
        numbers.at(size_t(i)) = quint8(number);
    }
    ChipVersion version;
    version.first = numbers[0];
    version.second = numbers[1];
    version.third = numbers[2];
    version.hasThird = parts.size() == 3;
    return version;
}

QString ChipVersion::text() const
{
    const QString two = QStringLiteral("%1.%2").arg(first).arg(second);
    return hasThird ? QStringLiteral("%1.%2").arg(two).arg(third) : two;
}

std::optional<DeviceDescription> DeviceDescription::fromJson(const QByteArray &json, QString *error)
{
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (!document.isObject()) {
        *error = document.isNull() ? QStringLiteral("not JSON: %1 at byte %2 (line %3)")
                                         .arg(parseError.errorString())
                                         .arg(parseError.offset)
                                         .arg(1 + json.left(parseError.offset).count('\n'))
                                   : QStringLiteral("not a JSON object");
        return std::nullopt;
    }

    error->clear();
    DeviceDescription device;
    ObjectReader reader(document.object(), {});
    device.model = reader.text(QStringLiteral("model")).toLatin1();
    device.productId = reader.text(QStringLiteral("product_id"), QStringLiteral("\x01")).toLatin1();
    device.virtualVersion = reader.byte(QStringLiteral("virtual_version"), 0);
    device.restartTime = reader.time(QStringLiteral("restart_ms"), device.restartTime);
    device.rebootTime = reader.time(QStringLiteral("reboot_ms"), device.rebootTime);
    device.eraseTime = reader.time(QStringLiteral("erase_ms"), device.eraseTime);
    device.answerTime = reader.time(QStringLiteral("answer_ms"), device.answerTime);
    const QString fromZero = QStringLiteral("from-zero");
    const QString byQuantity = QStringLiteral("quantity");
    const QString numbering = reader.text(QStringLiteral("numbering"), fromZero);
    if (numbering != fromZero && numbering != byQuantity)
        reader.fail(QStringLiteral("numbering"),
                    QStringLiteral("must be \"from-zero\" or \"quantity\""));
    device.chips = readItems(reader, QStringLiteral("chips"), readChip, error);
    device.auxChips = readItems(reader, QStringLiteral("aux"), readAux, error);

    if (numbering == byQuantity)
        numberByQuantity(device);

    const QString topError = reader.error();
    if (error->isEmpty())
        *error = topError;
    if (error->isEmpty())
        *error = device.chips.isEmpty() ? QStringLiteral("chips must name at least one chip")
                                        : findDoubleChip(device.chips);
    return error->isEmpty() ? std::optional<DeviceDescription>(device) : std::nullopt;
}
