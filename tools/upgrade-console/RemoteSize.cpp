// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/RemoteSize.h"

#include <QRegularExpression>

namespace {

SshAccess withoutQuestions(SshAccess access)
{
    access.options.prepend(QStringLiteral("BatchMode=yes"));
    return access;
}

/** The fifth field of a line as of "ls -ln"; negative for other lines. */
qint64 sizeIn(const QByteArray &line)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\A-\\S+\\s+\\S+\\s+\\S+\\s+\\S+\\s+(\\d+)\\s"));
    const auto match = pattern.match(QString::fromLocal8Bit(line));
    return match.hasMatch() ? match.captured(1).toLongLong() : -1;
}

} // namespace

RemoteSize::RemoteSize(const SshAccess &access, const QString &path)
    : m_access(withoutQuestions(access)), m_path(path.toLatin1())
{
    m_process.setStandardErrorFile(QProcess::nullDevice());
    connect(&m_process, &QProcess::readyReadStandardOutput, this, &RemoteSize::onOutput);
}

RemoteSize::~RemoteSize()
{
    m_process.disconnect(this);
    m_process.kill();
    m_process.waitForFinished();
}

void RemoteSize::ask()
{
    if (!m_isStarted)
        m_process.start(m_access.program, sftpArguments(m_access));
    m_isStarted = true;
    if (m_isAsked || m_process.state() == QProcess::NotRunning)
        return;
    m_isAsked = true;
    m_process.write("-ls -ln " + m_path + '\n');
}

/** An answer arrives even if the file does not exist yet: sftp repeats the command. */
void RemoteSize::onOutput()
{
    while (m_process.canReadLine()) {
        const qint64 size = sizeIn(m_process.readLine());
        m_isAsked = false;
        if (size >= 0)
            emit found(size);
    }
}
