// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"

#include <QString>

#include <chrono>

namespace client {

/** How far one MCU is. */
enum class McuPhase {
    Waiting,
    Reading,
    /** Asked to go into its update mode. */
    Entering,
    Erasing,
    Writing,
    Restarting,
    /** Nothing more happens to it. */
    Finished,
};

enum class McuResult {
    /** Not decided yet. */
    Open,
    Updated,
    Current,
    /** It runs a newer version than the package has. */
    PackageOlder,
    /** No image of the package is meant for it. */
    NothingFits,
    Failed,
    /** The run ended before its turn. */
    NotReached,
    /** Its lines were lost, with the connection or to another client. */
    Unknown,
};

/** One row of the run. */
struct McuState
{
    using ms = std::chrono::milliseconds;

    /** As the package or the user has it; several chips may have the same one. */
    QString name;
    /** As the lines of the agent have it. */
    QString wireName;
    /** For people: the name, with chip type and chip index where another row has the same one. */
    QString label;
    /** As in the rows of a request; negative when not known. */
    int chipType = -1;
    int chipIndex = 0;
    McuPhase phase = McuPhase::Waiting;
    McuResult result = McuResult::Open;
    /** Why it failed, or why it is in doubt. */
    ProblemId cause = ProblemId::None;
    QString oldVersion;
    QString newVersion;
    /** Of the image, in bytes; negative when not known. */
    qint64 imageSize = -1;
    /** The mode writes it whatever version it runs. */
    bool isForced = false;
    /** 0 to 100. */
    double percent = 0.0;
    bool isPercentKnown = true;
    /** Everything that was repeated for this MCU. */
    int retries = 0;
    /** It went into its update mode and has no whole image since then. */
    bool isBegun = false;
    /** The agent has said that it will write to it. */
    bool isChosen = false;
    /** Its turn was in a gap of the lines. */
    bool isLost = false;
    /** Blocks sent since the image was begun. */
    int blocks = 0;
    /** From the request for its update mode on; negative before. */
    ms started{-1};
    ms writingSince{-1};
    ms ended{-1};

    /** Bytes per second while it is written, 0 when not known. */
    double rate(ms now) const;
    /** Of its image; negative when not known. */
    int totalBlocks() const;
    /** As far as its versions are known: the package is newer, or the mode does not ask. */
    bool willBeWritten() const;
    /** Negative for an MCU to which nothing was sent. */
    double seconds(ms now) const;
    /** Something is being done with it that ends with a line about it. */
    bool isInProgress() const;
};

} // namespace client
