// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstaller.h"

#include "bytes/AtomicFile.h"
#include "bytes/Chunks.h"
#include "netupgrade/NetArchive.h"
#include "netupgrade/NetTexts.h"
#include "platform/Log.h"
#include "protocol/MessageKeys.h"

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

} // namespace

NetInstaller::NetInstaller(const Platform &platform, NetReport report)
    : m_paths(platform.paths), m_shell(platform.shell), m_report(std::move(report))
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
    for (const NetInstallStep &step : plan.steps)
        perform(step, header);
    return true;
}

void NetInstaller::rebootModule()
{
    m_shell.run(netcommand::reboot());
}

void NetInstaller::perform(const NetInstallStep &step, const NetImage &header)
{
    const QString version = QString::fromLatin1(header.version.constData(), header.version.size());
    switch (step.kind) {
    case NetInstallStep::Kind::Say:
        say(step.text);
        break;
    case NetInstallStep::Kind::SaySuccess:
        say(filled(nettext::upgradeSuccess, version));
        break;
    case NetInstallStep::Kind::Progress:
        if (m_report.progress)
            m_report.progress(step.percent);
        break;
    case NetInstallStep::Kind::Run:
        m_shell.run(command(step.text));
        break;
    case NetInstallStep::Kind::WriteVersion:
        writeVersion(header.version, step.text);
        break;
    case NetInstallStep::Kind::AnnounceVersion:
        if (m_report.keyed)
            m_report.keyed({filled(protocol::key::netVersion), version});
        break;
    }
}

void NetInstaller::writeVersion(const QByteArray &version, const QString &successLine)
{
    // Written to a temporary file and renamed: a power cut leaves the old version or the new one. A
    // file of another user is replaced.
    AtomicFile file(m_paths.netVersion, AtomicFile::Unwritable::Replace);
    if (file.open() && file.write(version) && file.commit()) {
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
