// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/PackageUpload.h"

#include "platform/Platform.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

using platform::Paths;

namespace {

/** What the names of copies have in common, for those that an interrupted command left. */
const QLatin1String copyMark(".put-");
/** In the folder of this machine. */
const QLatin1String localName("package");
const QLatin1String backName("back");
/** A copy that is slower than this is given up. */
constexpr qint64 slowestBytesPerSecond = 8192;
constexpr int hexadecimal = 16;
/** A copy that is done sooner shows no progress. */
constexpr std::chrono::milliseconds betweenPolls{1000};

QString newCopyName()
{
    const auto number = QRandomGenerator::system()->generate64();
    return Paths().package + copyMark + QString::number(number, hexadecimal);
}

} // namespace

QByteArray sha256OfFile(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return {};
    return hash.result().toHex();
}

PackageUpload::PackageUpload(const SshAccess &access) : m_access(access), m_copy(newCopyName())
{
    m_poll.setInterval(betweenPolls);
    connect(&m_poll, &QTimer::timeout, this, &PackageUpload::onPoll);
}

/** sftp's own patterns and quotes must not see the name of the file, so a link stands for it. */
void PackageUpload::start(const CheckedPackage &package)
{
    m_package = package;
    const QString link = m_folder.filePath(localName);
    if (!m_folder.isValid() || !QFile::link(QFileInfo(package.path).absoluteFilePath(), link)) {
        emit failed(ProblemId::FileUnreadable, m_folder.errorString());
        return;
    }
    const QByteArray copy = m_copy.toLatin1();
    const QByteArray commands = "-rm " + Paths().package.toLatin1() + copyMark.latin1() + "*\n" +
                                "put -f " + localName.latin1() + ' ' + copy + '\n' + "chmod 644 " +
                                copy + '\n' + "get " + copy + ' ' + backName.latin1() + '\n';
    const std::chrono::seconds there(package.size / slowestBytesPerSecond);
    begin(Step::Copying, commands, m_access.timeOut + 2 * there);
    m_size = std::make_unique<RemoteSize>(m_access, m_copy);
    connect(m_size.get(), &RemoteSize::found, this, &PackageUpload::copied);
    m_poll.start();
}

void PackageUpload::begin(Step step, const QByteArray &commands, std::chrono::milliseconds limit)
{
    m_step = step;
    if (SftpSession *old = m_session.release())
        old->deleteLater(); // it may be in the middle of a signal
    m_session = std::make_unique<SftpSession>(m_access);
    connect(m_session.get(), &SftpSession::ended, this, &PackageUpload::onEnded);
    m_session->start(commands, m_folder.path(), limit);
}

bool PackageUpload::isCopyRight() const
{
    return sha256OfFile(m_folder.filePath(backName)) == m_package.sha256;
}

void PackageUpload::onPoll()
{
    const QFileInfo back(m_folder.filePath(backName));
    if (back.exists())
        emit readBack(back.size());
    else
        m_size->ask();
}

void PackageUpload::onEnded(const QString &error)
{
    m_poll.stop();
    m_size.reset();
    if (m_step == Step::Cleaning) {
        emit failed(m_cause, m_detail);
    } else if (!error.isEmpty()) {
        giveUp(ProblemId::SshFailed, error);
    } else if (m_step == Step::Renaming) {
        emit done();
    } else if (!isCopyRight()) {
        giveUp(ProblemId::CopyDamaged, m_package.path);
    } else {
        const QByteArray rename =
            "rename " + m_copy.toLatin1() + ' ' + Paths().package.toLatin1() + '\n';
        begin(Step::Renaming, rename, m_access.timeOut);
    }
}

void PackageUpload::giveUp(ProblemId cause, const QString &detail)
{
    m_cause = cause;
    m_detail = detail;
    begin(Step::Cleaning, "-rm " + m_copy.toLatin1() + '\n', m_access.timeOut);
}
