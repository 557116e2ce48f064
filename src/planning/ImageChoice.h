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
    /** How an image for the network module is handled. */
    enum class Net { Install, SendToDevice, Refuse };

    /** In bytes; a longer one is not written. */
    qint64 longest = 0;
    Net net = Net::Install;
};

/** The action for a row for which the firmware list has an image. */
struct ImageChoice
{
    enum class Kind {
        /** The record's image is sent to the row's chip. */
        Write,
        /** The module itself installs it. */
        Install,
        /** Chip type or chip index is not a number of one byte. */
        BadChip,
        /** The package has no image for the row, or an empty one. */
        NoImage,
        TooLong,
        /** An image for the network module, when those are refused. */
        NotHandled,
    };

    Kind kind = Kind::NoImage;
    /** The first record that fits the row, for every action; it may be another one than that of the
     *  deciding entry of the firmware list. */
    std::optional<package::ImageRecord> record;
};

/** Reads the headers of the package's records. */
ImageChoice chooseImage(const TypeAndIndexTable &rows, int line, const package::MatchMask &mask,
                        bytes::ByteSource &package, const ImageRules &rules);

} // namespace planning
