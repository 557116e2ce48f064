// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/SftpSession.h"

#include <algorithm>
#include <csignal>

namespace {

/** The kept end of sftp's standard error, in bytes. */
constexpr int mostErrors = 4096;
constexpr int errorLines = 3;
/** How many times ssh polls an idle module within the time-out. */
constexpr int aliveProbes = 3;
constexpr std::chrono::seconds longestSshConnect{10};

/** An IPv6 address needs brackets, since a colon begins a path. */
QString destination(const QString &host)
{
    return host.contains(QLatin1Char(':')) ? '[' + host + ']' : host;
}

QString lastLines(const QByteArray &errors)
{
    QStringList lines = QString::fromLocal8Bit(errors).split('\n', Qt::SkipEmptyParts);
    lines = lines.mid(std::max(0, int(lines.size()) - errorLines));
    for (QString &line : lines)
        line = line.trimmed();
    return lines.join(QStringLiteral("; "));
}

} // namespace

QStringList sftpArguments(const SshAccess &access)
{
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(access.timeOut);
    const auto probe = std::max<qint64>(1, seconds.count() / aliveProbes);
    const auto connect = std::clamp<qint64>(seconds.count(), 1, longestSshConnect.count());
    QStringList arguments;
    // If an option is given twice, ssh uses the first one.
    for (const QString &option : access.options)
        arguments += "-o" + option;
    if (!access.user.isEmpty())
        arguments += "-oUser=" + access.user;
    if (!access.port.isEmpty())
        arguments += "-oPort=" + access.port;
    arguments += {QStringLiteral("-oConnectTimeout=%1").arg(connect),
                  QStringLiteral("-oServerAliveInterval=%1").arg(probe),
                  QStringLiteral("-oServerAliveCountMax=%1").arg(aliveProbes),
                  "-b",
                  "-",
                  "--",
                  destination(access.host)};
    return arguments;
}

void SftpProcess::resetSignals()
{
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::signal(SIGPIPE, SIG_DFL);
}

SftpSession::SftpSession(const SshAccess &access) : m_access(access)
{
    m_limit.setSingleShot(true);
    m_process.setStandardOutputFile(QProcess::nullDevice());
    connect(&m_process, &QProcess::readyReadStandardError, this, &SftpSession::keepErrors);
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &SftpSession::onFinished);
    connect(&m_process, &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            end(m_access.program + ": " + m_process.errorString());
    });
    connect(&m_limit, &QTimer::timeout, this, [this] {
        m_process.kill();
        end(QStringLiteral("no end within %1 s").arg(m_limit.interval() / 1000));
    });
}

SftpSession::~SftpSession()
{
    m_process.disconnect(this);
    m_process.kill();
    m_process.waitForFinished();
}

void SftpSession::start(const QByteArray &commands, const QString &folder,
                        std::chrono::milliseconds limit)
{
    m_process.setWorkingDirectory(folder);
    m_limit.start(limit);
    m_process.start(m_access.program, sftpArguments(m_access));
    m_process.write(commands);
    m_process.closeWriteChannel();
}

void SftpSession::keepErrors()
{
    m_errors = (m_errors + m_process.readAllStandardError()).right(mostErrors);
}

void SftpSession::onFinished(int exitStatus, QProcess::ExitStatus how)
{
    keepErrors();
    if (how == QProcess::NormalExit && exitStatus == 0)
        end({});
    else
        end(m_errors.trimmed().isEmpty()
                ? QStringLiteral("sftp ended with status %1").arg(exitStatus)
                : lastLines(m_errors));
}

void SftpSession::end(const QString &error)
{
    if (m_isOver)
        return;
    m_isOver = true;
    m_limit.stop();
    emit ended(error);
}
