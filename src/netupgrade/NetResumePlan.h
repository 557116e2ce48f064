// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/NetMarker.h"

#include <QString>

#include <optional>

namespace netupgrade {

/** The archive on the disk, compared with the digest of a marker. */
enum class NetArchiveState {
    None,
    Fits,
    /** Another digest, or a file that cannot be read. */
    Differs,
};

/** What the agent finds when it starts and there is a marker. */
struct NetResumeState
{
    /** None for a damaged marker. */
    std::optional<NetMarker> marker;
    NetArchiveState archive = NetArchiveState::None;
    /** Only the agent's user can have written the marker. */
    bool isOwn = false;
    /** The module takes signed packages only. */
    bool signedOnly = false;
};

/** What the agent does about it. */
struct NetResumePlan
{
    enum class Action {
        /** Completes the install, from the marker's state on. */
        Complete,
        /** Removes the marker, and leaves everything else as it is. */
        Discard,
    };

    Action action = Action::Discard;
    /** Complete only: whether the archive is that of the install. */
    bool removesArchive = false;
    /** Discard only: a word for the log. */
    QString reason;
};

NetResumePlan netResumePlan(const NetResumeState &state);

} // namespace netupgrade
