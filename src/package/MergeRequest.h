// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/ImageRecord.h"
#include "package/PackageDescription.h"

#include <QVector>

namespace package {

/** One image that a request wants in the package. */
struct MergeImage
{
    /** In the order in which the values are checked. */
    enum class Error {
        None,
        NeedVer3,
        ChipType,
        ChipQuantity,
        McuType,
        PcbVersion,
        Speciality,
    };

    Error error = Error::None;
    RecordKey key;
    /** From the request; relative paths are not resolved. */
    QString file;
    /** The image's place in the request. */
    ImageEntry entry;
};

/** The console's text for a refused image; empty for Error::None. */
QString mergeErrorText(MergeImage::Error error);

/**
 * A request to build a package: a package description that names for every PCB the image's file
 * ("fw_file") and the key bytes of its record ("in_chip_type" and so on). It becomes the package's
 * description unchanged.
 */
struct MergeRequest
{
    using Error = PackageDescription::Error;

    Error error = Error::NotJson;
    /** The position and reason of a JSON error, for people. */
    QString parseError;
    /** The description to write, in UTF-8. */
    QByteArray json;
    /**
     * The length field to write. It counts characters and wraps at 65,536, so that only requests in
     * plain ASCII below that size give a readable package.
     */
    quint16 jsonLength = 0;
    /** Images are written in this order, and building stops at the first bad one. */
    QVector<MergeImage> images;
};

MergeRequest parseMergeRequest(const QString &text);

} // namespace package
