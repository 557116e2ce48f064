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

/** What a chip of a device answers when it is read, each number as rows have it. */
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
    /** What it runs after it got an image; without, the version stays. */
    QStringList versionAfterImage;
};

/** A run that is to be predicted, but for its package. */
struct PlannedRequest
{
    /** A mode that upgrades. */
    int mode = 0;
    /** As a client sends them: name, chip type, chip index. */
    QStringList rows;
    /** For each row the position in `chips`; -1 for a row to which no chip answers. */
    QVector<int> chipOfRow;
    QVector<PlannedChip> chips;
    /** As the device sends it. Without, it counts as the package's. */
    std::optional<QByteArray> model;
    ImageRules images;
};

struct PlannedPackage
{
    QStringList firmwareList;
    QString model;
    QString release;
};

/** What becomes of one row. */
struct PlannedRow
{
    enum class Fate {
        /** The run ends before. */
        NotReached,
        /** The image is written, or installed in the module. */
        Written,
        /** There is an image, and it cannot be written or installed. */
        NotWritten,
        NotNewer,
        NoMatch,
        NoFirmware,
        /** The image is not in the package, or longer than may be. */
        NoImage,
        /** Images for the network module are not to be handled. */
        NotHandled,
        BadRow,
    };

    Fate fate = Fate::NotReached;
    /** Everything that the run knows about the chip when it decides, as a row has it. */
    QStringList fields;
    Decision decision;
    /** The image that is written or cannot be written. */
    std::optional<package::ImageRecord> image;
    /** No chip answers to the row. The image of the network module needs none. */
    bool isSilent = false;
    /** The main MCU runs its bootcode and has its turn before all others. */
    bool goesFirst = false;
};

struct RunPlan
{
    enum class End {
        /** The run comes to its end, whatever became of each row. */
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
    /** What the device is given as its virtual version. */
    std::optional<quint8> virtualVersion;
};

/**
 * Predicts a run, by the rules that a real one follows, on a device and a line without faults.
 * `source` is the package that the description comes from.
 */
RunPlan planRun(const PlannedRequest &request, const PlannedPackage &package,
                bytes::ByteSource &source);

} // namespace planning
