// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/PackageUpload.h"

#include "platform/Platform.h"
#include "signing/TrustedKeys.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>

using platform::Paths;
using signing::signaturePath;

namespace {

/** The pattern of the names of copies, to find those of interrupted commands. */
const QLatin1String copyMark(".put-");
/** In the folder of this machine. */
const QLatin1String localName("package");
const QLatin1String signatureName("signature");
const QLatin1String backName("back");
const QLatin1String signatureBackName("signature-back");
/** A copy that is slower than this is given up. */
constexpr qint64 slowestBytesPerSecond = 8192;
constexpr int hexadecimal = 16;
/** A faster copy shows no progress. */
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

/** sftp would interpret patterns and quotes in the name of the file, so it gets a link. */
void PackageUpload::start(const CheckedPackage &package)
{
    m_package = package;
    const QString link = m_folder.filePath(localName);
    if (!m_folder.isValid() || !QFile::link(QFileInfo(package.path).absoluteFilePath(), link) ||
        !storeSignature()) {
        emit failed(ProblemId::FileUnreadable, m_folder.errorString());
        return;
    }
    const std::chrono::seconds there(package.size / slowestBytesPerSecond);
    begin(Step::Copying, copyCommands(), m_access.timeOut + 2 * there);
    m_size = std::make_unique<RemoteSize>(m_access, m_copy);
    connect(m_size.get(), &RemoteSize::found, this, &PackageUpload::copied);
    m_poll.start();
}

bool PackageUpload::storeSignature() const
{
    if (!m_package.signature)
        return true;
    QFile file(m_folder.filePath(signatureName));
    return file.open(QIODevice::WriteOnly) && file.write(*m_package.signature) >= 0 && file.flush();
}

QByteArray PackageUpload::copyCommands() const
{
    QByteArray commands = "-rm " + Paths().package.toLatin1() + copyMark.latin1() + "*\n";
    const auto add = [&commands](const QString &copy, QLatin1String local, QLatin1String back) {
        const QByteArray name = copy.toLatin1();
        commands += QByteArray("put -f ") + local.latin1() + ' ' + name + '\n';
        commands += "chmod 644 " + name + '\n';
        commands += "get " + name + ' ' + back.latin1() + '\n';
    };
    if (m_package.signature)
        add(signaturePath(m_copy), signatureName, signatureBackName);
    add(m_copy, localName, backName);
    return commands;
}

QByteArray PackageUpload::renameCommands() const
{
    const QByteArray package = Paths().package.toLatin1();
    const QByteArray signature = signaturePath(Paths().package).toLatin1();
    const QByteArray rename = "rename " + m_copy.toLatin1() + ' ' + package + '\n';
    if (!m_package.signature)
        return rename + "-rm " + signature + '\n';
    return "rename " + signaturePath(m_copy).toLatin1() + ' ' + signature + '\n' + rename;
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
    if (sha256OfFile(m_folder.filePath(backName)) != m_package.sha256)
        return false;
    if (!m_package.signature)
        return true;
    QFile signature(m_folder.filePath(signatureBackName));
    return signature.open(QIODevice::ReadOnly) && signature.readAll() == *m_package.signature;
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
        begin(Step::Renaming, renameCommands(), m_access.timeOut);
    }
}

void PackageUpload::giveUp(ProblemId cause, const QString &detail)
{
    m_cause = cause;
    m_detail = detail;
    begin(Step::Cleaning, "-rm " + m_copy.toLatin1() + "*\n", m_access.timeOut);
}
