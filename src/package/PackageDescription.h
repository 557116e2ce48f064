// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

namespace package {

/**
 * The content of a package's description. All values are strings, numbers too ("chip_type": "33");
 * a missing value, or one of another type, reads as an empty text, 0 or an empty list, and every
 * number is taken modulo 256.
 */
struct PackageDescription
{
    enum class Error {
        None,
        /** Not JSON, nested too deeply for QJsonDocument, or with a list under a repeated key. */
        NotJson,
        /** JSON, but with a list at the top level. */
        NotAnObject,
        /** The model and the version are still valid. */
        ChipsNotAnArray,
    };

    Error error = Error::NotJson;
    /** The position and reason of the error, for people; only with Error::NotJson. */
    QString parseError;
    QString model;
    QString version;
    bool hasModel = false;
    bool hasVersion = false;
    /**
     * One entry per image, in the description's order: name, chip type less one, quantity, MCU
     * type, PCB version, speciality (a character code) and the three version numbers, separated by
     * commas.
     */
    QStringList firmwareList;
    QJsonObject object;
    QByteArray json;
};

PackageDescription parseDescription(const QByteArray &json);

/** One image of a description: its objects and their positions in the lists. */
struct ImageEntry
{
    QJsonObject chip;
    QJsonObject mcu;
    QJsonObject pcb;
    int chipIndex = 0;
    int mcuIndex = 0;
    int pcbIndex = 0;
};

/** Every image in the description's order: chips, then their MCUs, then their PCBs. */
QVector<ImageEntry> imageEntries(const QJsonObject &description);

/** How the values of a description are read; building a package reads its request the same way. */
namespace description {

/** The text of a key, empty when there is none. */
QString text(const QJsonObject &object, const QString &key);

/** The decimal number of a key modulo 256, 0 when there is none. */
quint8 number(const QJsonObject &object, const QString &key);

/** The first byte of a text in UTF-8, 0 when it is empty. */
quint8 character(const QString &text);

} // namespace description

} // namespace package
