// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandOutcome.h"
#include "fwm/ImageContent.h"
#include "package/ImageRecord.h"
#include "package/NetMerge.h"
#include "package/PackageChecksum.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"

#include <optional>

/** One image of a package. */
struct ImageInfo
{
    package::ImageRecord record;
    /** In hexadecimal. */
    QByteArray sha256;
    ImageContent content = ImageContent::Firmware;
    /** For the network module's images only. */
    std::optional<package::NetCheck> net;
    bool looksLikeBzip2 = false;
    /** The entry of the description for it, or -1. */
    int entry = -1;
    /** Whether entry and record agree in everything, the versions too. */
    bool isExact = false;
};

/** A package taken apart, as far as it can be. Its images stay in the file. */
struct PackageContents
{
    qint64 size = 0;
    package::PackageHeader header;
    package::PackageChecksum checksum;
    package::PackageDescription description;
    QVector<package::ImageEntry> entries;
    QVector<ImageInfo> images;
    /** For every entry its image, or -1. */
    QVector<int> imageOfEntry;
    package::RecordWalker::State end = package::RecordWalker::State::Walking;
    /** Where the records end or break off. */
    qint64 endOffset = 0;
    bool hasTooManyImages = false;
    /** Only when the file is not a package but an image of the network module. */
    std::optional<ImageInfo> netImage;
};

/** Everything before the images. Reads the whole package once, for its checksum and, with
 *  SumKind::Blake2b, for the digest that a signature covers. */
PackageContents readHead(bytes::ByteSource &source, bytes::SumKind kind = bytes::SumKind::Crc32);

/** The same and every image, which requires a second reading. */
PackageContents readContents(bytes::ByteSource &source,
                             bytes::SumKind kind = bytes::SumKind::Crc32);

/** The key that an entry's record should have. */
package::RecordKey keyOfEntry(const package::ImageEntry &entry);

/**
 * The values by which a device distinguishes images: only the chip type for FPGAs and the network
 * module; also MCU type, PCB version and speciality for all others.
 */
QByteArray identityOf(const package::RecordKey &key);

/** What is wrong before the images; packages without a checksum are accepted. */
std::optional<Problem> headProblem(const PackageContents &contents);

/** The reason why every run refuses the package, regardless of its images. */
std::optional<Problem> runProblem(const PackageContents &contents);

/** What keeps a package from being upgraded from or worked on, the gravest first. */
std::optional<Problem> packageProblem(const PackageContents &contents);
