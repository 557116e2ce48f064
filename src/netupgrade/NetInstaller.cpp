// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstaller.h"

#include "bytes/AtomicFile.h"
#include "bytes/Chunks.h"
#include "netupgrade/BlocksGate.h"
#include "netupgrade/NetArchive.h"
#include "netupgrade/NetTexts.h"
#include "netupgrade/PeriodicSync.h"
#include "platform/Log.h"
#include "protocol/MessageKeys.h"

#include <QFileInfo>

#include <utility>

namespace net = package::net;
using bytes::AtomicFile;
using bytes::ByteSource;
using bytes::forEachChunk;
using package::NetImage;
using package::readNetImage;
using platform::logNet;
using platform::Platform;
using protocol::filled;

namespace netupgrade {

namespace {

constexpr double archiveCreatedPercent = 10;
/** How much of an image is in memory at a time, in bytes. */
constexpr qint64 archivePiece = 262'144;

QVector<NetInstallStep> stepsAfter(const NetInstallPlan &plan, NetInstallStep::Kind kind)
{
    int at = 0;
    while (plan.steps.at(at).kind != kind)
        ++at;
    return plan.steps.mid(at + 1);
}

} // namespace

NetInstaller::NetInstaller(const Platform &platform, NetReport report)
    : m_paths(platform.paths),
      m_shell(platform.shell),
      m_system(platform.system),
      m_betweenSyncs(platform.pauses.betweenSyncs),
      m_markerFile(platform),
      m_report(std::move(report))
{
}

bool NetInstaller::installImage(ByteSource &image)
{
    say(filled(nettext::packageStart));
    NetArchive archive(m_paths.netArchive);
    if (!archive.create()) {
        say(filled(nettext::archiveFailed));
        return false;
    }
    if (m_report.progress)
        m_report.progress(archiveCreatedPercent);
    const NetImage header = readNetImage(image);
    if (!storeArchive(archive, image)) {
        archive.remove();
        return false;
    }
    archive.close();
    return install(NetInstallVariant::Package, header);
}

/** False when the image cannot be read to its end. */
bool NetInstaller::storeArchive(NetArchive &archive, ByteSource &image)
{
    bool written = true;
    const auto append = [&](const char *bytes, qint64 size) {
        written = archive.append(QByteArray::fromRawData(bytes, int(size)));
        return written;
    };
    const qint64 end = forEachChunk(image, net::archiveOffset, archivePiece, append);
    if (written)
        return end >= image.size();
    // A short write needs no message: the digest differs then.
    qCWarning(logNet) << "cannot write" << m_paths.netArchive;
    archive.clear();
    return true;
}

bool NetInstaller::install(NetInstallVariant variant, const NetImage &header)
{
    const NetInstallPlan &plan = netInstallPlan(variant);
    const QByteArray digest = m_shell.readFirst(command(netcommand::digest()), net::md5Size);
    if (digest.size() != net::md5Size || digest != header.md5Text) {
        sayLast(plan.digestWrong);
        return false;
    }
    m_marker = {};
    m_marker.variant = variant;
    m_marker.digest = header.md5Text;
    m_marker.version = header.version;
    // A run that has come here with keys has checked its package.
    m_marker.isSigned = !signedPackagesOnly(m_paths.keys)().isEmpty();
    for (const NetInstallStep &step : plan.steps)
        perform(step);
    return true;
}

void NetInstaller::complete(const NetMarker &marker, bool removesArchive)
{
    m_marker = marker;
    const QVector<NetInstallStep> steps =
        stepsAfter(netInstallPlan(marker.variant), marker.state == NetMarker::State::Unpacking
                                                       ? NetInstallStep::Kind::MarkUnpacking
                                                       : NetInstallStep::Kind::MarkUnpacked);
    for (const NetInstallStep &step : steps) {
        if (removesArchive || step.kind != NetInstallStep::Kind::RemoveArchive)
            perform(step);
    }
}

void NetInstaller::rebootModule()
{
    m_shell.run(netcommand::reboot());
}

void NetInstaller::perform(const NetInstallStep &step)
{
    using Kind = NetInstallStep::Kind;

    const QString version =
        QString::fromLatin1(m_marker.version.constData(), m_marker.version.size());
    switch (step.kind) {
    case Kind::Say:
        return say(step.text);
    case Kind::SaySuccess:
        return say(filled(nettext::upgradeSuccess, version));
    case Kind::Progress:
        if (m_report.progress)
            m_report.progress(step.percent);
        return;
    case Kind::Run:
    case Kind::RemoveArchive:
        return m_shell.run(command(step.text));
    case Kind::MarkUnpacking:
        // An archive that a power cut shortens could not be unpacked again.
        syncFileSystem(m_paths.netArchive);
        // The install goes on as it did before there were markers. An older marker of the same
        // archive would describe it wrongly.
        if (!mark(NetMarker::State::Unpacking))
            m_markerFile.remove();
        return;
    case Kind::Unpack:
        return unpack(command(step.text));
    case Kind::MarkUnpacked:
        mark(NetMarker::State::Unpacked);
        return;
    case Kind::SyncRemoval:
        return syncFileSystem(QFileInfo(m_paths.netArchive).absolutePath());
    case Kind::WriteVersion:
        return writeVersion(step.text);
    case Kind::RemoveMarker:
        if (!m_markerFile.remove())
            qCWarning(logNet) << "cannot remove" << m_paths.netMarker;
        return;
    case Kind::AnnounceVersion:
        if (m_report.keyed)
            m_report.keyed({filled(protocol::key::netVersion), version});
        return;
    }
}

bool NetInstaller::mark(NetMarker::State state)
{
    m_marker.state = state;
    if (m_markerFile.store(m_marker))
        return true;
    qCWarning(logNet) << "cannot write" << m_paths.netMarker;
    return false;
}

/**
 * tar removes each old file before it creates the new one, so that the file system does not order
 * the two: a power cut leaves as many empty files as were written since the last sync.
 */
void NetInstaller::unpack(const QString &command)
{
    {
        const PeriodicSync syncs([this] { m_system.syncFileSystem(m_paths.root); }, m_betweenSyncs);
        m_shell.run(command);
    }
    syncFileSystem(m_paths.root);
}

void NetInstaller::syncFileSystem(const QString &path)
{
    if (!m_system.syncFileSystem(path))
        qCWarning(logNet) << "cannot sync the file system of" << path;
}

void NetInstaller::writeVersion(const QString &successLine)
{
    // Written to a temporary file and renamed: a power cut leaves the old version or the new one. A
    // file of another user is replaced.
    AtomicFile file(m_paths.netVersion, AtomicFile::Unwritable::Replace);
    if (file.open() && file.write(m_marker.version) && file.commit()) {
        say(successLine);
        return;
    }
    qCWarning(logNet) << filled(nettext::versionFileFailed);
    say(filled(nettext::versionFileFailed));
}

void NetInstaller::say(const QString &line)
{
    if (!line.isEmpty() && m_report.text)
        m_report.text(line);
}

void NetInstaller::sayLast(const QString &line)
{
    if (m_report.lastLine)
        m_report.lastLine(line);
    else
        say(line);
}

QString NetInstaller::command(const QString &pattern) const
{
    return QString(pattern).replace(QLatin1String("%1"), m_paths.netArchive);
}

} // namespace netupgrade
