// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/ImageRecord.h"
#include "package/NetImage.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"
#include "package/PackageWriter.h"

#include <optional>

namespace package {

/** A network module image compared with its stored MD5. */
struct NetCheck
{
    NetImage image;
    /** Of the archive, in lowercase hexadecimal; empty for an image with an incomplete head. */
    QByteArray computedMd5;

    /** Ignores the case of the stored text. */
    bool matches() const;
    /** As the install compares, which requires lowercase. */
    bool installs() const;
};

/** Reads the whole image, in small pieces. */
NetCheck checkNetImage(bytes::ByteSource &image);

/** "1" of version "1.23". */
QString netMajorVersion(const NetImage &image);
/** "23" of version "1.23". */
QString netMinorVersion(const NetImage &image);

/** The key of the image's record: chip type 32, quantity 1, and the version as numbers. */
RecordKey netRecordKey(const NetImage &image);

/** How a package changes when a network module image is added. */
struct NetMergePlan
{
    enum class Error {
        None,
        /** The old images may be damaged; also for packages without a checksum. */
        BadChecksum,
        /** Not a package, or of an unknown version. */
        BadHead,
        NotJson,
        NotAnObject,
        ChipsNotAnArray,
        /** An incomplete record: copying would lose it. */
        BadRecords,
        /** The new description is too long for a 16-bit length. */
        DescriptionTooLong,
    };

    Error error = Error::BadHead;
    PackageHeader header;
    /** The new description. */
    QByteArray json;
    /** Whether the old description lists a network module image. */
    bool hadNet = false;
    int chipsBefore = 0;
    int chipsAfter = 0;
    /** The record that is replaced; every other one of chip type 32 is left out as well. */
    std::optional<ImageRecord> oldRecord;
    RecordKey netKey;
};

/**
 * Reads the package once. `netPath` is kept in the description as the image's file; `newVersion`
 * is the package's new release text, or empty to leave it as it is.
 */
NetMergePlan planNetMerge(bytes::ByteSource &package, const NetImage &net, const QString &netPath,
                          const QString &newVersion);

/** A description with its network module entry updated, or with a new one at the end. */
QJsonObject withNetEntry(const QJsonObject &description, const NetImage &net,
                         const QString &netPath);

/**
 * Writes the new package: the old records unchanged and in order, then the new image. False when
 * the writer failed, or when the old package changed meanwhile.
 */
bool writeNetMerge(PackageWriter &writer, const NetMergePlan &plan, bytes::ByteSource &package,
                   bytes::ByteSource &net);

} // namespace package
