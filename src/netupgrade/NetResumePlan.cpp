// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetResumePlan.h"

namespace netupgrade {

namespace {

NetResumePlan discard(const QString &reason)
{
    return {NetResumePlan::Action::Discard, false, reason};
}

NetResumePlan complete(NetArchiveState archive)
{
    return {NetResumePlan::Action::Complete, archive == NetArchiveState::Fits, {}};
}

} // namespace

NetResumePlan netResumePlan(const NetResumeState &state)
{
    if (!state.marker)
        return discard(QStringLiteral("damaged"));
    if (state.marker->attempts >= mostResumeAttempts)
        return discard(QStringLiteral("attempts"));
    // Nothing is unpacked any more, so neither the archive nor its origin matters.
    if (state.marker->state == NetMarker::State::Unpacked)
        return complete(state.archive);
    if (state.signedOnly && !(state.marker->isSigned && state.isOwn))
        return discard(QStringLiteral("not_signed"));
    switch (state.archive) {
    case NetArchiveState::Fits:
        return complete(state.archive);
    case NetArchiveState::None:
        return discard(QStringLiteral("no_archive"));
    case NetArchiveState::Differs:
        break;
    }
    return discard(QStringLiteral("archive_differs"));
}

} // namespace netupgrade
