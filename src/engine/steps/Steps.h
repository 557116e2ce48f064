// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>

namespace engine {

Q_NAMESPACE

/**
 * What the engine waits for, or has just decided. The steps of a read are a group: command sent,
 * first retry, second retry, given up.
 */
enum class Step : int {
    Idle = 0,

    WriteInfo = 5000,
    WriteInfoRetry1 = 5011,
    WriteInfoRetry2 = 5012,
    WriteInfoGivenUp = 5013,

    VirtualVersion = 5501,
    /** The virtual version was given up; the first bootcode read follows, with its own retries. */
    VirtualVersionGivenUp = 5502,
    VirtualVersionMalformed = 5504,

    ModelName = 5900,

    Bootcode = 6000,
    BootcodeRetry1 = 6011,
    BootcodeRetry2 = 6012,
    BootcodeGivenUp = 6013,

    ProductInfo = 6100,
    ProductInfoRetry1 = 6111,
    ProductInfoRetry2 = 6112,
    ProductInfoGivenUp = 6113,

    Version = 6200,
    VersionRetry1 = 6211,
    VersionRetry2 = 6212,
    VersionGivenUp = 6213,

    /** The main MCU runs its bootcode: its image goes before all others. */
    MainMcuFirst = 6700,

    NextItem = 8000,
    MainImage = 8101,
    OtherImage = 8201,

    MainMcuRestarts = 8102,
    MainMcuIsBack = 8104,
    MainMcuIsLost = 8113,

    SetVirtualVersion = 8137,

    Reboot = 8300,
    RebootRetry1 = 8301,
    RebootRetry2 = 8302,
    RebootFailed = 8303,
    SystemRestarts = 8316,

    Done = 8318,
    VirtualVersionRefused = 8319,
    SystemIsLost = 8359,
};
Q_ENUM_NS(Step)

/** What ends a step. */
enum class Event {
    // The reply to the step's command, or none; see CommandResult.
    Answer,
    Refusal,
    ShortAnswer,
    Silence,

    // Starts, in any step
    StartNewer,
    StartForced,
    StartImages,
    StartFile,
    StartInfoRead,
    StartInfoWrites,
    /** The run has made no progress for too long. */
    NoSignOfLife,

    // Results of actions
    ModelMatches,
    ModelDiffers,
    RecordValid,
    RecordInvalid,
    MainInBootcode,
    RowRead,
    RowGivenUp,
    MainGivenUp,
    /** All rows have been read. */
    RowsRead,
    /** As RowsRead, in a product-information read. */
    InfoComplete,
    VersionGivenUp,
    MainImageDue,
    OtherImageDue,
    /** The item of the current row has ended, with or without success. */
    ItemDone,
    /** The main MCU, which was handled before all others, has ended. */
    MainFirstDone,
    NoMoreItems,
    /** The package cannot be trusted any more. */
    PackageUnusable,
    InfoWriteDue,
    VirtualVersionDue,
    NothingToSet,
    VersionSet,
    VersionRefused,
    InfoWritesDone,

    /** An image that is given up ends its item. */
    ImageWritten,
};
Q_ENUM_NS(Event)

} // namespace engine
