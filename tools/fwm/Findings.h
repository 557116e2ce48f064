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
};

/** Everything that is wrong, from the front of the package to its end. */
QVector<Finding> findingsIn(const PackageContents &contents);

bool hasErrors(const QVector<Finding> &findings);

/** "0x00000008: error: ... [checksum-wrong]". */
QString findingText(const Finding &finding);

/** What the description lacks or has in the wrong form. */
QVector<Finding> schemaFindings(const PackageContents &contents);
