// SPDX-License-Identifier: Apache-2.0
// What each request of the console does.
#include "console/ConsoleRequest.h"
#include "console/FirmwareRows.h"
#include "console/TCPServer.h"
#include "edid/DumpText.h"
#include "edid/ParseEDID.h"
#include "links/WorkerCOM.h"
#include "netupgrade/NetModelUpgrade.h"
#include "platform/Log.h"
#include "protocol/ConsoleTexts.h"

#include <QFileInfo>

void TCPServer::dispatch(const ConsoleRequest &request)
{
    switch (request.command) {
    case ConsoleRequest::Command::ParseEdid:
        return parseEdid(request);
    case ConsoleRequest::Command::Heartbeat:
        return heartbeat();
    case ConsoleRequest::Command::FirmwareList:
        return sendFirmwareList();
    case ConsoleRequest::Command::UpgradeMode:
        return setMode(request);
    case ConsoleRequest::Command::Upgrade:
        return upgrade(request);
    case ConsoleRequest::Command::UpgradeAll:
        return upgradeAll();
    case ConsoleRequest::Command::Version:
        return reply(consoletext::versionKey + m_version + consoletext::lineEnd);
    case ConsoleRequest::Command::NetUpgrade:
        return upgradeOverNetwork(request);
    case ConsoleRequest::Command::Unknown:
        return reply(consoletext::unknown);
    }
}

void TCPServer::heartbeat()
{
    qCDebug(logConsole) << "Send:HEARTBEAT";
    reply(consoletext::heartbeatReply);
}

void TCPServer::sendFirmwareList()
{
    reply(consoletext::firmwareListKey + readDescription() + consoletext::lineEnd);
}

void TCPServer::setMode(const ConsoleRequest &request)
{
    const std::optional<int> mode = request.mode();
    if (!mode) {
        reply(consoletext::modeError);
        return;
    }
    m_upgradeModel = *mode;
    reply(consoletext::modeSet + request.parts.at(1) + consoletext::lineEnd);
}

void TCPServer::upgrade(const ConsoleRequest &request)
{
    if (isBusy()) {
        reply(consoletext::busy);
        return;
    }
    m_worker->disconnected();
    if (request.parts.size() < 2) {
        reply(consoletext::upgradeError);
        return;
    }
    const QStringList rows = request.rows();
    if (!rows.isEmpty())
        startUpgrade(rows);
}

/** Nothing is said when it cannot be done, not even while busy. */
void TCPServer::upgradeAll()
{
    if (isBusy())
        return;
    const QString description = readDescription();
    qCDebug(logConsole) << "jsonData:" << description;
    qCDebug(logConsole) << "jsonDataLength:" << description.size();
    const QStringList rows = firmwareRows(description);
    if (rows.isEmpty())
        return;
    m_worker->disconnected();
    startUpgrade(rows);
}

void TCPServer::upgradeOverNetwork(const ConsoleRequest &request)
{
    qCDebug(logConsole) << "UPGRADEORVALE1G";
    const std::optional<QString> address = request.address();
    if (!address) {
        reply(consoletext::unknown);
        return;
    }
    if (isBusy()) {
        reply(consoletext::busy);
        return;
    }
    if (!QFileInfo::exists(m_platform.paths.package)) {
        qCDebug(logConsole) << "file does not exist";
        reply(consoletext::noPackage);
        return;
    }
    m_networkRequest = {RunRequest::Kind::Network, m_replyTarget->peer, *address, 0, 1};
    m_worker->connectNet(*address, m_platform.ports.device);
}

void TCPServer::parseEdid(const ConsoleRequest &request)
{
    const std::optional<QString> text = request.edidText();
    const std::optional<QByteArray> bytes =
        text ? edidBytesFromText(*text) : std::optional<QByteArray>();
    if (!bytes) {
        reply(consoletext::edidError);
        return;
    }
    m_edidBytes = *bytes;
    m_edid->parse(reinterpret_cast<const unsigned char *>(m_edidBytes.constData()));
}

void TCPServer::startUpgrade(const QStringList &rows)
{
    qCDebug(logConsole) << "UploadStart";
    emit m_events.runRequested({RunRequest::Kind::Serial, m_replyTarget->peer,
                                m_platform.ports.serial, m_upgradeModel, rows.size()});
    m_worker->onConnect(m_platform.ports.serial);
    m_worker->uploadByMergeFW(m_platform.paths.package, rows, m_upgradeModel);
}

QString TCPServer::readDescription()
{
    // Reading a large package takes a while; what was asked before is answered now.
    sendReplies();
    m_turns.take();
    return m_worker->getMergeFWJSON(m_platform.paths.package);
}

/** During the module's own install the files and the coming reboot would harm any other upgrade. */
bool TCPServer::isBusy() const
{
    return m_worker->runActive() || m_netUpgrade->isInstalling();
}
