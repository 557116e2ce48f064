// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Printable.h"
#include "package/ImageRecord.h"
#include "package/PackageDescription.h"

#include <QJsonValue>
#include <QString>
#include <QStringList>

/** "0x0000002a". */
QString offsetText(qint64 offset);

/** "1.2.3". */
QString versionText(const package::RecordKey &key);

/** "A"; the number of a code that is not a letter, and nothing for 0. */
QString specialityText(quint8 code);

/** "chip type 0, MCU type 1, PCB version 1, speciality A". */
QString keyText(const package::RecordKey &key);

/** Whether a text is the version of a network module image: "1.23". */
bool isNetVersion(const QString &text);

/** Where in the description an image is: "chips[0].mcus[1].pcbs[0]". */
QString placeText(const package::ImageEntry &entry);

/** A value of a request or description as JSON, cut short; "missing" without one. */
QString valueText(const QJsonValue &value);

/** Whether a text is a decimal number in a range. */
bool isDecimal(const QString &text, int least, int most);

/** What such a text must be: a decimal number from "1" to "255", as a string. */
QString decimalText(int least, int most);

/** "1 byte", "2 bytes". */
QString bytesText(qint64 count);

/** "1 image", "2 images". */
QString imageCountText(int count);

/** Lines with their columns under each other; the first row is the head. */
QString tableText(const QVector<QStringList> &rows);
