// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fwm/Findings.h"

#include <QJsonObject>

/** The keys of a short request; the others are those of the description. */
namespace shortkey {

const inline QString images = QStringLiteral("images");
const inline QString release = QStringLiteral("release");
const inline QString chip = QStringLiteral("chip");
const inline QString quantity = QStringLiteral("quantity");
const inline QString version = QStringLiteral("version");
const inline QString file = QStringLiteral("file");

} // namespace shortkey

/** What a short request stands for. */
struct LongForm
{
    QJsonObject object;
    /** Values that are not allowed; their places are those of the short request. */
    QVector<Finding> findings;

    /** Compact, in ASCII: the description of the package. */
    QByteArray json() const;
};

/** One chip object for each image, in the same order. The request has a list of "images". */
LongForm longForm(const QJsonObject &request);

/** The value of a short request for one of its long form: "images[0].file" for
 *  "chips[0].mcus[0].pcbs[0].fw_file". */
QString shortPlace(const QString &longPlace);

/** A text with such places instead of those of the long form. */
QString withShortPlaces(const QString &text);

/** A sample with every key and a comment for each. */
QByteArray sampleRequest();
