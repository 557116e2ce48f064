// SPDX-License-Identifier: Apache-2.0
// What the engine and the others tell, turned into replies.
#include "console/TCPServer.h"
#include "links/WorkerCOM.h"
#include "platform/Log.h"
#include "protocol/ConsoleTexts.h"

namespace {

constexpr int progressDecimals = 2;
/** The row that an upgrade over the network writes: the main MCU of chip type 0, index 1. */
const char *const networkRow = "MAIN,0,1";

} // namespace

void TCPServer::message(const QStringList &message)
{
    qCDebug(logConsole) << "TCPServermessage"
                        << ":" << message;
    if (message.isEmpty())
        return;
    const QString &key = message.first();
    if (key == consoletext::statusMessage)
        statusMessage(message);
    else if (key == consoletext::connectedMessage)
        reply(consoletext::connectSuccess);
    else if (key == consoletext::netVersionMessage)
        reply(consoletext::netVersionKey + message.value(1) + consoletext::lineEnd);
    else if (key != consoletext::resultMessage)
        reply(consoletext::logKey + message.join(consoletext::separator) + consoletext::lineEnd);
}

void TCPServer::statusMessage(const QStringList &message)
{
    m_worker->disconnected();
    reply(consoletext::disconnected);
    const bool success = message.value(1) == consoletext::successStatus;
    reply(success ? consoletext::upgradeSuccess : consoletext::upgradeFail);
}

void TCPServer::progressValueChanged(double bytesSent, double bytesTotal)
{
    Q_UNUSED(bytesTotal)
    reply(consoletext::progressKey + QString::number(bytesSent, 'f', progressDecimals) +
          consoletext::lineEnd);
}

void TCPServer::slotnetconnected()
{
    qCDebug(logConsole).noquote() << QLatin1String("slotnetconnected") + QString(84, 'x');
    reply(consoletext::deviceConnected);
    if (isBusy())
        return;
    m_networkRequest.mode = m_upgradeModel;
    emit m_events.runRequested(m_networkRequest);
    readDescription();
    m_worker->uploadByMergeFW(m_platform.paths.package, {QString::fromLatin1(networkRow)},
                              m_upgradeModel);
}

void TCPServer::netInstallStarted(const QString &version)
{
    emit m_events.runRequested({RunRequest::Kind::NetBlocks, m_fragmentPeer, {}, 0, 1});
    m_netReport.begin();
    m_netReport.installing(version);
}

void TCPServer::netInstallEnded(bool succeeded)
{
    m_netReport.installed(succeeded);
    m_netReport.end(succeeded);
}

void TCPServer::slotSignalEDID(const QList<QString> &result)
{
    const QString report = QStringList(result).join(QString());
    qCDebug(logConsole) << "SendDataPARSEEDIDRESULT:" << report;
    reply(consoletext::edidResultKey + report + consoletext::lineEnd);
}

void TCPServer::slotResponse(const QByteArray &datas)
{
    qCDebug(logConsoleBytes) << m_replyTarget->peer.address << ":" << m_replyTarget->peer.port
                             << ":" << datas;
    write(consoletext::fragmentKey.data() + datas);
}
