// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QVector>

namespace package {

/**
 * What a package says about itself. The values of the description are strings, numbers too
 * ("chip_type": "33"); what is missing or has another type counts as an empty text, as 0 or as an
 * empty list, and every number is taken modulo 256.
 */
struct PackageDescription
{
    enum class Error {
        None,
        /** Not JSON, nested deeper than QJsonDocument goes, or with a list under one key twice. */
        NotJson,
        /** JSON, but a list at the top. */
        NotAnObject,
        /** The model and the version are known all the same. */
        ChipsNotAnArray,
    };

    Error error = Error::NotJson;
    /** What is wrong and where, for people; only with Error::NotJson. */
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

/** One image of a description: the objects that speak of it and their places in the lists. */
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
