// SPDX-License-Identifier: Apache-2.0
#include "engine/TestPackage.h"

#include "bytes/Crc32.h"
#include "support/NetFrames.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using bytes::Crc32;

namespace {

QJsonObject chipObject(const TestImage &image)
{
    const QJsonObject pcb{{"name", image.name},
                          {"pcb_version", QString::number(image.pcbVersion)},
                          {"speciality", QString(QLatin1Char(image.speciality))},
                          {"ver1", QString::number(image.version.value(0))},
                          {"ver2", QString::number(image.version.value(1))},
                          {"ver3", QString::number(image.version.value(2))}};
    const QJsonObject mcu{{"mcu_type", QString::number(image.mcuType)}, {"pcbs", QJsonArray{pcb}}};
    return {{"name", image.name},
            {"chip_type", QString::number(image.chipType + 1)},
            {"chip_quanity", QString::number(image.quantity)},
            {"mcus", QJsonArray{mcu}}};
}

QByteArray record(const TestImage &image)
{
    QByteArray bytes;
    for (const int byte :
         {image.chipType, image.quantity, image.mcuType, image.pcbVersion, int(image.speciality),
          image.version.value(0), image.version.value(1), image.version.value(2)})
        bytes.append(char(byte));
    for (int shift = 0; shift < 32; shift += 8)
        bytes.append(char((image.bytes.size() >> shift) & 0xFF));
    return bytes + image.bytes;
}

} // namespace

QByteArray makePackage(const QVector<TestImage> &images, const QString &model,
                       const QString &release)
{
    QJsonArray chips;
    QByteArray records;
    for (const TestImage &image : images) {
        chips.append(chipObject(image));
        if (image.hasRecord)
            records.append(record(image));
    }
    const QByteArray json =
        QJsonDocument(QJsonObject{{"model", model}, {"version", release}, {"chips", chips}})
            .toJson(QJsonDocument::Compact);
    return withChecksum(packageWithJson(json).mid(8) + records);
}

QByteArray packageWithJson(const QByteArray &json)
{
    QByteArray body("MTU\0\6", 5);
    body.append(char(json.size() & 0xFF)).append(char(json.size() >> 8));
    return withChecksum(body + json);
}

QByteArray bareForm(const QByteArray &package, int version)
{
    QByteArray bare = package.mid(8, 7) + QByteArray(2, '\0') + package.mid(15);
    bare[4] = char(version);
    return bare;
}

void storePackage(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write the test package");
}

QByteArray netImageOf(const QByteArray &archive)
{
    return netframes::header(archive) + archive;
}

QByteArray patternImage(int size, int seed)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = char((i * 7 + i / 256 * 13 + seed * 31) & 0xFF);
    return bytes;
}

QByteArray withVersion(QByteArray package, int version)
{
    package[11] = char(version >> 8);
    package[12] = char(version & 0xFF);
    return withChecksum(package.mid(8));
}

QByteArray withChecksum(const QByteArray &body)
{
    Crc32 crc;
    crc.add(body);
    return crc.text().leftJustified(8, '\0') + body;
}
