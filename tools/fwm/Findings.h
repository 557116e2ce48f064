// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "fwm/PackageContents.h"

/** One thing that is wrong with a package. */
struct Finding
{
    enum class Severity {
        /** A device refuses the package, or an image of it cannot be used as described. */
        Error,
        Warning,
    };

    Severity severity;
    /** For scripts: "record-missing". */
    QString name;
    /** Of the byte it is about, from the start of the package. */
    qint64 offset;
    QString text;
    /** The value of the description that it is about, "chips[0].name"; otherwise empty. */
    QString place = {};
    /** The index of the record that it is about, or -1. */
    int image = -1;
};

/** Everything that is wrong, from the front of the package to its end. */
QVector<Finding> findingsIn(const PackageContents &contents);

/** What is wrong with an image of the network module; `index` is that of its record, or -1. */
QVector<Finding> netImageFindings(const ImageInfo &image, int index = -1);

bool hasErrors(const QVector<Finding> &findings);

/** "0x00000008: error: ... [checksum-wrong]". */
QString findingText(const Finding &finding);

/** What the description lacks or has in the wrong form. */
QVector<Finding> schemaFindings(const PackageContents &contents);

/** Images that no chip takes, or that are not firmware. */
QVector<Finding> imageFindings(const PackageContents &contents);

/** Names that no request can have or that two chips share, and a description without images. */
QVector<Finding> nameFindings(const PackageContents &contents);
