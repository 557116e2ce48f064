// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QObject>
#include <QProcess>
#include <QStringList>
#include <QTimer>

#include <chrono>

/** The options of OpenSSH's sftp. */
struct SshAccess
{
    QString program = QStringLiteral("sftp");
    QString host;
    /** Empty for the value of ssh's configuration. */
    QString user;
    QString port;
    /** NAME=VALUE as in ssh_config(5); they precede the options of this program. */
    QStringList options;
    /** The time-out without data from the module. */
    std::chrono::milliseconds timeOut{60'000};
};

/** The arguments of sftp for a session that reads its commands from standard input. */
QStringList sftpArguments(const SshAccess &access);

/** Starts its program with the default signal mask and SIGPIPE, which this program changes. */
class SftpProcess : public QProcess
{
#if QT_VERSION_MAJOR >= 6
public:
    SftpProcess()
    {
        setChildProcessModifier(resetSignals);
    }
#else
protected:
    void setupChildProcess() override
    {
        resetSignals();
    }
#endif

private:
    static void resetSignals();
};

/**
 * One run of sftp: all of its commands, or an error at the first that fails. It ends within the
 * limit, and with this object.
 */
class SftpSession : public QObject
{
    Q_OBJECT

public:
    explicit SftpSession(const SshAccess &access);
    ~SftpSession() override;

    /** In the folder, where the local names of the commands are. */
    void start(const QByteArray &commands, const QString &folder, std::chrono::milliseconds limit);

signals:
    /** `error` is empty when every command succeeded, otherwise the last message of sftp. */
    void ended(const QString &error);

private:
    void onFinished(int exitStatus, QProcess::ExitStatus how);
    void keepErrors();
    void end(const QString &error);

    const SshAccess m_access;
    SftpProcess m_process;
    QTimer m_limit;
    QByteArray m_errors;
    bool m_isOver = false;
};
