// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/ExitCodes.h"

#include <QString>

#include <vector>

/** All errors of the programs. */
enum class ProblemId {
    None,
    // Every program
    Usage,
    OutputUnwritable,
    FileUnreadable,
    CannotWrite,
    // The connection to an agent
    CannotConnect,
    ConnectionLost,
    NoSignOfLife,
    Interrupted,
    OutcomeUnseen,
    BeginningUnseen,
    // Requests to an agent
    Busy,
    NothingToDo,
    NoRun,
    UnknownRequest,
    RowsRefused,
    NotInPackage,
    NotConfirmed,
    ModeRefused,
    EdidRefused,
    NotStarted,
    // The package on a module
    PackageMissing,
    PackageUnreadable,
    PackageInvalid,
    PackageDamaged,
    PackageTooOld,
    PackageNotSigned,
    PackageKeyUnknown,
    PackageSignatureWrong,
    KeysUnusable,
    PackageChanged,
    PackageReadError,
    PackageDiffers,
    PackageUnsound,
    SshFailed,
    CopyDamaged,
    CopyNotListed,
    DescriptionBroken,
    WrongModel,
    // The device
    PortUnavailable,
    LinkBroken,
    ModelSilent,
    ModelRefused,
    McuSilent,
    VersionUnread,
    InfoInvalid,
    InfoNotWritten,
    NoFirmware,
    ImageMissing,
    UpdateModeRefused,
    ImageNotWritten,
    MainMcuLost,
    RebootRefused,
    DeviceLost,
    VirtualVersionNotSet,
    Unexplained,
    // The network module's own firmware
    NetImageInvalid,
    NetImageDamaged,
    NetSignedOnly,
    NetArchiveNotStored,
    NetVersionNotStored,
    BlockDamaged,
    BlockRefused,
    BlockUnanswered,
    // Package files
    NotAPackage,
    UnknownVersion,
    NoChecksum,
    ChecksumWrong,
    DescriptionUnreadable,
    RecordsDamaged,
    TooManyRecords,
    DescriptionTooLong,
    FindingsFound,
    // Making packages and images
    RequestTooLong,
    RequestNotAscii,
    RequestUnreadable,
    RequestValue,
    RequestFindings,
    ImageFileMissing,
    ImageUnreadable,
    HexInvalid,
    ImageTooLarge,
    ImageChanged,
    NotAnArchive,
    ArchiveRoot,
    ArchiverFailed,
    OutputIsInput,
    OutputInSource,
    OutputExists,
    FolderNotEmpty,
    // Plans and simulated devices
    RowsUnreadable,
    InputTooLong,
    DeviceUnreadable,
    ChipMissing,
    TraceUnreadable,
    PortNotOpened,
    ControlNotOpened,
    // Checks of a device
    DeviceUnreachable,
    DeviceSilent,
    DeviceLinkLost,
    ImageSize,
    WriteNotConfirmed,
    PointsFailed,
    PointsUntested,
    // The web server
    LoginNeeded,
    LoginFailed,
    LoginLocked,
    RequestRefused,
    NotFound,
    MethodRefused,
    UploadTooLarge,
    NoSpace,
    TooManyViewers,
    PasswordUnusable,
    NotListening,
    // EDID dumps
    NotAnEdid,
};

/** The description of a kind of problem. */
struct ProblemRow
{
    ProblemId problem;
    ExitCode exit;
    /** A word for scripts, which never changes. */
    const char *id;
    /** One sentence, without a full stop. */
    const char *text;
    /** Advice, one or more sentences. */
    const char *advice;
    /** The numbers with which the agent's engine ends a run for this problem, separated by blanks;
     *  they are in its log, but not in the console protocol. */
    const char *engineStatus = "";
    /** Advice for a person at the page of upgrade-web, where the other names a command or an option
     *  that this person does not have; may be empty. */
    const char *pageAdvice = "";
};

/** All of them, in the order of the enumeration; for users docs/reference/problems.md has them. */
const std::vector<ProblemRow> &problemTable();

const ProblemRow &problemRow(ProblemId problem);

/** A problem that occurred. */
struct Problem
{
    ProblemId id = ProblemId::None;
    /** Details: a file, a reason, the agent's text. May be empty. */
    QString detail = {};
    /** Advice for this case; empty for the general advice. */
    QString advice = {};
};
