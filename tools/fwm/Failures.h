// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/ExitCodes.h"

#include <QVector>

/** Everything that can keep fwm from doing what it was asked. */
enum class Failure {
    CannotRead,
    NotAPackage,
    UnknownVersion,
    NoChecksum,
    ChecksumWrong,
    DescriptionUnreadable,
    RecordsDamaged,
    TooManyRecords,
    DescriptionTooLong,
    FindingsFound,
    RequestTooLong,
    RequestNotAscii,
    RequestUnreadable,
    RequestValue,
    ImageMissing,
    ImageUnreadable,
    ImageTooLarge,
    ImageChanged,
    NetImageDamaged,
    NotAnArchive,
    ArchiverFailed,
    CannotWrite,
    OutputIsInput,
    OutputInSource,
    FolderNotEmpty,
    RowsUnreadable,
    InputTooLong,
    DeviceUnreadable,
    ChipMissing,
    WrongModel,
    InfoInvalid,
    ImageUnusable,
    NotInPackage,
    PackageTooOld,
};

struct FailureWords
{
    Failure failure;
    ExitCode code;
    /** For scripts: "checksum-wrong". */
    const char *name;
    /** What is the matter; a command may add what exactly. */
    const char *cause;
    /** What people can do about it. */
    const char *advice;
};

/** All of them, in the order of the enumeration. */
const QVector<FailureWords> &failures();

const FailureWords &wordsFor(Failure failure);
