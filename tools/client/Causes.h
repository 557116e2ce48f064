// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/ExitCodes.h"

#include <QJsonObject>
#include <QString>

#include <vector>

namespace client {

/** Why something did not work. */
enum class Cause {
    None,
    // The connection
    CannotConnect,
    ConnectionLost,
    NoSignOfLife,
    Interrupted,
    OutcomeUnseen,
    BeginningUnseen,
    // The request
    Busy,
    NothingToDo,
    NotRunning,
    UnknownRequest,
    RowsRefused,
    NotInPackage,
    NotConfirmed,
    ModeRefused,
    EdidRefused,
    FileUnreadable,
    NotStarted,
    OutputUnwritable,
    // The package
    PackageMissing,
    PackageUnreadable,
    PackageInvalid,
    PackageDamaged,
    PackageTooOld,
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
    NetArchiveNotStored,
    NetVersionNotStored,
    BlockDamaged,
    BlockRefused,
    BlockUnanswered,
};

/** A cause, its consequence and what helps. */
struct CauseRow
{
    Cause cause;
    /** A word for scripts, kept for good. */
    const char *id;
    ExitCode exit;
    /** The numbers with which the agent's engine ends a run for this cause; they do not go over the
     *  wire, but its journal has them. */
    const char *engineStatus;
    /** One sentence, without a full stop. */
    const char *words;
    /** What to try, one or more sentences. */
    const char *advice;
};

const std::vector<CauseRow> &causeTable();

const CauseRow &causeRow(Cause cause);

/** The cause behind the status byte of a block's answer; None for an acceptance. */
Cause causeOfBlockStatus(quint8 status);

/** The members cause, text and advice. */
QJsonObject causeJson(Cause cause);

} // namespace client
