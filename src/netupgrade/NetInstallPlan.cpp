// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstallPlan.h"

#include "netupgrade/NetTexts.h"

using protocol::filled;

namespace netupgrade {

namespace {

using Step = NetInstallStep;
using Kind = NetInstallStep::Kind;

Step say(const QString &line)
{
    return {Kind::Say, line, 0};
}

Step progress(int percent)
{
    return {Kind::Progress, {}, percent};
}

Step run(const QString &command)
{
    return {Kind::Run, command, 0};
}

Step writeVersion(const QString &line = {})
{
    return {Kind::WriteVersion, line, 0};
}

const Step saySuccess{Kind::SaySuccess, {}, 0};
const Step announceVersion{Kind::AnnounceVersion, {}, 0};
const Step markUnpacking{Kind::MarkUnpacking, {}, 0};
const Step unpack{Kind::Unpack, netcommand::unpack(), 0};
const Step markUnpacked{Kind::MarkUnpacked, {}, 0};
const Step removeArchive{Kind::RemoveArchive, netcommand::removeArchive(), 0};
const Step syncRemoval{Kind::SyncRemoval, {}, 0};
const Step removeMarker{Kind::RemoveMarker, {}, 0};

Step sayPercent(int percent)
{
    return say(filled(nettext::packagePercent, QString::number(percent)));
}

// clang-format off
// The version file is written when everything else is on the disk.
NetInstallPlan packagePlan()
{
    return {filled(nettext::firmwareDigestWrong), {
        say(filled(nettext::firmwareDigestRight)),
        markUnpacking,
        progress(20), run(netcommand::remountWritable()),
        progress(30), unpack, markUnpacked,
        progress(70), removeArchive,
        progress(80), run(netcommand::remountReadOnly()), run(netcommand::sync()),
        progress(90),
        saySuccess, announceVersion,
        syncRemoval, writeVersion(), removeMarker,
    }};
}

NetInstallPlan quietPlan()
{
    return {{}, {
        markUnpacking,
        progress(20), run(netcommand::remountWritable()),
        progress(30), unpack, markUnpacked,
        progress(70), removeArchive,
        progress(80), run(netcommand::remountReadOnly()), run(netcommand::sync()),
        progress(90),
        removeMarker,
    }};
}

NetInstallPlan blocksPlan()
{
    return {filled(nettext::packageDigestWrong), {
        say(filled(nettext::packageDigestRight)),
        markUnpacking,
        run(netcommand::remountWritable()), progress(30), sayPercent(30),
        unpack, markUnpacked,               progress(70), sayPercent(70),
        removeArchive,                      progress(80), sayPercent(80),
        run(netcommand::remountReadOnly()),
        say(filled(nettext::firmwareDigestRight)),
        syncRemoval, writeVersion(filled(nettext::versionFileWritten)), announceVersion,
        run(netcommand::sync()),            progress(90), sayPercent(90),
        removeMarker,
        saySuccess,
    }};
}
// clang-format on

} // namespace

const NetInstallPlan &netInstallPlan(NetInstallVariant variant)
{
    static const NetInstallPlan package = packagePlan();
    static const NetInstallPlan quiet = quietPlan();
    static const NetInstallPlan blocks = blocksPlan();
    switch (variant) {
    case NetInstallVariant::Package:
        return package;
    case NetInstallVariant::Quiet:
        return quiet;
    case NetInstallVariant::Blocks:
        break;
    }
    return blocks;
}

} // namespace netupgrade
