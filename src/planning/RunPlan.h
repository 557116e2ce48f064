// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"
#include "planning/CandidateWalk.h"
#include "planning/ImageChoice.h"

#include <QByteArray>
#include <QStringList>
#include <QVector>

#include <optional>

namespace planning {

/** What a chip of a device answers when it is read, with numbers as in rows. */
struct PlannedChip
{
    // An FPGA has none of these three.
    QString mcuType;
    QString pcbVersion;
    /** A character code. */
    QString speciality;
    /** Up to three numbers. */
    QStringList version;
    bool runsBootcode = false;
    /** Its product information is valid. */
    bool recordIsValid = true;
    /** The version after an image was written; empty when it does not change. */
    QStringList versionAfterImage;
};

/** The run to predict, without its package. */
struct PlannedRequest
{
    /** An upgrade mode. */
    int mode = 0;
    /** As clients send them: name, chip type, chip index. */
    QStringList rows;
    /** The position in `chips` for each row; -1 for a row without a chip. */
    QVector<int> chipOfRow;
    QVector<PlannedChip> chips;
    /** As the device sends it; if unset, that of the package. */
    std::optional<QByteArray> model;
    ImageRules images;
};

struct PlannedPackage
{
    QStringList firmwareList;
    QString model;
    QString release;
};

/** The result of one row. */
struct PlannedRow
{
    enum class Fate {
        /** The run ends before. */
        NotReached,
        /** The image is written, or installed in the module. */
        Written,
        /** There is an image, but it cannot be written or installed. */
        NotWritten,
        NotNewer,
        NoMatch,
        NoFirmware,
        /** The image is not in the package, or too long. */
        NoImage,
        /** Images for the network module are refused. */
        NotHandled,
        BadRow,
    };

    Fate fate = Fate::NotReached;
    /** The row, with everything that is known about the chip at the decision. */
    QStringList fields;
    Decision decision;
    /** The image that is written or cannot be written. */
    std::optional<package::ImageRecord> image;
    /** No chip answers for the row. The image of the network module needs none. */
    bool isSilent = false;
    /** The main MCU runs its bootcode and is written before all others. */
    bool goesFirst = false;
};

struct RunPlan
{
    enum class End {
        /** The run reaches its end, with any result of its rows. */
        Complete,
        /** The package is for another model. */
        WrongModel,
        /** The main MCU does not answer. */
        MainSilent,
        /** The main MCU's product information is not valid. */
        RecordInvalid,
    };

    End end = End::Complete;
    QVector<PlannedRow> rows;
    /** How many images are written or installed. */
    int written = 0;
    /** The virtual version that is set on the device. */
    std::optional<quint8> virtualVersion;
};

/**
 * Predicts a run, by the rules of a real one, for a device and a line without faults. `source` is
 * the package with the description.
 */
RunPlan planRun(const PlannedRequest &request, const PlannedPackage &package,
                bytes::ByteSource &source);

} // namespace planning
