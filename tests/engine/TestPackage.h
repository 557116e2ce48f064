// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

/** One image for a test package; numbers as the device's frames have them. */
struct TestImage
{
    QString name;
    int chipType = 0;
    int quantity = 1;
    int mcuType = 1;
    int pcbVersion = 1;
    char speciality = 'A';
    QVector<int> version{1, 0, 0};
    QByteArray bytes;
    /** False: the description lists the image and the records lack it. */
    bool hasRecord = true;
};

/** Bytes of a package of the newest form; `model` and `release` go into the description. */
QByteArray makePackage(const QVector<TestImage> &images, const QString &model = QString("HX-8"),
                       const QString &release = QString("1.0.12"));

/** Image bytes in which every block is different. */
QByteArray patternImage(int size, int seed = 1);

/** The package with other version bytes and a correct checksum. */
QByteArray withVersion(QByteArray package, int version);
/** The package in the form without a checksum, with this version. */
QByteArray bareForm(const QByteArray &package, int version = 6);
/** The bytes, preceded by their checksum in eight places. */
QByteArray withChecksum(const QByteArray &body);
/** A package with this description and no records. */
QByteArray packageWithJson(const QByteArray &json);
/** Writes the package's file. */
void storePackage(const QString &path, const QByteArray &bytes);
/** A NET image of version 1.23 with a digest that fits. */
QByteArray netImageOf(const QByteArray &archive);
