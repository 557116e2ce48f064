// SPDX-License-Identifier: Apache-2.0
#include "device-check/SimulatorProcess.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QLocalSocket>

namespace {

constexpr int startTime = 10'000;  // milliseconds
constexpr int answerTime = 10'000; // milliseconds
constexpr int endTime = 5'000;     // milliseconds

/** The simulator of the same installation, or the one of the search path. */
QString simulatorProgram()
{
    const QString name = QStringLiteral("device-simulator");
    const QString neighbour = QCoreApplication::applicationDirPath() + QLatin1Char('/') + name;
    return QFileInfo(neighbour).isExecutable() ? neighbour : name;
}

/** "device-simulator: error: WHAT" without the program and without the advice. */
QString reasonOf(const QByteArray &errors)
{
    const QString line = QString::fromUtf8(errors).section(QLatin1Char('\n'), 0, 0);
    return line.section(QStringLiteral("error: "), 1);
}

} // namespace

QString controlSimulator(const QString &socket, const QByteArray &line)
{
    QLocalSocket control;
    control.connectToServer(socket);
    if (!control.waitForConnected(answerTime))
        return QStringLiteral("%1: %2").arg(socket, control.errorString());
    control.write(line + '\n');
    QElapsedTimer clock;
    clock.start();
    while (!control.canReadLine() && clock.elapsed() < answerTime &&
           control.state() == QLocalSocket::ConnectedState)
        control.waitForReadyRead(int(answerTime - clock.elapsed()));
    const QString answer = QString::fromUtf8(control.readLine()).trimmed();
    if (answer == QLatin1String("ok"))
        return {};
    return QStringLiteral("%1: %2").arg(socket,
                                        answer.isEmpty() ? QStringLiteral("no answer") : answer);
}

SimulatorProcess::~SimulatorProcess()
{
    if (m_process.state() == QProcess::NotRunning)
        return;
    m_process.terminate();
    if (m_process.waitForFinished(endTime))
        return;
    m_process.kill();
    m_process.waitForFinished(endTime);
}

QString SimulatorProcess::start(const QString &deviceFile)
{
    if (!m_folder.isValid())
        return m_folder.errorString();
    m_process.start(simulatorProgram(),
                    {QStringLiteral("--device"), deviceFile, QStringLiteral("--listen"),
                     QStringLiteral("127.0.0.1:0"), QStringLiteral("--control"), controlSocket()});
    if (!m_process.waitForStarted(startTime))
        return QStringLiteral("device-simulator: %1").arg(m_process.errorString());
    QElapsedTimer clock;
    clock.start();
    while (!m_process.canReadLine() && clock.elapsed() < startTime &&
           m_process.state() == QProcess::Running)
        m_process.waitForReadyRead(int(startTime - clock.elapsed()));
    const QString ready = QString::fromUtf8(m_process.readLine()).trimmed();
    m_port = ready.section(QLatin1Char(':'), -1).toUShort();
    if (ready.startsWith(QLatin1String("ready ")) && m_port != 0)
        return {};
    m_process.waitForFinished(endTime);
    const QString reason = reasonOf(m_process.readAllStandardError());
    return QStringLiteral("device-simulator: %1")
        .arg(reason.isEmpty() ? QStringLiteral("it does not become ready") : reason);
}
