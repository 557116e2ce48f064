// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetResumePlan.h"
#include "package/NetImage.h"
#include "support/Fuzz.h"

namespace net = package::net;
using netupgrade::longestNetMarker;
using netupgrade::mostResumeAttempts;
using netupgrade::NetArchiveState;
using netupgrade::NetMarker;
using netupgrade::netMarkerText;
using netupgrade::NetResumePlan;
using netupgrade::netResumePlan;
using netupgrade::parseNetMarker;

namespace {

/** An install is completed only from a whole marker, at most twice, and unpacked only from the
 *  archive that fits. */
void requireSafe(const std::optional<NetMarker> &marker, NetArchiveState archive, bool isOwn,
                 bool signedOnly)
{
    const NetResumePlan plan = netResumePlan({marker, archive, isOwn, signedOnly});
    if (plan.action == NetResumePlan::Action::Discard) {
        require(!plan.reason.isEmpty());
        return;
    }
    require(marker && marker->attempts < mostResumeAttempts);
    require(plan.removesArchive == (archive == NetArchiveState::Fits));
    if (marker->state == NetMarker::State::Unpacking) {
        require(archive == NetArchiveState::Fits);
        require(!signedOnly || (isOwn && marker->isSigned));
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    const QByteArray text(reinterpret_cast<const char *>(data), int(size));
    const std::optional<NetMarker> marker = parseNetMarker(text);
    if (marker) {
        require(text.size() <= longestNetMarker && netMarkerText(*marker) == text);
        require(marker->digest.size() == net::md5Size &&
                marker->version.size() == net::versionSize && marker->attempts >= 0);
    }
    for (const auto archive :
         {NetArchiveState::None, NetArchiveState::Fits, NetArchiveState::Differs}) {
        for (int bits = 0; bits < 4; ++bits)
            requireSafe(marker, archive, bits & 1, bits & 2);
    }
    return 0;
}
