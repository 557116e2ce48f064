// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "package/ImageRecord.h"
#include "planning/TypeAndIndexTable.h"

#include <optional>

namespace planning {

/** What a run may do with images. */
struct ImageRules
{
    /** What becomes of an image for the network module. */
    enum class Net { Install, SendToDevice, Refuse };

    /** In bytes; a longer one is not written. */
    qint64 longest = 0;
    Net net = Net::Install;
};

/** What becomes of a row for which the firmware list has an image. */
struct ImageChoice
{
    enum class Kind {
        /** The record's image is sent to the row's chip. */
        Write,
        /** The module itself installs it. */
        Install,
        /** Chip type or chip index is not a number of one byte. */
        BadChip,
        /** The package holds no image for the row, or one of no bytes. */
        NoImage,
        TooLong,
        /** An image for the network module, which is not to be handled. */
        NotHandled,
    };

    Kind kind = Kind::NoImage;
    /** The first one that fits the row, whatever becomes of it; it need not be the one that the
     *  deciding entry of the firmware list is about. */
    std::optional<package::ImageRecord> record;
};

/** Reads the headers of the package's records. */
ImageChoice chooseImage(const TypeAndIndexTable &rows, int line, const package::MatchMask &mask,
                        bytes::ByteSource &package, const ImageRules &rules);

} // namespace planning
