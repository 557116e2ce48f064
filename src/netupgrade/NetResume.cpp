// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetResume.h"

#include "bytes/Chunks.h"
#include "bytes/FileSource.h"
#include "netupgrade/BlocksGate.h"
#include "netupgrade/NetInstaller.h"

#include <QCryptographicHash>
#include <QElapsedTimer>
#include <QFileInfo>

#include <thread>
#include <utility>

using bytes::FileSource;
using bytes::forEachChunk;
using platform::Platform;

namespace netupgrade {

namespace {

/** How much of the archive is in memory at a time, in bytes. */
constexpr qint64 digestPiece = 262'144;

} // namespace

NetResume::NetResume(const Platform &platform, Report report)
    : m_platform(platform), m_report(std::move(report)), m_file(platform)
{
}

bool NetResume::run()
{
    using Kind = NetResumeEvent::Kind;

    if (!waitForLeftCommand()) {
        notify(Kind::Postponed, QStringLiteral("command_runs"));
        return false;
    }
    m_marker = m_file.read();
    const NetResumePlan plan =
        netResumePlan({m_marker, m_marker ? archiveState(m_marker->digest) : NetArchiveState::None,
                       m_file.isOwn(), !signedPackagesOnly(m_platform.paths.keys)().isEmpty()});
    if (plan.action == NetResumePlan::Action::Discard) {
        m_file.remove();
        notify(Kind::Discarded, plan.reason);
        return false;
    }
    // On the disk before anything is done, so that an install that ends the agent or the power each
    // time is not tried again and again.
    ++m_marker->attempts;
    if (!m_file.store(*m_marker)) {
        notify(Kind::Postponed, QStringLiteral("not_writable"));
        return false;
    }
    notify(Kind::Begun);
    NetInstaller(m_platform, {}).complete(*m_marker, plan.removesArchive);
    notify(Kind::Completed);
    return m_marker->variant != NetInstallVariant::Package;
}

/** When only the agent was killed, its command continues. Two that unpack at the same time would
 *  remove each other's files. */
bool NetResume::waitForLeftCommand() const
{
    QElapsedTimer waiting;
    waiting.start();
    while (m_platform.system.hasProcess(m_platform.paths.netArchive)) {
        if (waiting.hasExpired(m_platform.timeOuts.leftCommand.count()))
            return false;
        std::this_thread::sleep_for(m_platform.pauses.leftCommandPoll);
    }
    return true;
}

NetArchiveState NetResume::archiveState(const QByteArray &digest) const
{
    const QString &path = m_platform.paths.netArchive;
    if (!QFileInfo::exists(path))
        return NetArchiveState::None;
    FileSource archive(path);
    if (!archive.open())
        return NetArchiveState::Differs;
    QCryptographicHash md5(QCryptographicHash::Md5);
    const auto add = [&md5](const char *bytes, qint64 size) {
        md5.addData(QByteArray::fromRawData(bytes, int(size)));
        return true;
    };
    const qint64 end = forEachChunk(archive, 0, digestPiece, add);
    return end == archive.size() && md5.result().toHex() == digest ? NetArchiveState::Fits
                                                                   : NetArchiveState::Differs;
}

void NetResume::notify(NetResumeEvent::Kind kind, const QString &reason)
{
    NetResumeEvent event;
    event.kind = kind;
    event.reason = reason;
    if (m_marker) {
        event.version =
            QString::fromLatin1(m_marker->version.constData(), m_marker->version.size());
        event.variant = nameOf(m_marker->variant);
        event.state = nameOf(m_marker->state);
        event.attempt = m_marker->attempts;
    }
    m_report(event);
}

} // namespace netupgrade
